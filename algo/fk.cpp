// Forward kinematics: flange, world tool pose and work-frame pose.
#include <cstring>

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

ky_matrix fk_flange(const State &s, const float q[]) { return chain_flange(make_chain(s), q); }

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
