#include "measure/LUFSProcessor.h"

#include "measure/CpuFeatures.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <cstdlib>
#include <limits>
#include <new>

#if defined(__SSE2__)
 #include <emmintrin.h>
#endif
#if defined(__GNUC__) && defined(__x86_64__)
 #include <immintrin.h>
#endif

#include <sys/mman.h>

namespace
{
constexpr float minusInfinity = -std::numeric_limits<float>::infinity();
constexpr float plusInfinity = std::numeric_limits<float>::infinity();
constexpr float absoluteGateLevel = -70.0f;

float floatFromBits (std::uint32_t bits)
{
    float f;
    std::memcpy (&f, &bits, sizeof f);
    return f;
}

// Moves the entries that pass to the front and returns how many pass. Two pointers: the
// front one runs past passing entries; at a failing one the back one steps in past failing
// entries, the two are swapped, and the front one goes on. The order this leaves matters,
// since blocks are later written by position.
template <typename Pass, typename Swap>
int partitionFront (int count, Pass&& pass, Swap&& swap)
{
    int first = 0, last = count;
    for (;;)
    {
        while (first != last && pass (first))
            ++first;
        if (first == last)
            return first;
        --last;
        while (first != last && ! pass (last))
            --last;
        if (first == last)
            return first;
        swap (first, last);
        ++first;
    }
}

// The scans of the partition above for "entry > threshold" look at 16 entries at a time
// while the whole chunk runs one way, so the long runs of a block bag (real blocks at the
// front, reset fill behind) cost a few vector compares each.
constexpr int scanChunk = 16;

#if defined(__SSE2__)
inline __m128 above (const float* d, __m128 threshold)
{
    return _mm_cmpgt_ps (_mm_loadu_ps (d), threshold);
}

bool allAbove (const float* d, float threshold)
{
    const __m128 t = _mm_set1_ps (threshold);
    const __m128 all = _mm_and_ps (_mm_and_ps (above (d, t), above (d + 4, t)),
                                   _mm_and_ps (above (d + 8, t), above (d + 12, t)));
    return _mm_movemask_ps (all) == 0xf;
}

bool anyAbove (const float* d, float threshold)
{
    const __m128 t = _mm_set1_ps (threshold);
    const __m128 any = _mm_or_ps (_mm_or_ps (above (d, t), above (d + 4, t)),
                                  _mm_or_ps (above (d + 8, t), above (d + 12, t)));
    return _mm_movemask_ps (any) != 0;
}
#else
bool allAbove (const float* d, float threshold)
{
    int count = 0;
    for (int k = 0; k < scanChunk; ++k)
        count += d[k] > threshold;
    return count == scanChunk;
}

bool anyAbove (const float* d, float threshold)
{
    int count = 0;
    for (int k = 0; k < scanChunk; ++k)
        count += d[k] > threshold;
    return count != 0;
}
#endif

// The front scan: the first index in [i, end) whose entry fails, or end.
int skipPassing (const float* d, int i, int end, float threshold)
{
    while (end - i >= scanChunk && allAbove (d + i, threshold))
        i += scanChunk;
    while (i != end && d[i] > threshold)
        ++i;
    return i;
}

// The back scan: the highest index in (first, last) whose entry passes, or first if none does.
int lastPassing (const float* d, int first, int last, float threshold)
{
    int j = last; // the entries from j on are known to fail
    while (j - first > scanChunk && ! anyAbove (d + j - scanChunk, threshold))
        j -= scanChunk;
    --j;
    while (j != first && ! (d[j] > threshold))
        --j;
    return j;
}

// partitionFront for "entry > threshold" on a float array, with the scans above.
int partitionAbove (float* d, int count, float threshold)
{
    int first = 0, last = count;
    for (;;)
    {
        first = skipPassing (d, first, last, threshold);
        if (first == last)
            return first;
        last = lastPassing (d, first, last, threshold);
        if (first == last)
            return first;
        std::swap (d[first], d[last]);
        ++first;
    }
}

// The in-order sum of ring[0 .. length), going on from prefix (the sum of its first
// prefix.end entries) and leaving in prefix the partial sum up to `mark` when mark lies ahead.
float sumRingFrom (const float* ring, int length, RingPrefix& prefix, int mark)
{
    int i = prefix.end;
    float sum = i > 0 ? prefix.sum : 0.0f;
    if (mark >= i && mark <= length)
    {
        for (; i < mark; ++i)
            sum += ring[i];
        prefix.end = mark;
        prefix.sum = sum;
    }
    for (; i < length; ++i)
        sum += ring[i];
    return sum;
}

float sumInOrder (const float* d, int n)
{
    float sum = 0.0f;
    for (int i = 0; i < n; ++i)
        sum += d[i];
    return sum;
}

// The value of the largest magnitude; the largest is the same in any order of search, so the
// search runs in sixteen lanes, built for the widest vectors the processor has. (Not in
// sanitizer builds: their runtime isn't up yet when the loader picks the version.)
#if defined(__x86_64__) && defined(__GNUC__) && ! defined(__clang__) && ! defined(__SANITIZE_THREAD__) \
    && ! defined(__SANITIZE_ADDRESS__)
__attribute__ ((target_clones ("avx512f", "avx2", "default")))
#endif
float largestMagnitude (const float* ring, int length)
{
    float lanes[16] = {};
    int i = 0;
    for (; i + 16 <= length; i += 16)
        for (int k = 0; k < 16; ++k)
        {
            const float a = fabsf (ring[i + k]);
            lanes[k] = a > lanes[k] ? a : lanes[k];
        }
    float largest = 0.0f;
    for (; i < length; ++i)
    {
        const float a = fabsf (ring[i]);
        largest = a > largest ? a : largest;
    }
    for (float lane : lanes)
        largest = lane > largest ? lane : largest;
    return largest;
}

float absoluteGatePower()
{
    static const float power = gatePowerFor (absoluteGateLevel);
    return power;
}

void setCoefficients (BiQuad<float>& filter, const KWeightingCoefficients& c)
{
    filter.setCoefficients ((float) c.b0, (float) c.b1, (float) c.b2, (float) c.a0, (float) c.a1, (float) c.a2);
    filter.clearHistory();
}

std::unique_ptr<float[]> ones;
int onesLength = 0;
} // namespace

// Large rings come straight from the kernel, whose fresh pages read as zero and cost nothing
// until written; small ones from calloc. Each large ring starts a few cache lines further into
// its first page than the last one: rings read side by side would otherwise all fall on the
// same cache sets, entry for entry, and evict each other.
constexpr std::size_t mappedRingBytes = 64 * 1024;
constexpr std::size_t ringPageBytes = 4096;

void ZeroedFloatsDeleter::operator() (float* p) const
{
    if (p == nullptr)
        return;
    const std::size_t bytes = std::max<std::size_t> (count, 1) * sizeof (float);
    if (bytes >= mappedRingBytes)
        munmap (reinterpret_cast<void*> (reinterpret_cast<std::uintptr_t> (p) & ~(ringPageBytes - 1)),
                bytes + ringPageBytes);
    else
        std::free (p);
}

void* allocateProcessor (std::size_t bytes)
{
    if (bytes < mappedRingBytes)
        return ::operator new (bytes);
    void* p = mmap (nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED)
        throw std::bad_alloc();
    return p;
}

void releaseProcessor (void* p, std::size_t bytes)
{
    if (p == nullptr)
        return;
    if (bytes < mappedRingBytes)
        ::operator delete (p);
    else
        munmap (p, bytes);
}

ZeroedFloats makeZeroedFloats (std::size_t count)
{
    const std::size_t bytes = std::max<std::size_t> (count, 1) * sizeof (float);
    void* p = nullptr;
    if (bytes >= mappedRingBytes)
    {
        static std::atomic<unsigned> placed { 0 };
        const std::size_t shift = (placed++ % (ringPageBytes / 64)) * 64;
        p = mmap (nullptr, bytes + ringPageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        p = p == MAP_FAILED ? nullptr : static_cast<char*> (p) + shift;
    }
    else
    {
        p = std::calloc (std::max<std::size_t> (count, 1), sizeof (float));
    }
    if (p == nullptr)
        throw std::bad_alloc();
    return ZeroedFloats (static_cast<float*> (p), ZeroedFloatsDeleter { count });
}

namespace
{
template <int K>
void addSideBySide (const float* const* arrays, int from, int to, float* sums)
{
    float acc[static_cast<std::size_t> (K)];
    for (int j = 0; j < K; ++j)
        acc[j] = sums[j];
    for (int i = from; i < to; ++i)
        for (int j = 0; j < K; ++j)
            acc[j] += arrays[j][i];
    for (int j = 0; j < K; ++j)
        sums[j] = acc[j];
}

// Adds arrays[j][from .. to) in index order onto sums[j], eight arrays at a time.
void addInOrderPlainly (const float* const* arrays, int count, int from, int to, float* sums)
{
    for (int g = 0; g < count; g += 8)
    {
        const float* const* a = arrays + g;
        float* out = sums + g;
        switch (std::min (8, count - g))
        {
            case 8: addSideBySide<8> (a, from, to, out); break;
            case 7: addSideBySide<7> (a, from, to, out); break;
            case 6: addSideBySide<6> (a, from, to, out); break;
            case 5: addSideBySide<5> (a, from, to, out); break;
            case 4: addSideBySide<4> (a, from, to, out); break;
            case 3: addSideBySide<3> (a, from, to, out); break;
            case 2: addSideBySide<2> (a, from, to, out); break;
            default: addSideBySide<1> (a, from, to, out); break;
        }
    }
}

#if defined(__GNUC__) && defined(__x86_64__)
 #define ORVANE_SUM_LANES 1

// Entries i .. i + 3 of eight arrays, turned so that vector k holds entry i + k of every array,
// added in order onto acc: lane j still adds its own array in index order.
__attribute__ ((target ("avx"), always_inline)) inline void addFourEntries (const float* const* a, int i, __m256& acc)
{
    const __m256 r0 = _mm256_loadu2_m128 (a[4] + i, a[0] + i), r1 = _mm256_loadu2_m128 (a[5] + i, a[1] + i);
    const __m256 r2 = _mm256_loadu2_m128 (a[6] + i, a[2] + i), r3 = _mm256_loadu2_m128 (a[7] + i, a[3] + i);
    const __m256 t0 = _mm256_unpacklo_ps (r0, r1), t1 = _mm256_unpackhi_ps (r0, r1);
    const __m256 t2 = _mm256_unpacklo_ps (r2, r3), t3 = _mm256_unpackhi_ps (r2, r3);
    acc = _mm256_add_ps (acc, _mm256_shuffle_ps (t0, t2, 0x44));
    acc = _mm256_add_ps (acc, _mm256_shuffle_ps (t0, t2, 0xee));
    acc = _mm256_add_ps (acc, _mm256_shuffle_ps (t1, t3, 0x44));
    acc = _mm256_add_ps (acc, _mm256_shuffle_ps (t1, t3, 0xee));
}

// G groups of eight arrays side by side (the last group padded with repeats of its last array,
// whose lanes are dropped), so that the chains of additions of the groups overlap; the
// entries past the last whole four are added one by one.
template <int G>
__attribute__ ((target ("avx"))) void addGroupsAvx (const float* const* arrays, int count, int from, int to, float* sums)
{
    constexpr auto groups = static_cast<std::size_t> (G);
    const float* a[groups][8];
    alignas (32) float start[groups][8];
    for (int g = 0; g < G; ++g)
        for (int j = 0; j < 8; ++j)
        {
            const int k = std::min (8 * g + j, count - 1);
            a[g][j] = arrays[k];
            start[g][j] = sums[k];
        }
    __m256 acc[groups];
    for (int g = 0; g < G; ++g)
        acc[g] = _mm256_load_ps (start[g]);
    int i = from;
    for (; i + 4 <= to; i += 4)
        for (int g = 0; g < G; ++g)
            addFourEntries (a[g], i, acc[g]);
    for (int g = 0; g < G; ++g)
    {
        _mm256_store_ps (start[g], acc[g]);
        for (int j = 0; j < 8 && 8 * g + j < count; ++j)
        {
            float sum = start[g][j];
            for (int k = i; k < to; ++k)
                sum += a[g][j][k];
            sums[8 * g + j] = sum;
        }
    }
}

__attribute__ ((target ("avx"))) void addInOrderAvx (const float* const* arrays, int count, int from, int to,
                                                     float* sums)
{
    for (int g = 0; g < count; g += 24)
    {
        const int left = count - g;
        if (left > 16)
            addGroupsAvx<3> (arrays + g, left, from, to, sums + g);
        else if (left > 8)
            addGroupsAvx<2> (arrays + g, left, from, to, sums + g);
        else
            addGroupsAvx<1> (arrays + g, left, from, to, sums + g);
    }
}
#endif

bool avxSums()
{
#if defined(ORVANE_SUM_LANES)
    return cpu::hasAvx();
#else
    return false;
#endif
}
} // namespace

bool sumKernelAvailable (SumKernel kernel)
{
    return kernel == SumKernel::portable || avxSums();
}

void addInOrderSideBySide (const float* const* arrays, int count, int from, int to, float* sums, SumKernel kernel)
{
#if defined(ORVANE_SUM_LANES)
    if (kernel == SumKernel::avx && avxSums())
        return addInOrderAvx (arrays, count, from, to, sums);
#endif
    (void) kernel;
    addInOrderPlainly (arrays, count, from, to, sums);
}

namespace
{
void addInOrderFastest (const float* const* arrays, int count, int from, int to, float* sums)
{
    addInOrderSideBySide (arrays, count, from, to, sums, avxSums() ? SumKernel::avx : SumKernel::portable);
}
} // namespace

void sumInOrderSideBySide (const float* const* arrays, int count, int length, float* sums)
{
    std::fill (sums, sums + count, 0.0f);
    addInOrderFastest (arrays, count, 0, length, sums);
}

void sumRingsFromSideBySide (const float* const* rings, RingPrefix* const* prefixes, const int* marks, int count,
                             int length, float* sums)
{
    if (count == 0)
        return;
    const int start = prefixes[0]->end, mark = marks[0];
    bool together = true;
    for (int j = 1; j < count; ++j)
        together = together && prefixes[j]->end == start && marks[j] == mark;
    if (! together)
    {
        for (int j = 0; j < count; ++j)
            sums[j] = sumRingFrom (rings[j], length, *prefixes[j], marks[j]);
        return;
    }
    for (int j = 0; j < count; ++j)
        sums[j] = start > 0 ? prefixes[j]->sum : 0.0f;
    int i = start;
    if (mark >= start && mark <= length)
    {
        addInOrderFastest (rings, count, start, mark, sums);
        for (int j = 0; j < count; ++j)
            *prefixes[j] = RingPrefix { mark, sums[j] };
        i = mark;
    }
    addInOrderFastest (rings, count, i, length, sums);
}

float loudnessOfPower (float power)
{
    return 10.0f * log10f (power) - 0.691f;
}

float gatePowerFor (float gateLevel)
{
    // The level is non-decreasing over the non-negative floats, whose bit patterns run in the
    // same order as their values; bisect over the patterns for the last one that fails.
    std::uint32_t failing = 0;            // 0.0f: its level is -infinity, which passes no gate
    std::uint32_t passing = 0x7f800000u;  // +infinity
    if (! (loudnessOfPower (floatFromBits (passing)) > gateLevel))
        return plusInfinity;
    while (passing - failing > 1)
    {
        const std::uint32_t middle = failing + (passing - failing) / 2;
        if (loudnessOfPower (floatFromBits (middle)) > gateLevel)
            passing = middle;
        else
            failing = middle;
    }
    return floatFromBits (failing);
}

KWeightingCoefficients kWeightingShelf (double sampleRate)
{
    const double k = std::tan (5284.078578647628 / sampleRate);
    const double q = 0.7071752369554196;
    const double vh = 1.584864701130855;
    const double vb = 1.258720930232562;
    const double d = 1.0 / (k / q + k * k + 1.0);
    return { (vh + vb * k / q + k * k) * d,
             2.0 * (k * k - vh) * d,
             (vh - vb * k / q + k * k) * d,
             1.0,
             2.0 * (k * k - 1.0) * d,
             (k * k - k / q + 1.0) * d };
}

KWeightingCoefficients kWeightingHighPass (double sampleRate)
{
    const double k = std::tan (119.8061151453059 / sampleRate);
    const double q = 0.5003270373238773;
    const double d = 1.0 / (k / q + k * k + 1.0);
    return { 1.0, -2.0, 1.0, 1.0, 2.0 * (k * k - 1.0) * d, (k * k - k / q + 1.0) * d };
}

void makeOnesVector (double sampleRate)
{
    const int length = std::max (0, (int) sampleRate * 3);
    ones.reset();
    ones = std::make_unique<float[]> ((std::size_t) std::max (length, 1));
    std::fill (ones.get(), ones.get() + length, 1.0f);
    onesLength = length;
}

const float* onesVector()
{
    return ones.get();
}

int onesVectorLength()
{
    return onesLength;
}

// ---------------------------------------------------------------------------------------------

template <int N>
LUFSProcessor<N>::LUFSProcessor()
    : shortTermValue (minusInfinity),
      integratedValue (minusInfinity),
      rangeValue (plusInfinity)
{
}

template <int N>
void LUFSProcessor<N>::materialiseBlockPowers()
{
    std::fill (blockPowers + blockPowersFilled, blockPowers + N, blockPowersFill);
    blockPowersFilled = N;
}

template <int N>
void LUFSProcessor<N>::prepare (unsigned measures)
{
    // A rate under 10 Hz would give hops of 0 and empty rings; the program never meets one,
    // but the processor stays usable with at least one sample in each.
    const int tenth = std::max (1, (int) sampleRate / 10);
    blockHop = shortTermHop = peakHop = rangeHop = tenth;
    integratedHop = std::max (1, (int) (startCount + sampleRate));
    shortTermLength = std::max (1, (int) (3.0 * sampleRate));
    blockLength = std::max (1, (int) (0.4 * sampleRate));
    peakLength = std::max (1, (int) (3.0 * sampleRate));

    shortTermCount = peakCount = blockCount = integratedCount = startCount;
    shortTermWrite = blockWrite = powerWrite = peakWrite = 0;

    auto ring = [measures] (unsigned measure, int length)
    { return (measures & measure) != 0 ? makeZeroedFloats ((std::size_t) length) : ZeroedFloats(); };
    peakRing = ring (rollingPeakMeasure, peakLength);
    shortTermRing = ring (shortTermMeasure, shortTermLength);
    shortTermHistory.reserve (3000);
    historyPowers.reserve (3000);
    sortedLevels.reserve (3000);
    sortedPowers.reserve (3000);
    blockRing = ring (integratedMeasure, blockLength);
    shortTermPrefix.forget();
    blockPrefix.forget();
    blockPowersFilled = 0;
    blockPowersFill = 0.0f;

    const auto shelf = kWeightingShelf (sampleRate);
    const auto highPass = kWeightingHighPass (sampleRate);
    setCoefficients (leftStage1, shelf);
    setCoefficients (rightStage1, shelf);
    setCoefficients (leftStage2, highPass);
    setCoefficients (rightStage2, highPass);
}

template <int N>
void LUFSProcessor<N>::renewShortTerm (bool* renewed)
{
    // The whole window in ring order, the unchanged front taken from the last renewal.
    const float sum = sumRingFrom (shortTermRing.get(), shortTermLength, shortTermPrefix, shortTermWrite + 1);
    shortTermValue = loudnessOfPower (sum / (float) shortTermLength);
    shortTermCount = startCount;
    if (renewed != nullptr)
        *renewed = true;
}

template <int N>
void LUFSProcessor<N>::renewShortTermWith (float sum)
{
    shortTermValue = loudnessOfPower (sum / (float) shortTermLength);
    shortTermCount = startCount;
}

namespace
{
// The in-order sums R rings of one length will have at `count` events ahead, side by side:
// lane j of ring r adds, index by index, what ring r holds at event j, which is the power of
// frame g of powers[r] where that frame is written before the event (g <= at[j]; frame g goes
// to index write + g, round the ring) and the ring's present value elsewhere. No index may be
// written twice (at[count - 1] < length). The rings' prefixes, which must end alike, are used
// and renewed as a renewal that summed the first event would renew them. sums[r * count + j]
// takes ring r's sum at event j. GPR groups of four lanes a ring, each its own chain of adds.
template <int R, int GPR>
void sumRingsAhead (const float* const* rings, const float* const* powers, RingPrefix* const* prefixes, int length,
                    int write, const int* at, int count, float* sums)
{
    using Four = float __attribute__ ((vector_size (16)));
    using FourMarks = int __attribute__ ((vector_size (16)));
    FourMarks eventFrame[static_cast<std::size_t> (GPR)];
    for (int j = 0; j < 4 * GPR; ++j)
        eventFrame[j / 4][j % 4] = j < count ? at[j] : -1;

    const int written = std::min (at[count - 1] + 1, length);
    const int w = write;
    Four sum[static_cast<std::size_t> (R)][static_cast<std::size_t> (GPR)] = {};
    auto addOld = [&] (int first, int to)
    {
        for (int i = first; i < to; ++i)
            for (int r = 0; r < R; ++r)
            {
                const Four old = Four {} + rings[r][i];
                for (auto& s : sum[r])
                    s += old;
            }
    };
    // Indices first..to hold the powers of frames g, g + 1, ...
    auto addWritten = [&] (int first, int to, int g)
    {
        for (int i = first; i < to; ++i, ++g)
            for (int r = 0; r < R; ++r)
            {
                const Four fresh = Four {} + powers[r][g];
                const Four old = Four {} + rings[r][i];
                for (int k = 0; k < GPR; ++k)
                    sum[r][k] += eventFrame[k] >= g ? fresh : old;
            }
    };
    if (w + written <= length)
    {
        // Up to the first index written every window is the ring's present front: one sum,
        // going on from the front's sum kept from before, and kept for after.
        for (int r = 0; r < R; ++r)
        {
            RingPrefix& prefix = *prefixes[r];
            int i = prefix.end > 0 && prefix.end <= w ? prefix.end : 0;
            float front = i > 0 ? prefix.sum : 0.0f;
            for (; i < w; ++i)
                front += rings[r][i];
            if (w > 0)
            {
                prefix = RingPrefix { w, front };
                for (auto& s : sum[r])
                    s += front;
            }
        }
        addWritten (w, w + written, 0);
        addOld (w + written, length);
    }
    else
    {
        const int wrapped = w + written - length;
        for (int r = 0; r < R; ++r)
            prefixes[r]->forget();
        addWritten (0, wrapped, length - w);
        addOld (wrapped, w);
        addWritten (w, length, 0);
    }
    for (int r = 0; r < R; ++r)
        for (int j = 0; j < count; ++j)
            sums[r * count + j] = sum[r][j / 4][j % 4];
}

// Offsets into the next n steps of the events of a counter that moves on by one a step and
// starts again from `start` on meeting `due`; at most `most`.
int eventsAhead (int counter, int due, int start, int n, int most, int* at)
{
    int count = 0;
    for (int k = 0, c = counter; k < n && count < most; ++k, ++c)
        if (c == due)
        {
            at[count++] = k;
            c = start;
        }
    return count;
}
} // namespace

template <int N>
int LUFSProcessor<N>::sumRenewalsAhead (const float* powers, int n, int* at, float* sums)
{
    const int count = eventsAhead (shortTermCount, shortTermHop + startCount, startCount, n, maxAhead, at);
    shortTermSumsAt (powers, at, count, sums);
    return count;
}

template <int N>
void LUFSProcessor<N>::shortTermSumsAt (const float* powers, const int* at, int count, float* sums)
{
    if (count <= 0)
        return;
    const float* ring = shortTermRing.get();
    RingPrefix* prefix = &shortTermPrefix;
    if (count <= 4)
        sumRingsAhead<1, 1> (&ring, &powers, &prefix, shortTermLength, shortTermWrite, at, count, sums);
    else if (count <= 8)
        sumRingsAhead<1, 2> (&ring, &powers, &prefix, shortTermLength, shortTermWrite, at, count, sums);
    else
        sumRingsAhead<1, maxAhead / 4> (&ring, &powers, &prefix, shortTermLength, shortTermWrite, at,
                                        std::min (count, maxAhead), sums);
}

template <int N>
int LUFSProcessor<N>::blockSumsAhead (LUFSProcessor& a, const float* aPowers, LUFSProcessor& b, const float* bPowers,
                                      int n, int* at, float* sums)
{
    const bool lockstep = a.blockLength == b.blockLength && a.blockWrite == b.blockWrite && a.blockCount == b.blockCount
                          && a.blockHop == b.blockHop && a.startCount == b.startCount
                          && a.blockPrefix.end == b.blockPrefix.end && &a != &b;
    if (! lockstep)
        return 0;
    const int count = eventsAhead (a.blockCount, a.blockHop + a.startCount, a.startCount,
                                   std::min (n, a.blockLength), maxBlocksAhead, at);
    if (count == 0)
        return 0;
    const float* rings[2] = { a.blockRing.get(), b.blockRing.get() };
    const float* powers[2] = { aPowers, bPowers };
    RingPrefix* prefixes[2] = { &a.blockPrefix, &b.blockPrefix };
    sumRingsAhead<2, 1> (rings, powers, prefixes, a.blockLength, a.blockWrite, at, count, sums);
    return count;
}

template <int N>
void LUFSProcessor<N>::formBlock()
{
    storeBlock (sumRingFrom (blockRing.get(), blockLength, blockPrefix, blockWrite + 1));
}

template <int N>
void LUFSProcessor<N>::storeBlock (float sum)
{
    if (powerWrite >= blockPowersFilled)
    {
        std::fill (blockPowers + blockPowersFilled, blockPowers + powerWrite, blockPowersFill);
        blockPowersFilled = powerWrite + 1;
    }
    blockPowers[powerWrite] = sum / (float) blockLength;
    if (++powerWrite == capacity)
        powerWrite = 0;
    blockCount = startCount;
}

template <int N>
void LUFSProcessor<N>::gatingPass()
{
    // Absolute gate: blocks strictly above -70. The unwritten back of the bag fails it as a
    // whole, so the partition of the front is the partition of the bag; a fill that would
    // pass is written out first.
    if (blockPowersFill > absoluteGatePower())
        materialiseBlockPowers();
    const int passing = partitionAbove (blockPowers, blockPowersFilled, absoluteGatePower());
    if (passing == 0)
        return;

    // Relative gate: 10 LU under the level of the mean of those, but never under -70.
    const float mean = sumInOrder (blockPowers, passing) / (float) passing;
    const float gate = std::max (absoluteGateLevel, loudnessOfPower (mean) - 10.0f);
    const int kept = gate == absoluteGateLevel ? passing
                                               : partitionAbove (blockPowers, passing, gatePowerFor (gate));

    integratedValue = loudnessOfPower (sumInOrder (blockPowers, kept) / (float) kept);
}

template <int N>
void LUFSProcessor<N>::renewRollingPeak()
{
    rollingPeak = largestMagnitude (peakRing.get(), peakLength);
    peakCount = startCount;
}

template <int N>
void LUFSProcessor<N>::resetShortTermWindow()
{
    std::fill (shortTermRing.get(), shortTermRing.get() + shortTermLength, std::pow (10.0f, -6.9309f));
    shortTermPrefix.forget();
    shortTermValue = minusInfinity;
    shortTermWrite = 0;
}

template <int N>
void LUFSProcessor<N>::resetMeasure (bool keepLevel, float level)
{
    if (sampleRate == 0.0)
        return;

    const float fill = powf (10.0f, (level + 0.691f) / 10.0f);
    if (blockRing != nullptr)
        std::fill (blockRing.get(), blockRing.get() + blockLength, fill);
    blockPrefix.forget();
    blockPowersFilled = 0;
    blockPowersFill = fill;

    integratedValue = keepLevel ? level : minusInfinity;
    blockWrite = 0;
    powerWrite = 0;
    integratedCount = 0;
    blockCount = 0;

    leftStage1.clearHistory();
    rightStage1.clearHistory();
    leftStage2.clearHistory();
    rightStage2.clearHistory();
}

template <int N>
void LUFSProcessor<N>::syncRangeCache()
{
    if (historyPowers.size() == shortTermHistory.size()
        && sortedLevels.size() + historyNaNs == shortTermHistory.size())
        return;

    // The history was emptied (or replaced) from outside: rebuild from what it holds.
    historyPowers.clear();
    sortedLevels.clear();
    historyNaNs = 0;
    for (float s : shortTermHistory)
    {
        historyPowers.push_back (powf (10.0f, s / 10.0f));
        if (std::isnan (s))
            ++historyNaNs;
        else
            sortedLevels.push_back (s);
    }
    std::sort (sortedLevels.begin(), sortedLevels.end());
    sortedPowers.clear();
    for (float s : sortedLevels)
        sortedPowers.push_back (powf (10.0f, s / 10.0f));
}

template <int N>
float LUFSProcessor<N>::updateLoudnessRange (float shortTermLevel)
{
    // Works as: append; partition the whole history on s >= -70; gate 20 LU under the mean
    // power of those; partition them on s >= gate; sort the survivors; take the 10th and 95th
    // percentiles. The history is left in exactly that arrangement, which decides the order of
    // the next sum. The powers are kept beside the levels so that none is computed twice, and
    // the sorted survivors are copied from a sorted copy of the history instead of sorted.
    syncRangeCache();

    const float power = powf (10.0f, shortTermLevel / 10.0f);
    shortTermHistory.push_back (shortTermLevel);
    historyPowers.push_back (power);
    if (std::isnan (shortTermLevel))
        ++historyNaNs;
    else
    {
        const auto at = std::upper_bound (sortedLevels.begin(), sortedLevels.end(), shortTermLevel);
        const auto offset = at - sortedLevels.begin();
        sortedLevels.insert (at, shortTermLevel);
        sortedPowers.insert (sortedPowers.begin() + offset, power);
    }

    float* levels = shortTermHistory.data();
    float* powers = historyPowers.data();
    const auto swapEntries = [levels, powers] (int a, int b)
    {
        std::swap (levels[a], levels[b]);
        std::swap (powers[a], powers[b]);
    };

    const int count = (int) shortTermHistory.size();
    const int passing = partitionFront (count, [levels] (int i) { return levels[i] >= absoluteGateLevel; }, swapEntries);
    if (passing == 0)
        return rangeValue;

    float sum = 0.0f;
    for (int i = 0; i < passing; ++i)
        sum += powers[i];
    const float gate = 10.0f * log10f (sum / (float) passing) - 20.0f;

    const int kept = partitionFront (passing, [levels, gate] (int i) { return levels[i] >= gate; }, swapEntries);
    if (kept == 0)
        return rangeValue;

    // The survivors are the top of the sorted copy: every number at or above both gates.
    const std::size_t from = sortedLevels.size() - (std::size_t) kept;
    std::copy (sortedLevels.begin() + (std::ptrdiff_t) from, sortedLevels.end(), levels);
    std::copy (sortedPowers.begin() + (std::ptrdiff_t) from, sortedPowers.end(), powers);

    const float c = (float) (kept - 1);
    const int hi = (int) roundf (c * 95.0f / 100.0f);
    const int lo = (int) roundf (c * 10.0f / 100.0f);
    rangeValue = levels[hi] - levels[lo];
    return rangeValue;
}

template class LUFSProcessor<3000>;
template class LUFSProcessor<180000>;
