#pragma once

class TruePeakProcessorBase;

// A quick upper bound on the true-peak estimates of the frames of a stereo pair, for a walk
// that keeps only the largest estimate of each stretch: where the bound stays under what the
// stretch holds, the exact sums can be left out.
//
// The phase sums are taken in float with fused multiply-adds, sixteen frames to a vector,
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

    static constexpr int blockFrames = 16;

    // Upper bounds on the larger of the two channels' estimates for frames n0 .. n0 + 15, where
    // the processors' histories hold the samples before each: bounds[f] is frame n0 + f's, and
    // samples n0 - 15 .. n0 + 15 of both channels are read. All are +infinity where no bound is
    // given: a sample among them that is not a finite number or too large for the float sums
    // to stay finite.
    void blockBounds (const float* left, const float* right, int n0, double* bounds) const;

private:
    alignas (64) float coefficients[16 * 16] {}; // tap-major: the sixteen phases' tap 0, then tap 1, ...
    double largestGain = 0.0;                     // the largest sum of tap magnitudes over the phases
    bool usable = false;
};
