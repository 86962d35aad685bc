// Shared pieces of the inverse solvers.
#pragma once
#include <cmath>

#include "algo/chain.h"
#include "algo/state.h"

namespace ky::algo {

constexpr float kTwoPiF = 6.2831855f;
constexpr float kPiF = 3.1415927f;
// Candidates may lie this far beyond a limit and still be chosen as the nearest; the final
// check against the real limits then reports them (-2).
constexpr float kLimitWidening = 0.0087f;

// Affine transform in single precision.
using Aff = Frame<float>;

inline Aff aff_mul(const Aff &a, const Aff &b) {
    Aff c;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j)
            c.r[i][j] = a.r[i][0] * b.r[0][j] + a.r[i][1] * b.r[1][j] + a.r[i][2] * b.r[2][j];
        c.p[i] = a.r[i][0] * b.p[0] + a.r[i][1] * b.p[1] + a.r[i][2] * b.p[2] + a.p[i];
    }
    return c;
}

inline Aff aff_inv(const Aff &a) {
    Aff c;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) c.r[i][j] = a.r[j][i];
    for (int i = 0; i < 3; ++i)
        c.p[i] = -(c.r[i][0] * a.p[0] + c.r[i][1] * a.p[1] + c.r[i][2] * a.p[2]);
    return c;
}

inline Aff aff_from(const ky_matrix &m) {
    Aff a;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) a.r[i][j] = m.data[i][j];
        a.p[i] = m.data[i][3];
    }
    return a;
}

inline ky_matrix matrix_from(const Aff &a) {
    ky_matrix m{};
    m.rows = m.cols = 4;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) m.data[i][j] = a.r[i][j];
        m.data[i][3] = a.p[i];
    }
    m.data[3][3] = 1.0f;
    return m;
}

// Brings `angle` within pi of `ref` by whole turns.
inline float near_turn(float angle, float ref) {
    const float d = angle - ref;
    const float turns = (d * 0.15915494f + 12582912.0f) - 12582912.0f;  // nearest integer
    return angle - turns * kTwoPiF;
}

// Closed-form solver of the 6-joint families. `flange` is the target flange transform in the
// arm's own base; `ref` the reference joints (rad). Result codes as inverse_kinematics().
int inverse_kinematics_6dof(const State &s, const Aff &flange, const float ref[], float out[]);
// Numerical solver of the 7-joint families.
int inverse_kinematics_7dof(const State &s, const Aff &flange, const float ref[], float out[]);

// Moves `candidate` by -4pi, -2pi, 0, +2pi or +4pi to the value nearest `ref` inside
// [lower - margin, upper + margin]; returns the remaining distance, or 1e6 (candidate
// unchanged) when no shift fits.
float find_nearest_joint(float ref, float &candidate, float margin, float lower, float upper);
// Index of the smallest of `count` values (the first on ties); 0 for a count below 2.
int find_min_index(const float values[], int count);

}  // namespace ky::algo
