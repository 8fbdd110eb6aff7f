#pragma once

// One second-order section. The arithmetic runs in T throughout, so BiQuad<float>
// rounds exactly as a float implementation does.
template <typename T>
class BiQuad
{
public:
    virtual ~BiQuad() = default;

    virtual T process (T x)
    {
        const T y = ((x1 * b1 + x * b0 + b2 * x2) - y1 * a1 - a2 * y2) * (T (1) / a0);
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }

    void clearHistory() { x1 = x2 = y1 = y2 = T (0); }

    void setCoefficients (T newB0, T newB1, T newB2, T newA0, T newA1, T newA2)
    {
        b0 = newB0; b1 = newB1; b2 = newB2;
        a0 = newA0; a1 = newA1; a2 = newA2;
    }

    T x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    T a0 = 1, a1 = 0, a2 = 0, b0 = 1, b1 = 0, b2 = 0;
};
