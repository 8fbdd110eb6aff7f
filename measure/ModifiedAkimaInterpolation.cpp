#include "measure/ModifiedAkimaInterpolation.h"

#include <cmath>
#include <utility>

namespace bws
{
ModifiedAkimaInterpolation::ModifiedAkimaInterpolation (const std::vector<double>& xsToUse,
                                                        const std::vector<double>& ysToUse)
    : xs (&xsToUse),
      ys (&ysToUse),
      basis { [] (double x) { return x * x * x; },
              [] (double x) { return x * x; },
              [] (double x) { return x; },
              [] (double) { return 1.0; } },
      basisDerivative { [] (double x) { return 3.0 * x * x; },
                        [] (double x) { return 2.0 * x; },
                        [] (double) { return 1.0; },
                        [] (double) { return 0.0; } }
{
}

double ModifiedAkimaInterpolation::slope (int i)
{
    const int n = (int) xs->size();
    const auto& x = *xs;
    const auto& y = *ys;

    if (i >= 0 && i < n - 1)
        return (y[(size_t) i + 1] - y[(size_t) i]) / (x[(size_t) i + 1] - x[(size_t) i]);

    if (n == 2 && (i == 1 || i == -1))
        // With a single interval the two end rules refer to each other; their one
        // consistent answer is the interval's own slope.
        return slope (0);

    if (i == n - 1)
        return 2.0 * slope (n - 2) - slope (n - 3);
    if (i == n)
        return 2.0 * slope (n - 1) - slope (n - 2);
    if (i == -1)
        return 2.0 * slope (0) - slope (1);
    if (i == -2)
        return 2.0 * slope (-1) - slope (0);
    return 0.0;
}

double ModifiedAkimaInterpolation::derivativeAt (int point)
{
    const double sMinus2 = slope (point - 2);
    const double sMinus1 = slope (point - 1);
    const double s0 = slope (point);
    const double s1 = slope (point + 1);

    // The second term of each weight is the modification: it damps the wiggle where the
    // slopes on one side agree but are both large.
    const double w1 = std::abs (s1 - s0) + std::abs (s1 + s0) / 2.0;
    const double w2 = std::abs (sMinus1 - sMinus2) + std::abs (sMinus1 + sMinus2) / 2.0;

    // Four zero slopes make this 0/0: the caller draws such a stretch flat by itself.
    return (w1 / (w1 + w2)) * sMinus1 + (w2 / (w1 + w2)) * s0;
}

void ModifiedAkimaInterpolation::intervalDerivatives (double out[2], int i)
{
    out[0] = derivativeAt (i);
    out[1] = derivativeAt (i + 1);
}

void ModifiedAkimaInterpolation::computeCubics (std::vector<Cubic>& cubics)
{
    const int n = (int) xs->size();
    if (n <= 1)
        return;

    for (int i = 0; i < n - 1; ++i)
    {
        double slopes[2];
        intervalDerivatives (slopes, i);

        const double x0 = (*xs)[(size_t) i];
        const double x1 = (*xs)[(size_t) i + 1];

        double m[4][4];
        for (int j = 0; j < 4; ++j)
        {
            m[0][j] = basis[j] (x0);
            m[1][j] = basis[j] (x1);
            m[2][j] = basisDerivative[j] (x0);
            m[3][j] = basisDerivative[j] (x1);
        }

        double rhs[4] = { (*ys)[(size_t) i], (*ys)[(size_t) i + 1], slopes[0], slopes[1] };
        solveLinear4 (m, rhs);
        cubics.push_back ({ rhs[0], rhs[1], rhs[2], rhs[3] });
    }
}

void solveLinear4 (double m[4][4], double rhs[4])
{
    constexpr int size = 4;
    int permutation[size] = { 0, 1, 2, 3 };

    // Doolittle elimination: L below the diagonal (unit diagonal implied), U on and above.
    for (int k = 0; k < size; ++k)
    {
        int pivot = k;
        double largest = std::abs (m[k][k]);
        for (int r = k + 1; r < size; ++r)
        {
            if (std::abs (m[r][k]) > largest)
            {
                largest = std::abs (m[r][k]);
                pivot = r;
            }
        }

        if (pivot != k)
        {
            for (int c = 0; c < size; ++c)
                std::swap (m[k][c], m[pivot][c]);
            std::swap (permutation[k], permutation[pivot]);
        }

        for (int r = k + 1; r < size; ++r)
        {
            m[r][k] /= m[k][k];
            for (int c = k + 1; c < size; ++c)
                m[r][c] -= m[r][k] * m[k][c];
        }
    }

    double y[size];
    for (int r = 0; r < size; ++r)
    {
        double v = rhs[permutation[r]];
        for (int c = 0; c < r; ++c)
            v -= m[r][c] * y[c];
        y[r] = v;
    }

    for (int r = size - 1; r >= 0; --r)
    {
        double v = y[r];
        for (int c = r + 1; c < size; ++c)
            v -= m[r][c] * rhs[c];
        rhs[r] = v / m[r][r];
    }
}
} // namespace bws
