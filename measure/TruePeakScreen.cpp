#include "measure/TruePeakScreen.h"

#include "measure/CpuFeatures.h"
#include "measure/TruePeakProcessor.h"

#include <cmath>
#include <algorithm>
#include <cstring>
#include <limits>

#if defined(__GNUC__) && defined(__x86_64__)
 #include <immintrin.h>
 #define ORVANE_TRUEPEAK_SCREEN 1
#endif

namespace
{
constexpr int phases = 16;
constexpr int taps = 16;

// Past this the float sums could overflow, and a bound would say nothing.
constexpr float largestScreened = 0x1p100f;

// Error terms, each far wider than what they cover. The float sum of a phase lies within
// 17.2 * 2^-24 of the tap-magnitude sum A (coefficient rounding and sixteen roundings of
// the sum), the exact sum in double within 2^-49 A, and its rounding to float adds 2^-24 of
// itself; A is at most the largest gain times the largest sample. Coefficients small enough
// to round as denormals add at most 2^-149 each, times that sample; and where denormals are
// flushed to zero, each product and partial sum moves by at most 2^-126.
constexpr double relativeMargin = 0x1p-18;
constexpr double gainMargin = 0x1p-16;
constexpr double sampleMargin = 0x1p-100;
constexpr double flushMargin = 0x1p-110;

double boundFrom (float largestPhase, double slack)
{
    return (double) phases * (double) largestPhase * (1.0 + relativeMargin) + slack;
}

#if defined(ORVANE_TRUEPEAK_SCREEN)
__attribute__ ((target ("avx512f"))) inline __m512 magnitudes (__m512 v)
{
    return _mm512_castsi512_ps (_mm512_and_si512 (_mm512_castps_si512 (v), _mm512_set1_epi32 (0x7fffffff)));
}

// (The all-lanes masks only keep GCC 12 from warning about an unset pass-through operand.)
constexpr __mmask16 all = 0xffff;

__attribute__ ((target ("avx512f"))) inline float largestLane (__m512 v)
{
    alignas (64) float lanes[16];
    _mm512_store_ps (lanes, v);
    const __m256 half = _mm256_max_ps (_mm256_load_ps (lanes), _mm256_load_ps (lanes + 8));
    __m128 q = _mm_max_ps (_mm256_castps256_ps128 (half), _mm256_extractf128_ps (half, 1));
    q = _mm_max_ps (q, _mm_movehl_ps (q, q));
    q = _mm_max_ss (q, _mm_shuffle_ps (q, q, 1));
    return _mm_cvtss_f32 (q);
}

__attribute__ ((target ("avx512f"))) void blockLargestPhases (const float* coefficients, const float* left,
                                                            const float* right, int n0, float* largest,
                                                            float& largestSample, bool& finite)
{
    __mmask16 fine = all;
    const __m512 limit = _mm512_set1_ps (largestScreened);
    __m512 sampleMagnitudes = _mm512_setzero_ps();
    __m512 result = _mm512_setzero_ps();
    for (const float* x : { left, right })
    {
        // Lane f of acc[p] is phase p's sum for frame n0 + f: tap k meets samples n0 - k on.
        __m512 acc[phases];
        const __m512 x0 = _mm512_loadu_ps (x + n0);
        for (int p = 0; p < phases; ++p)
            acc[p] = _mm512_mul_ps (x0, _mm512_set1_ps (coefficients[p]));
        __m512 seen = magnitudes (x0);
        fine &= _mm512_cmp_ps_mask (seen, limit, _CMP_LE_OQ);
        for (int k = 1; k < taps; ++k)
        {
            const __m512 xk = _mm512_loadu_ps (x + n0 - k);
            const __m512 m = magnitudes (xk);
            fine &= _mm512_cmp_ps_mask (m, limit, _CMP_LE_OQ);
            seen = _mm512_maskz_max_ps (all, seen, m);
            for (int p = 0; p < phases; ++p)
                acc[p] = _mm512_fmadd_ps (xk, _mm512_set1_ps (coefficients[phases * k + p]), acc[p]);
        }
        for (int p = 0; p < phases; ++p)
        {
            // A sum that is not a number would be passed over by the maximum: no bound then.
            fine &= _mm512_cmp_ps_mask (acc[p], acc[p], _CMP_ORD_Q);
            result = _mm512_maskz_max_ps (all, result, magnitudes (acc[p]));
        }
        sampleMagnitudes = _mm512_maskz_max_ps (all, sampleMagnitudes, seen);
    }
    _mm512_storeu_ps (largest, result);
    largestSample = largestLane (sampleMagnitudes);
    finite = fine == all;
}
#endif
} // namespace

bool TruePeakScreen::prepare (const TruePeakProcessorBase& left, const TruePeakProcessorBase& right)
{
    usable = false;
#if defined(ORVANE_TRUEPEAK_SCREEN)
    const double* bank = left.tapMajorCoefficients();
    const double* other = right.tapMajorCoefficients();
    // One processor taking both channels holds them interleaved: its windows are not the arrays'.
    if (! cpu::hasAvx512f() || &left == &right || bank == nullptr || other == nullptr || left.tapCount() != taps
        || right.tapCount() != taps || std::memcmp (bank, other, sizeof (double) * phases * taps) != 0)
        return false;

    largestGain = 0.0;
    for (int p = 0; p < phases; ++p)
    {
        double gain = 0.0;
        for (int k = 0; k < taps; ++k)
            gain += std::abs (bank[k * phases + p]);
        largestGain = std::max (largestGain, gain);
    }
    // The float sums of samples up to largestScreened must stay far from overflow.
    if (! (largestGain * (double) largestScreened * phases < 0x1p110))
        return false;
    for (int n = 0; n < phases * taps; ++n)
        coefficients[n] = (float) bank[n];
    usable = true;
#else
    (void) left;
    (void) right;
#endif
    return usable;
}

void TruePeakScreen::blockBounds (const float* left, const float* right, int n0, double* bounds) const
{
    std::fill (bounds, bounds + blockFrames, std::numeric_limits<double>::infinity());
#if defined(ORVANE_TRUEPEAK_SCREEN)
    if (! usable)
        return;
    alignas (64) float largest[blockFrames];
    float largestSample = 0.0f;
    bool finite = false;
    blockLargestPhases (coefficients, left, right, n0, largest, largestSample, finite);
    if (! finite)
        return;
    const double slack = (double) phases
                         * ((gainMargin * largestGain + sampleMargin) * (double) largestSample
                            + flushMargin * (largestGain + 1.0));
    for (int f = 0; f < blockFrames; ++f)
        bounds[f] = boundFrom (largest[f], slack);
#else
    (void) left;
    (void) right;
    (void) n0;
#endif
}
