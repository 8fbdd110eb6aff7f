#pragma once

#include "measure/CpuFeatures.h"

#include <cstddef>

#if defined(__SSE2__) || defined(_M_X64)
    #include <emmintrin.h>
    #define ORVANE_TRUEPEAK_SSE2 1
    #if defined(__GNUC__) && defined(__x86_64__)
        #include <immintrin.h>
        #define ORVANE_TRUEPEAK_AVX 1
        #define ORVANE_TRUEPEAK_AVX512 1
    #endif
#endif

// Estimates, sample by sample, the largest magnitude the reconstructed waveform of one
// channel reaches: a polyphase interpolator of P phases with T taps each (P * T = 256).
class TruePeakProcessorBase
{
public:
    virtual ~TruePeakProcessorBase() = default;

    virtual void loadPrototype (const double* prototype) = 0;
    virtual float process (float sample) = 0;
    virtual void reset() = 0;

    // Takes a sample into the history without summing (the phase outputs keep their last
    // values): for a caller that keeps only the largest estimate and knows this one cannot be
    // larger than what it holds, from the bound below.
    virtual void skip (float sample) = 0;
    // No estimate is larger than this times the largest sample magnitude among the last tapCount()
    // samples taken, rounding included.
    virtual double estimateCeiling() const = 0;
    virtual int tapCount() const = 0;
    // The prototype tap-major (every phase's tap 0, then tap 1, ...), where the processor
    // keeps it so; null otherwise.
    virtual const double* tapMajorCoefficients() const { return nullptr; }
};

// The instruction sets the true-peak sums can run on.
enum class TruePeakKernel
{
    portable,
    sse2,
    avx,
    avx512
};

// Each phase's output is the sum, newest sample first, of coefficient k times the sample k
// steps back, accumulated in double in that order and rounded to float; the estimate is P
// times the largest output magnitude.
//
// How the work is laid out: every phase sees the same input, so one history serves all of
// them for the sums. It is kept as a doubled ring (`window`) of T + 1 places: each sample is
// written at `windowPosition` and T + 1 places further on, so the T + 1 most recent samples
// always lie side by side and no tap needs a wrap. (One place more than the taps need lets
// two samples in a row be stored before either is summed.) The coefficients are also kept
// tap-major (`bank`, which is the prototype in its own order: the P phases' tap 0, then
// their tap 1, ...), so all P sums advance together, two (SSE2), four (AVX) or eight
// (AVX-512, when P is a multiple of eight) phases to a vector register. Each phase still adds its products one at a time in the same order, with
// a separate multiply and add, so the outputs are the same to the last bit as those of the
// sums written out phase by phase. `kernel` names the instruction set used; the fastest the
// processor has is chosen at construction.
//
// loadPrototype fills each phase's `coefficients` as well. The phases' own `history` rings and
// `position`s are not written sample by sample: storing each sample into P rings slowed the
// vectorised sums by up to a third. syncPhaseHistories() fills them from `window`
// whenever they are wanted, with exactly what they would hold had they been kept all along.
// Neither reset() nor loadPrototype clears the history: a new run begins with the tail of the
// audio before it.
//
// The multiplies and adds are kept apart on purpose: a fused multiply-add rounds once where
// the sums round twice, so the code is built for the x86-64 baseline and the AVX kernel
// enables AVX alone, not FMA. The AVX-512 kernel's instruction set has FMA: its multiplies
// and adds are written with the rounding-mode forms, which the compiler never fuses (their
// all-lanes masks only keep GCC 12 from warning about an unset pass-through operand).
template <int P, int T>
class TruePeakProcessor : public TruePeakProcessorBase
{
public:
    static_assert (P * T == 256, "every prototype has 256 taps");
    static_assert (P % 4 == 0, "the phases are summed in pairs or fours and compared in fours");

    struct PhaseFilter
    {
        int length = T;
        double coefficients[static_cast<std::size_t> (T)] {};
        double history[static_cast<std::size_t> (T)] {};
        int position = 0;
    };

    using Kernel = TruePeakKernel;

    void loadPrototype (const double* prototype) override
    {
        for (int p = 0; p < P; ++p)
            for (int k = 0; k < T; ++k)
                phase[p].coefficients[k] = prototype[k * P + p];
        for (int i = 0; i < P * T; ++i)
            bank[i] = prototype[i];

        // P times the largest sum of tap magnitudes over the phases; the margin covers the
        // rounding of the sums in double, of the outputs to float and of the bound itself,
        // each far under a part in a million.
        double largestGain = 0.0;
        for (int p = 0; p < P; ++p)
        {
            double gain = 0.0;
            for (int k = 0; k < T; ++k)
                gain += phase[p].coefficients[k] < 0.0 ? -phase[p].coefficients[k] : phase[p].coefficients[k];
            largestGain = gain > largestGain ? gain : largestGain;
        }
        ceiling = static_cast<double> (P) * largestGain * (1.0 + 1e-6);
    }

    void skip (float sample) override { store (sample); }
    double estimateCeiling() const override { return ceiling; }
    int tapCount() const override { return T; }
    const double* tapMajorCoefficients() const override { return bank; }

    float process (float sample) override
    {
        const Stream stream { bank, store (sample), outputs };
        float estimate;
        sums<1> (&stream, &estimate);
        return estimate;
    }

    // Deliberately empty: the history carries over from the audio before.
    void reset() override {}

    // The same as first = process (a), then second = other.process (b), where other may be
    // this very processor; the two sums run side by side, on this processor's kernel, where
    // the registers allow it.
    void processPair (TruePeakProcessor& other, float a, float b, float& first, float& second)
    {
        if (! pairsFit (kernel))
        {
            first = process (a);
            second = other.process (b);
            return;
        }
        const double* newestA = store (a);
        const double* newestB = other.store (b);
        const Stream streams[2] { { bank, newestA, outputs }, { other.bank, newestB, other.outputs } };
        float estimates[2];
        sums<2> (streams, estimates);
        first = estimates[0];
        second = estimates[1];
    }

    // The same as first = process (a), then second = process (b): two frames of one channel,
    // summed side by side.
    void processTwo (float a, float b, float& first, float& second)
    {
        if (! pairsFit (kernel))
        {
            first = process (a);
            second = process (b);
            return;
        }
        const double* newestA = store (a);
        const double* newestB = store (b);
        const Stream streams[2] { { bank, newestA, outputs }, { bank, newestB, outputs } };
        float estimates[2];
        sums<2> (streams, estimates);
        first = estimates[0];
        second = estimates[1];
    }

    // The same as processPair (other, a0, b0, ...) and then processPair (other, a1, b1, ...):
    // two frames of two channels. `estimates` takes a0's, b0's, a1's and b1's. All four sums
    // run side by side where the registers allow it and other is not this very processor
    // (a ring holds only two samples that are not yet summed).
    void processTwoPairs (TruePeakProcessor& other, float a0, float b0, float a1, float b1, float* estimates)
    {
        if (&other == this || ! quadsFit (kernel))
        {
            processPair (other, a0, b0, estimates[0], estimates[1]);
            processPair (other, a1, b1, estimates[2], estimates[3]);
            return;
        }
        const double* newestA0 = store (a0);
        const double* newestA1 = store (a1);
        const double* newestB0 = other.store (b0);
        const double* newestB1 = other.store (b1);
        const Stream streams[4] { { bank, newestA0, outputs },
                                  { other.bank, newestB0, other.outputs },
                                  { bank, newestA1, outputs },
                                  { other.bank, newestB1, other.outputs } };
        sums<4> (streams, estimates);
    }

    static bool kernelAvailable (Kernel k)
    {
        if (k == Kernel::portable)
            return true;
#if defined(ORVANE_TRUEPEAK_SSE2)
        if (k == Kernel::sse2)
            return true;
#endif
#if defined(ORVANE_TRUEPEAK_AVX)
        if (k == Kernel::avx)
            return cpu::hasAvx();
#endif
#if defined(ORVANE_TRUEPEAK_AVX512)
        if (k == Kernel::avx512 && P % 8 == 0)
            return cpu::hasAvx512f();
#endif
        return false;
    }

    static Kernel fastestKernel()
    {
        if (kernelAvailable (Kernel::avx512))
            return Kernel::avx512;
        if (kernelAvailable (Kernel::avx))
            return Kernel::avx;
        if (kernelAvailable (Kernel::sse2))
            return Kernel::sse2;
        return Kernel::portable;
    }

    // Brings every phase's `history` and `position` up to date from `window`: afterwards
    // they hold exactly what rings kept by each phase sample by sample would hold.
    void syncPhaseHistories()
    {
        const int newest = (windowPosition + ringLength - 1) % ringLength + ringLength;
        for (auto& f : phase)
        {
            f.position = historyPosition;
            for (int k = 0; k < T; ++k)
                f.history[(historyPosition - 1 - k + 2 * T) % T] = window[newest - k];
        }
    }

    int taps = T;
    int phases = P;
    PhaseFilter phase[static_cast<std::size_t> (P)];
    float outputs[static_cast<std::size_t> (P)] {};

    // The working copies described above.
    alignas (32) double bank[static_cast<std::size_t> (P * T)] {};
    alignas (32) double window[static_cast<std::size_t> (2 * (T + 1))] {};
    int windowPosition = 0;
    int historyPosition = 0; // where the next sample goes in a phase's ring of T
    Kernel kernel = fastestKernel(); // only ever set to one that kernelAvailable allows

private:
    static constexpr int ringLength = T + 1;
    double ceiling = 0.0;

    // One input's sums: the coefficients, its newest sample (older ones at negative
    // offsets) and where its phase outputs go.
    struct Stream
    {
        const double* bank;
        const double* newest;
        float* outputs;
    };

    // Puts the sample into the doubled ring; returns the newest sample's place in it.
    const double* store (float sample)
    {
        const double x = sample;
        const int at = windowPosition;
        windowPosition = at + 1 == ringLength ? 0 : at + 1;
        window[at] = x;
        window[at + ringLength] = x;
        historyPosition = historyPosition + 1 == T ? 0 : historyPosition + 1;
        return window + at + ringLength;
    }

    // Whether four streams' sums fit the vector registers together.
    static bool quadsFit (Kernel k)
    {
        if (k == Kernel::avx512 && P % 8 == 0)
            return P / 8 * 4 <= 16;
        if (k == Kernel::avx || k == Kernel::avx512)
            return P / 4 * 4 <= 8;
        if (k == Kernel::sse2)
            return P / 2 * 4 <= 8;
        return true;
    }

    // Whether two streams' sums fit the vector registers together.
    static bool pairsFit (Kernel k)
    {
        if (k == Kernel::avx512)
            return P / 8 * 2 <= 16;
        if (k == Kernel::avx)
            return P / 4 * 2 <= 8;
        if (k == Kernel::sse2)
            return P / 2 * 2 <= 8;
        return true;
    }

    template <int S>
    void sums (const Stream* streams, float* estimates)
    {
#if defined(ORVANE_TRUEPEAK_AVX512)
        if constexpr (P % 8 == 0)
            if (kernel == Kernel::avx512)
                return sumsAvx512<S> (streams, estimates);
#endif
#if defined(ORVANE_TRUEPEAK_AVX)
        // Fewer than eight phases run on AVX even where AVX-512 was asked for.
        if (kernel == Kernel::avx || kernel == Kernel::avx512)
            return sumsAvx<S> (streams, estimates);
#endif
#if defined(ORVANE_TRUEPEAK_SSE2)
        if (kernel == Kernel::sse2)
            return sumsSse2<S> (streams, estimates);
#endif
        sumsPortable<S> (streams, estimates);
    }

    template <int S>
    static void sumsPortable (const Stream* streams, float* estimates)
    {
        double y[static_cast<std::size_t> (S)][static_cast<std::size_t> (P)] {};
        for (int k = 0; k < T; ++k)
        {
            for (int s = 0; s < S; ++s)
            {
                const double h = streams[s].newest[-k];
                const double* c = streams[s].bank + k * P;
                for (int p = 0; p < P; ++p)
                    y[s][p] += c[p] * h;
            }
        }

        for (int s = 0; s < S; ++s)
        {
            float* out = streams[s].outputs;
            float largest = 0.0f;
            for (int p = 0; p < P; ++p)
            {
                out[p] = static_cast<float> (y[s][p]);
                const float magnitude = out[p] < 0.0f ? -out[p] : out[p];
                if (magnitude > largest)
                    largest = magnitude;
            }
            estimates[s] = static_cast<float> (P) * largest;
        }
    }

#if defined(ORVANE_TRUEPEAK_SSE2)
    template <int S>
    static void sumsSse2 (const Stream* streams, float* estimates)
    {
        constexpr int G = P / 2;
        __m128d y[static_cast<std::size_t> (S)][static_cast<std::size_t> (G)];
        for (auto& stream : y)
            for (auto& v : stream)
                v = _mm_setzero_pd();
        for (int k = 0; k < T; ++k)
        {
            for (int s = 0; s < S; ++s)
            {
                const __m128d h = _mm_set1_pd (streams[s].newest[-k]);
                const double* c = streams[s].bank + k * P;
                for (int j = 0; j < G; ++j)
                    y[s][j] = _mm_add_pd (y[s][j], _mm_mul_pd (_mm_loadu_pd (c + 2 * j), h));
            }
        }

        for (int s = 0; s < S; ++s)
        {
            float* out = streams[s].outputs;
            __m128 largest = _mm_setzero_ps();
            for (int j = 0; j < G; j += 2)
            {
                const __m128 four = _mm_movelh_ps (_mm_cvtpd_ps (y[s][j]), _mm_cvtpd_ps (y[s][j + 1]));
                _mm_storeu_ps (out + 2 * j, four);
                largest = keepLarger (magnitudes (four), largest);
            }
            estimates[s] = static_cast<float> (P) * largestLane (largest);
        }
    }

    static __m128 magnitudes (__m128 v) { return _mm_andnot_ps (_mm_set1_ps (-0.0f), v); }

    // max (m, largest) keeps largest wherever m isn't larger, so a NaN output is passed
    // over as it is by a plain comparison.
    static __m128 keepLarger (__m128 m, __m128 largest) { return _mm_max_ps (m, largest); }

    static float largestLane (__m128 v)
    {
        v = _mm_max_ps (v, _mm_movehl_ps (v, v));
        v = _mm_max_ss (v, _mm_shuffle_ps (v, v, 1));
        return _mm_cvtss_f32 (v);
    }
#endif

#if defined(ORVANE_TRUEPEAK_AVX)
    template <int S>
    __attribute__ ((target ("avx"))) static void sumsAvx (const Stream* streams, float* estimates)
    {
        constexpr int G = P / 4;
        __m256d y[static_cast<std::size_t> (S)][static_cast<std::size_t> (G)];
        for (auto& stream : y)
            for (auto& v : stream)
                v = _mm256_setzero_pd();
        for (int k = 0; k < T; ++k)
        {
            for (int s = 0; s < S; ++s)
            {
                const __m256d h = _mm256_broadcast_sd (streams[s].newest - k);
                const double* c = streams[s].bank + k * P;
                for (int j = 0; j < G; ++j)
                    y[s][j] = _mm256_add_pd (y[s][j], _mm256_mul_pd (_mm256_loadu_pd (c + 4 * j), h));
            }
        }

        for (int s = 0; s < S; ++s)
        {
            float* out = streams[s].outputs;
            __m128 largest = _mm_setzero_ps();
            for (int j = 0; j < G; ++j)
            {
                const __m128 four = _mm256_cvtpd_ps (y[s][j]);
                _mm_storeu_ps (out + 4 * j, four);
                largest = keepLarger (magnitudes (four), largest);
            }
            estimates[s] = static_cast<float> (P) * largestLane (largest);
        }
    }
#endif

#if defined(ORVANE_TRUEPEAK_AVX512)
    template <int S>
    __attribute__ ((target ("avx512f"))) static void sumsAvx512 (const Stream* streams, float* estimates)
    {
        constexpr int G = P / 8;
        constexpr __mmask8 all = 0xff;
        constexpr int current = _MM_FROUND_CUR_DIRECTION;
        __m512d y[static_cast<std::size_t> (S)][static_cast<std::size_t> (G)];
        for (auto& stream : y)
            for (auto& v : stream)
                v = _mm512_setzero_pd();
        for (int k = 0; k < T; ++k)
        {
            for (int s = 0; s < S; ++s)
            {
                const __m512d h = _mm512_set1_pd (streams[s].newest[-k]);
                const double* c = streams[s].bank + k * P;
                for (int j = 0; j < G; ++j)
                    y[s][j] = _mm512_maskz_add_round_pd (
                        all, y[s][j], _mm512_maskz_mul_round_pd (all, _mm512_loadu_pd (c + 8 * j), h, current), current);
            }
        }

        for (int s = 0; s < S; ++s)
        {
            float* out = streams[s].outputs;
            __m128 largest = _mm_setzero_ps();
            for (int j = 0; j < G; ++j)
            {
                const __m256 eight = _mm512_maskz_cvtpd_ps (all, y[s][j]);
                _mm256_storeu_ps (out + 8 * j, eight);
                largest = keepLarger (magnitudes (_mm256_castps256_ps128 (eight)), largest);
                largest = keepLarger (magnitudes (_mm256_extractf128_ps (eight, 1)), largest);
            }
            estimates[s] = static_cast<float> (P) * largestLane (largest);
        }
    }
#endif
};

// Feeds one frame of a stereo file to the two processors chosen for it (the same one twice
// above 96 kHz): the estimates of left through the first, then right through the second.
// Resolved once per analysis, so that the frame loop makes one plain call a frame and the two
// channels' sums can share a pass.
using StereoTruePeakFeed = void (*) (TruePeakProcessorBase& left, TruePeakProcessorBase& right, float l, float r,
                                     float& leftEstimate, float& rightEstimate);
// Two frames in a row the same way: the estimates of l0, r0, l1 and r1, in that order.
using StereoTruePeakTwoFrameFeed = void (*) (TruePeakProcessorBase& left, TruePeakProcessorBase& right, float l0,
                                             float r0, float l1, float r1, float* estimates);
// Two frames in a row of one channel.
using TruePeakTwoFrameFeed = void (*) (TruePeakProcessorBase& channel, float a, float b, float& first, float& second);

namespace truepeak
{
inline void feedOneByOne (TruePeakProcessorBase& left, TruePeakProcessorBase& right, float l, float r,
                          float& leftEstimate, float& rightEstimate)
{
    leftEstimate = left.process (l);
    rightEstimate = right.process (r);
}

template <int P, int T>
void feedPaired (TruePeakProcessorBase& left, TruePeakProcessorBase& right, float l, float r, float& leftEstimate,
                 float& rightEstimate)
{
    using Processor = TruePeakProcessor<P, T>;
    static_cast<Processor&> (left).processPair (static_cast<Processor&> (right), l, r, leftEstimate, rightEstimate);
}

template <int P, int T>
void feedTwoPaired (TruePeakProcessorBase& left, TruePeakProcessorBase& right, float l0, float r0, float l1, float r1,
                    float* estimates)
{
    using Processor = TruePeakProcessor<P, T>;
    static_cast<Processor&> (left).processTwoPairs (static_cast<Processor&> (right), l0, r0, l1, r1, estimates);
}

inline void feedTwoOneByOne (TruePeakProcessorBase& left, TruePeakProcessorBase& right, float l0, float r0, float l1,
                             float r1, float* estimates)
{
    feedOneByOne (left, right, l0, r0, estimates[0], estimates[1]);
    feedOneByOne (left, right, l1, r1, estimates[2], estimates[3]);
}

template <int P, int T>
void feedTwoFrames (TruePeakProcessorBase& channel, float a, float b, float& first, float& second)
{
    static_cast<TruePeakProcessor<P, T>&> (channel).processTwo (a, b, first, second);
}

inline void feedTwoFramesOneByOne (TruePeakProcessorBase& channel, float a, float b, float& first, float& second)
{
    first = channel.process (a);
    second = channel.process (b);
}

template <int P, int T>
bool bothAre (TruePeakProcessorBase& left, TruePeakProcessorBase& right)
{
    return dynamic_cast<TruePeakProcessor<P, T>*> (&left) != nullptr
           && dynamic_cast<TruePeakProcessor<P, T>*> (&right) != nullptr;
}

inline StereoTruePeakFeed stereoFeedFor (TruePeakProcessorBase& left, TruePeakProcessorBase& right)
{
    if (bothAre<16, 16> (left, right))
        return feedPaired<16, 16>;
    if (bothAre<8, 32> (left, right))
        return feedPaired<8, 32>;
    if (bothAre<4, 64> (left, right))
        return feedPaired<4, 64>;
    return feedOneByOne;
}

inline StereoTruePeakTwoFrameFeed stereoTwoFrameFeedFor (TruePeakProcessorBase& left, TruePeakProcessorBase& right)
{
    if (bothAre<16, 16> (left, right))
        return feedTwoPaired<16, 16>;
    if (bothAre<8, 32> (left, right))
        return feedTwoPaired<8, 32>;
    if (bothAre<4, 64> (left, right))
        return feedTwoPaired<4, 64>;
    return feedTwoOneByOne;
}

inline TruePeakTwoFrameFeed twoFrameFeedFor (TruePeakProcessorBase& channel)
{
    if (dynamic_cast<TruePeakProcessor<16, 16>*> (&channel) != nullptr)
        return feedTwoFrames<16, 16>;
    if (dynamic_cast<TruePeakProcessor<8, 32>*> (&channel) != nullptr)
        return feedTwoFrames<8, 32>;
    if (dynamic_cast<TruePeakProcessor<4, 64>*> (&channel) != nullptr)
        return feedTwoFrames<4, 64>;
    return feedTwoFramesOneByOne;
}
} // namespace truepeak

// The four 256-tap low-pass prototypes (generated; see scripts/).
namespace truepeak
{
extern const double prototypeA[256]; // up to 44100 Hz
extern const double prototypeB[256]; // above 44100 up to 48000 Hz
extern const double prototypeC[256]; // above 48000 up to 96000 Hz
extern const double prototypeD[256]; // above 96000 Hz
} // namespace truepeak
