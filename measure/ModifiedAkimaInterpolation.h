#pragma once

#include <functional>
#include <vector>

namespace bws
{
// A piecewise cubic through a short list of points, one cubic per interval in the plain x of
// the points. The slopes at the points follow the modified Akima rule, which keeps the curve
// from overshooting beside a sudden step.
class ModifiedAkimaInterpolation
{
public:
    // a x^3 + b x^2 + c x + d over one interval.
    struct Cubic
    {
        double a, b, c, d;
    };

    // xs ascending, ys of the same length. Both are referenced, not copied: they must outlive
    // the interpolator.
    ModifiedAkimaInterpolation (const std::vector<double>& xs, const std::vector<double>& ys);

    // Appends one cubic per interval, n - 1 in all; nothing for a single point. Where four
    // neighbouring slopes are all 0 the derivative, and so the cubic, is NaN.
    void computeCubics (std::vector<Cubic>& cubics);

    // The slope of interval i; two slopes are extrapolated linearly beyond each end, and any
    // index further out gives 0.
    double slope (int i);

    // out[0] and out[1]: the derivatives at points i and i + 1.
    void intervalDerivatives (double out[2], int i);

    const std::vector<double>* xs;
    const std::vector<double>* ys;
    std::function<double (double)> basis[4];
    std::function<double (double)> basisDerivative[4];

private:
    double derivativeAt (int point);
};

// Solves the dense 4 x 4 system m x = rhs by LU factorisation with partial pivoting.
// m is row-major and is overwritten by its factors; rhs is overwritten by the solution.
// A singular matrix gives values that aren't numbers.
void solveLinear4 (double m[4][4], double rhs[4]);
} // namespace bws
