#pragma once

class TruePeakProcessorBase;

// A quick upper bound on the true-peak estimates of two frames of a stereo pair, for a walk
// that keeps only the largest estimate of each stretch: where the bound stays under what the
// stretch holds, the exact sums can be left out.
//
// The phase sums are taken in float with fused multiply-adds, sixteen phases to a vector,
// which costs a fraction of the exact sums in double with separate roundings. The distance
// between the two is bounded by the tap magnitudes times the largest sample magnitude in
// the window; the bound adds that distance, widened many times over, so it is never under
// the exact estimate.
class TruePeakScreen
{
public:
    // Whether the bound can be had for these two processors: sixteen phases of sixteen taps,
    // the same coefficients on both, and AVX-512 on this machine.
    bool prepare (const TruePeakProcessorBase& left, const TruePeakProcessorBase& right);
    bool ready() const { return usable; }

    // Upper bounds on the larger of the two channels' estimates for frames i and i + 1, where
    // the processors' histories hold the samples before them: samples i - 15 .. i + 1 of both
    // channels are read. `largest` is at least the magnitude of every one of them; +infinity
    // comes back where no bound is given (a largest that is not finite or is too large for
    // float sums to stay finite).
    void bounds (const float* left, const float* right, int i, float largest, double& first, double& second) const;

private:
    alignas (64) float coefficients[16 * 16] {}; // tap-major: the sixteen phases' tap 0, then tap 1, ...
    double largestGain = 0.0;                     // the largest sum of tap magnitudes over the phases
    bool usable = false;
};
