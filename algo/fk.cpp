// Forward kinematics: flange, world tool pose and work-frame pose.
#include <cstring>

#include "algo/fast_trig.h"

#include "algo/chain.h"
#include "algo/kinematics.h"
#include "algo/pose.h"
#include "algo/state.h"

namespace ky::algo {

namespace {

struct FamilyModel {
    int n;
    bool standard;
    int twist[kMaxJoints];  // in quarter turns
};

// Indexed by Family.
constexpr FamilyModel kFamilies[] = {
    {6, false, {0, 1, 0, 1, -1, 1, 0}},     // Ky6a
    {7, true, {-1, 1, -1, 1, -1, 1, 0}},    // Ky7a
    {6, false, {0, -1, 0, 1, -1, -1, 0}},   // Kyl6c2
    {6, false, {0, -1, 0, 1, -1, -1, 0}},   // Kyl6c3
    {6, false, {0, -1, 0, 0, 1, -1, 0}},    // Lux6
    {7, false, {0, -1, 1, 1, -1, 1, 1}},    // Nov7
};
}  // namespace

Family family_of(uint32_t robot_type) {
    switch (robot_type) {
        case 1: return Family::Ky7a;
        case 3: return Family::Kyl6c2;
        case 4: return Family::Kyl6c3;
        case 5:
        case 6:
        case 8: return Family::Lux6;
        case 7: return Family::Nov7;
        default: return Family::Ky6a;
    }
}

Chain make_chain(const State &s) {
    const FamilyModel &m = kFamilies[static_cast<int>(family_of(s.robot_type))];
    Chain c;
    c.n = m.n;
    c.standard = m.standard;
    for (int i = 0; i < kMaxJoints; ++i) {
        c.d[i] = s.dh.d[i];
        c.a[i] = s.dh.a[i];
        c.offset[i] = s.dh.offset[i];
        const int t = i < m.n ? m.twist[i] : 0;
        c.ca[i] = t == 0 ? 1.0f : 0.0f;
        c.sa[i] = static_cast<float>(t);
    }
    return c;
}

ky_matrix chain_flange(const Chain &c, const float q[]) {
    float theta[kMaxJoints] = {};
    for (int i = 0; i < c.n; ++i) theta[i] = q[i] + c.offset[i];
    const Frame<float> f = chain_fk<float>(c, theta);
    ky_matrix m{};
    m.rows = m.cols = 4;
    for (int k = 0; k < 3; ++k) {
        for (int j = 0; j < 3; ++j) m.data[k][j] = f.r[k][j];
        m.data[k][3] = f.p[k];
    }
    m.data[3][3] = 1.0f;
    return m;
}

namespace {

// The flange transform of one family, with its twists known at compile time: the loop
// unrolls and every quarter-turn twist becomes a column swap.
template <int F>
ky_matrix fk_family(const DhTable &dh, const float q[]) {
    constexpr FamilyModel m = kFamilies[F];
    float sn[kMaxJoints], cs[kMaxJoints];
    for (int i = 0; i < kMaxJoints; ++i) sincos_f(i < m.n ? q[i] + dh.offset[i] : 0.0f, sn[i], cs[i]);
    float r[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, p[3] = {0, 0, 0};
    auto twist = [&](int t) {
        if (t == 0) return;
        for (int k = 0; k < 3; ++k) {
            const float y = r[k][1], z = r[k][2];
            r[k][1] = t * z;
            r[k][2] = -t * y;
        }
    };
    auto along = [&](int col, float len) {
        for (int k = 0; k < 3; ++k) p[k] += len * r[k][col];
    };
#pragma GCC unroll 8
    for (int i = 0; i < m.n; ++i) {
        if (!m.standard) {
            twist(m.twist[i]);
            along(0, dh.a[i]);
        }
        for (int k = 0; k < 3; ++k) {
            const float x = r[k][0], y = r[k][1];
            r[k][0] = cs[i] * x + sn[i] * y;
            r[k][1] = -sn[i] * x + cs[i] * y;
        }
        along(2, dh.d[i]);
        if (m.standard) {
            along(0, dh.a[i]);
            twist(m.twist[i]);
        }
    }
    ky_matrix out;
    out.rows = out.cols = 4;
    for (int k = 0; k < 3; ++k) {
        out.data[k][0] = r[k][0];
        out.data[k][1] = r[k][1];
        out.data[k][2] = r[k][2];
        out.data[k][3] = p[k];
    }
    out.data[3][0] = out.data[3][1] = out.data[3][2] = 0.0f;
    out.data[3][3] = 1.0f;
    return out;
}

}  // namespace

ky_matrix fk_flange(const State &s, const float q[]) {
    switch (family_of(s.robot_type)) {
        case Family::Ky7a: return fk_family<1>(s.dh, q);
        case Family::Kyl6c2: return fk_family<2>(s.dh, q);
        case Family::Kyl6c3: return fk_family<3>(s.dh, q);
        case Family::Lux6: return fk_family<4>(s.dh, q);
        case Family::Nov7: return fk_family<5>(s.dh, q);
        default: return fk_family<0>(s.dh, q);
    }
}

ky_matrix fk_rotation(const State &s, const float q[]) { return matrix_T2R(fk_flange(s, q)); }

ky_position fk_position(const State &s, const float q[]) {
    const ky_matrix m = fk_flange(s, q);
    return {m.data[0][3], m.data[1][3], m.data[2][3]};
}

ky_pose fk_world(const State &s, const float q[], ky_matrix *transform) {
    const ky_matrix t = mat_mul(s.install_rotation, mat_mul(fk_flange(s, q), s.tool_matrix));
    if (transform) *transform = t;
    return transformation_matrix_to_pose(t);
}

ky_pose fk_work(const State &s, const float q[]) {
    ky_matrix t;
    fk_world(s, q, &t);
    return transformation_matrix_to_pose(mat_mul(s.work_to_base, t));
}

}  // namespace ky::algo
