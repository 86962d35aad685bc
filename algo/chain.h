// The kinematic chain of one arm family, evaluated in closed form per joint.
//
// A family fixes the DH convention and the twist of every link; the state supplies d, a and
// the theta offsets. Twists are multiples of 90 degrees, so their sines and cosines are
// exact and each joint costs one sine/cosine pair and a handful of multiply-adds.
//   modified convention: T_i = Rx(alpha_i) Tx(a_i) Rz(theta_i) Tz(d_i)  (twist before the joint)
//   standard convention: T_i = Rz(theta_i) Tz(d_i) Tx(a_i) Rx(alpha_i)  (twist after the joint)
#pragma once
#include <cmath>
#include <type_traits>

#include "algo/fast_trig.h"
#include "algo/state.h"

namespace ky::algo {

enum class Family { Ky6a, Ky7a, Kyl6c2, Kyl6c3, Lux6, Nov7 };

// The forward model of a robot type; types without a model of their own use KY6A's.
Family family_of(uint32_t robot_type);

struct Chain {
    int n;
    bool standard;
    // Entries up to n are set; the rest are not read.
    float d[kMaxJoints], a[kMaxJoints], offset[kMaxJoints];
    float ca[kMaxJoints], sa[kMaxJoints];  // cosine and sine of each twist
};

Chain make_chain(const State &s);

// Rotation and position of a frame (the last row of a transform is implicit).
template <class T>
struct Frame {
    T r[3][3];
    T p[3];
};

// Evaluates the chain at the DH angles `theta` (joint angles plus offsets; kMaxJoints
// entries, those past the joint count ignored). When `axes`
// and `points` are given, they receive each joint's axis direction and a point on it (base
// frame), for the Jacobian.
template <class T>
Frame<T> chain_fk(const Chain &c, const T theta[], T (*axes)[3] = nullptr,
                  T (*points)[3] = nullptr) {
    Frame<T> f{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}};
    // Every joint's sine and cosine first, in one vectorisable loop.
    float sn[kMaxJoints], cs[kMaxJoints];
    if constexpr (std::is_same_v<T, float>) {
        for (int i = 0; i < kMaxJoints; ++i) sincos_f(theta[i], sn[i], cs[i]);
    }
    auto twist = [&](int i) {
        const T ca = c.ca[i], sa = c.sa[i];
        if (sa == 0 && ca == 1) return;  // no twist
        if (ca == 0) {  // a quarter turn: the y and z columns swap, one changes sign
            for (int k = 0; k < 3; ++k) {
                const T y = f.r[k][1], z = f.r[k][2];
                f.r[k][1] = sa * z;
                f.r[k][2] = -sa * y;
            }
            return;
        }
        for (int k = 0; k < 3; ++k) {
            const T y = f.r[k][1], z = f.r[k][2];
            f.r[k][1] = ca * y + sa * z;
            f.r[k][2] = -sa * y + ca * z;
        }
    };
    auto along = [&](int col, T len) {
        if (len == 0) return;
        for (int k = 0; k < 3; ++k) f.p[k] += len * f.r[k][col];
    };
    int first = 0;
    if (!axes && (c.standard || (c.ca[0] == 1 && c.a[0] == 0))) {
        // The first joint from the identity: its rotation is Rz(theta) as it stands.
        T s0, c0;
        if constexpr (std::is_same_v<T, float>) {
            s0 = sn[0];
            c0 = cs[0];
        } else {
            s0 = std::sin(theta[0]);
            c0 = std::cos(theta[0]);
        }
        f.r[0][0] = c0;
        f.r[0][1] = -s0;
        f.r[1][0] = s0;
        f.r[1][1] = c0;
        along(2, static_cast<T>(c.d[0]));
        if (c.standard) {
            along(0, static_cast<T>(c.a[0]));
            twist(0);
        }
        first = 1;
    }
    for (int i = first; i < c.n; ++i) {
        if (!c.standard) {
            twist(i);
            along(0, static_cast<T>(c.a[i]));
        }
        if (axes) {
            for (int k = 0; k < 3; ++k) {
                axes[i][k] = f.r[k][2];
                points[i][k] = f.p[k];
            }
        }
        T s, co;
        if constexpr (std::is_same_v<T, float>) {
            s = sn[i];
            co = cs[i];
        } else {
            s = std::sin(theta[i]);
            co = std::cos(theta[i]);
        }
        for (int k = 0; k < 3; ++k) {
            const T x = f.r[k][0], y = f.r[k][1];
            f.r[k][0] = co * x + s * y;
            f.r[k][1] = -s * x + co * y;
        }
        along(2, static_cast<T>(c.d[i]));
        if (c.standard) {
            along(0, static_cast<T>(c.a[i]));
            twist(i);
        }
    }
    return f;
}

// Flange transform (counts 4 and 4) for joint angles `q` (rad, offsets not yet added).
ky_matrix chain_flange(const Chain &c, const float q[]);

}  // namespace ky::algo
