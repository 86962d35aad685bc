// Single-precision sine and cosine together, branch-free so that loops over joints
// vectorise. Range reduction by quarter turns (three-part pi/2), then minimax polynomials
// on [-pi/4, pi/4]; absolute error about 1e-7 for |x| up to a few thousand radians.
#pragma once
#include <cmath>

namespace ky::algo {

inline void sincos_f(float x, float &s, float &c) {
    constexpr float kTwoOverPi = 0.636619772f;
    constexpr float kRound = 12582912.0f;  // 1.5 * 2^23: adding and subtracting rounds to integer
    const float j = (x * kTwoOverPi + kRound) - kRound;
    const float r = ((x - j * 1.5703125f) - j * 4.837512969970703125e-4f) - j * 7.54978995489188216e-8f;
    const float r2 = r * r;
    const float sp = r + r * r2 * (-1.6666654611e-1f + r2 * (8.3321608736e-3f + r2 * -1.9515295891e-4f));
    const float cp = 1.0f - 0.5f * r2 +
                     r2 * r2 * (4.166664568298827e-2f + r2 * (-1.388731625493765e-3f + r2 * 2.443315711809948e-5f));
    const int q = static_cast<int>(j);
    const float s0 = (q & 1) ? cp : sp;
    const float c0 = (q & 1) ? sp : cp;
    s = (q & 2) ? -s0 : s0;
    c = ((q + 1) & 2) ? -c0 : c0;
}


// Angle of (|x|, |y|) in [0, pi/2] in single precision (relative error about 2e-7): reduce
// to a ratio in [0, 1], then to [-0.4142, 0.4142] by the quarter-turn identity, and a short
// odd polynomial. Returns 0 for (0, 0).
inline float atan2_first_quadrant(float y, float x) {
    // Written with selects rather than branches: the quadrant of a solver's angle is data,
    // and mispredicted branches would cost more than the arithmetic.
    const float ax = std::fabs(x), ay = std::fabs(y);
    const bool steep = ay > ax;
    const float mx = steep ? ay : ax, mn = steep ? ax : ay;
    const float a0 = mn / (mx == 0.0f ? 1.0f : mx);
    const bool upper = a0 > 0.41421356f;
    const float a = upper ? (a0 - 1.0f) / (a0 + 1.0f) : a0;
    const float z = a * a;
    const float r = (upper ? 0.78539816f : 0.0f) +
                    ((((8.05374449538e-2f * z - 1.38776856032e-1f) * z + 1.99777106478e-1f) * z -
                      3.33329491539e-1f) * z * a + a);
    return steep ? 1.57079633f - r : r;
}

// atan2 in single precision, from the first-quadrant angle by the signs of x and y. Returns
// 0 for (0, 0); -0.0 for y counts as +0 (the solvers treat +pi and -pi alike).
inline float atan2_f(float y, float x) {
    float r = atan2_first_quadrant(y, x);
    r = x < 0 ? 3.14159265f - r : r;
    return y < 0 ? -r : r;
}

}  // namespace ky::algo
