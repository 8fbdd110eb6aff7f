#pragma once

#include <cstddef>

// Estimates, sample by sample, the largest magnitude the reconstructed waveform of one
// channel reaches: a polyphase interpolator of P phases with T taps each (P * T = 256).
class TruePeakProcessorBase
{
public:
    virtual ~TruePeakProcessorBase() = default;

    virtual void loadPrototype (const double* prototype) = 0;
    virtual float process (float sample) = 0;
    virtual void reset() = 0;
};

template <int P, int T>
class TruePeakProcessor : public TruePeakProcessorBase
{
public:
    static_assert (P * T == 256, "every prototype has 256 taps");

    struct PhaseFilter
    {
        int length = T;
        double coefficients[static_cast<std::size_t> (T)] {};
        double history[static_cast<std::size_t> (T)] {};
        int position = 0;
    };

    void loadPrototype (const double* prototype) override
    {
        for (int p = 0; p < P; ++p)
            for (int k = 0; k < T; ++k)
                phase[p].coefficients[k] = prototype[k * P + p];
    }

    float process (float sample) override
    {
        const double x = sample;
        for (int p = 0; p < P; ++p)
        {
            auto& f = phase[p];
            f.history[f.position] = x;
            double y = 0.0;
            for (int k = 0; k < T; ++k)
            {
                int index = f.position - k;
                if (index < 0)
                    index += T;
                y += f.coefficients[k] * f.history[index];
            }
            if (++f.position == T)
                f.position = 0;
            outputs[p] = static_cast<float> (y);
        }

        float largest = 0.0f;
        for (int p = 0; p < P; ++p)
        {
            const float magnitude = outputs[p] < 0.0f ? -outputs[p] : outputs[p];
            if (magnitude > largest)
                largest = magnitude;
        }
        return static_cast<float> (P) * largest;
    }

    // Deliberately empty: the history carries over from the audio before.
    void reset() override {}

    int taps = T;
    int phases = P;
    PhaseFilter phase[static_cast<std::size_t> (P)];
    float outputs[static_cast<std::size_t> (P)] {};
};

// The four 256-tap low-pass prototypes (generated; see scripts/).
namespace truepeak
{
extern const double prototypeA[256]; // up to 44100 Hz
extern const double prototypeB[256]; // above 44100 up to 48000 Hz
extern const double prototypeC[256]; // above 48000 up to 96000 Hz
extern const double prototypeD[256]; // above 96000 Hz
} // namespace truepeak
