// Closed-form inverse kinematics of the 6-joint families.
//
// All four families have a vertical first joint and parallel second and third joints.
// KY6A and KYL6C end in a spherical wrist (the last three axes meet in one point); LUX6 has
// three parallel axes (2, 3, 4) and an offset wrist. Each solution is one of eight branches:
// shoulder (two first-joint angles), elbow (two third-joint angles) and wrist (two signs
// of the fifth joint), enumerated in that nesting order with the positive root first.
#include <cmath>

#include "algo/ik_internal.h"

namespace ky::algo {

namespace {

constexpr float kAcosSlack = 1.0002f;  // cos arguments up to this are rounding, not misses
constexpr float kTiny = 5e-5f;         // both atan2 arguments below this: angle undefined
constexpr int kBranches = 8;

// acos with rounding slack; false when the argument is out of reach.
bool acos_slack(float c, float &angle) {
    if (c > 1.0f) {
        if (c > kAcosSlack) return false;
        c = 1.0f;
    } else if (c < -1.0f) {
        if (c < -kAcosSlack) return false;
        c = -1.0f;
    }
    angle = std::acos(c);
    return true;
}

// atan2 that keeps `ref` when both arguments vanish.
float atan2_or(float y, float x, float ref) {
    if (std::fabs(y) < kTiny && std::fabs(x) < kTiny) return ref;
    return std::atan2(y, x);
}

// Rotation Rx(alpha) Tx(a) Rz(theta) Tz(d) of one modified-convention link.
Aff link(const Chain &c, int i, float theta) {
    const float ct = std::cos(theta), st = std::sin(theta);
    const float ca = c.ca[i], sa = c.sa[i];
    Aff t;
    t.r[0][0] = ct;
    t.r[0][1] = -st;
    t.r[0][2] = 0;
    t.r[1][0] = ca * st;
    t.r[1][1] = ca * ct;
    t.r[1][2] = -sa;
    t.r[2][0] = sa * st;
    t.r[2][1] = sa * ct;
    t.r[2][2] = ca;
    t.p[0] = c.a[i];
    t.p[1] = -sa * c.d[i];
    t.p[2] = ca * c.d[i];
    return t;
}

struct Candidate {
    bool valid = false;
    float theta[6] = {};
};

// Wrist angles of a spherical wrist from M = Rz(t4) Rx(a5) Rz(t5) Rx(a6) Rz(t6).
void spherical_wrist(const Chain &c, const float M[3][3], bool positive, const float ref[],
                     float th[]) {
    const float sa = c.sa[4], sb = c.sa[5];
    float c5 = -M[2][2] * sa * sb;
    c5 = c5 > 1.0f ? 1.0f : (c5 < -1.0f ? -1.0f : c5);
    float s5 = std::sqrt(1.0f - c5 * c5);
    if (!positive) s5 = -s5;
    th[4] = std::atan2(s5, c5);
    const float sg4 = (sb * s5) >= 0 ? 1.0f : -1.0f;
    const float sg6 = (sa * s5) >= 0 ? 1.0f : -1.0f;
    const bool singular = std::fabs(M[0][2]) < kTiny && std::fabs(M[1][2]) < kTiny;
    if (!singular) {
        th[3] = std::atan2(sg4 * M[1][2], sg4 * M[0][2]);
        th[5] = std::atan2(-sg6 * M[2][1], sg6 * M[2][0]);
        return;
    }
    // Axes 4 and 6 aligned: joint 4 keeps its reference, joint 6 takes the rest.
    th[3] = ref[3];
    Aff w{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}};
    Chain wc = c;
    wc.d[3] = wc.d[4] = 0;
    wc.a[3] = wc.a[4] = 0;
    wc.ca[3] = 1;
    wc.sa[3] = 0;  // the twist of link 4 is already removed from M
    w = aff_mul(link(wc, 3, th[3]), link(wc, 4, th[4]));
    Chain last = wc;
    last.d[5] = 0;
    last.a[5] = 0;
    const Aff rx6 = link(last, 5, 0.0f);
    w = aff_mul(w, rx6);
    // N = W^T M = Rz(t6)
    const float n00 = w.r[0][0] * M[0][0] + w.r[1][0] * M[1][0] + w.r[2][0] * M[2][0];
    const float n10 = w.r[0][1] * M[0][0] + w.r[1][1] * M[1][0] + w.r[2][1] * M[2][0];
    th[5] = std::atan2(n10, n00);
}

// First-joint angles: the wrist point P (relative to the shoulder height) keeps the fixed
// lateral offset y0 in the frame of joint 1.
bool shoulder(float px, float py, float y0, bool positive, float ref, float &t1) {
    if (std::fabs(px) < kTiny && std::fabs(py) < kTiny && std::fabs(y0) < kTiny) {
        t1 = ref;  // wrist point on the first axis
        return true;
    }
    float disc = px * px + py * py - y0 * y0;
    if (disc < 0) {
        if (disc < -(kAcosSlack - 1.0f) * y0 * y0) return false;
        disc = 0;
    }
    const float r = positive ? std::sqrt(disc) : -std::sqrt(disc);
    t1 = std::atan2(py, px) - std::atan2(y0, r);
    return true;
}

void solve_spherical(const Chain &c, const Aff &F, const float ref[], Candidate cand[]) {
    const float z6[3] = {F.r[0][2], F.r[1][2], F.r[2][2]};
    const float px = F.p[0] - c.d[5] * z6[0];
    const float py = F.p[1] - c.d[5] * z6[1];
    const float pz = F.p[2] - c.d[5] * z6[2] - c.d[0];
    const float sa2 = c.sa[1], sa4 = c.sa[3], ca4 = c.ca[3];
    const float y0 = -sa2 * (c.d[1] + c.d[2] + ca4 * c.d[3]);
    const float vx = c.a[3], vy = -sa4 * c.d[3];
    const float L = std::sqrt(vx * vx + vy * vy), beta = std::atan2(vy, vx);
    const float a3 = c.a[2];
    for (int sh = 0; sh < 2; ++sh) {
        float t1;
        if (!shoulder(px, py, y0, sh == 0, ref[0], t1)) continue;
        const float c1 = std::cos(t1), s1 = std::sin(t1);
        const float ux = c1 * px + s1 * py - c.a[1];
        const float uy = sa2 * pz;
        float gamma;
        if (!acos_slack((ux * ux + uy * uy - a3 * a3 - L * L) / (2 * a3 * L), gamma)) continue;
        for (int el = 0; el < 2; ++el) {
            const float g = el == 0 ? gamma : -gamma;
            const float t3 = g - beta;
            const float t2 = atan2_or(uy, ux, ref[1] + std::atan2(L * std::sin(g), a3 + L * std::cos(g))) -
                             std::atan2(L * std::sin(g), a3 + L * std::cos(g));
            // Rotation of frame 3, then the wrist rotation seen from link 4's twisted frame.
            const Aff t03 = aff_mul(aff_mul(link(c, 0, t1), link(c, 1, t2)), link(c, 2, t3));
            float M[3][3];
            // M = Rx(alpha4)^T R03^T R
            float A[3][3];
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j)
                    A[i][j] = t03.r[0][i] * F.r[0][j] + t03.r[1][i] * F.r[1][j] +
                              t03.r[2][i] * F.r[2][j];
            for (int j = 0; j < 3; ++j) {
                M[0][j] = A[0][j];
                M[1][j] = ca4 * A[1][j] + sa4 * A[2][j];
                M[2][j] = -sa4 * A[1][j] + ca4 * A[2][j];
            }
            for (int wr = 0; wr < 2; ++wr) {
                Candidate &k = cand[sh * 4 + el * 2 + wr];
                k.theta[0] = t1;
                k.theta[1] = t2;
                k.theta[2] = t3;
                spherical_wrist(c, M, wr == 0, ref, k.theta);
                k.valid = true;
            }
        }
    }
}

void solve_parallel(const Chain &c, const Aff &F, const float ref[], Candidate cand[]) {
    const float z6[3] = {F.r[0][2], F.r[1][2], F.r[2][2]};
    const float px = F.p[0] - c.d[5] * z6[0];
    const float py = F.p[1] - c.d[5] * z6[1];
    const float pz = F.p[2] - c.d[5] * z6[2] - c.d[0];
    (void)pz;
    const float sa2 = c.sa[1], sa5 = c.sa[4], sa6 = c.sa[5];
    const float y0 = -sa2 * (c.d[1] + c.d[2] + c.d[3]);
    const float a3 = c.a[2], a4 = c.a[3];
    for (int sh = 0; sh < 2; ++sh) {
        float t1;
        if (!shoulder(px, py, y0, sh == 0, ref[0], t1)) continue;
        const float c1 = std::cos(t1), s1 = std::sin(t1);
        // Direction of the parallel axes in the base, and in the flange frame.
        const float n[3] = {sa2 * s1, -sa2 * c1, 0.0f};
        const float nz6 = n[0] * z6[0] + n[1] * z6[1];
        float t5abs;
        if (!acos_slack(-nz6 * sa5 * sa6, t5abs)) continue;
        const float n6x = n[0] * F.r[0][0] + n[1] * F.r[1][0];
        const float n6y = n[0] * F.r[0][1] + n[1] * F.r[1][1];
        for (int wr = 0; wr < 2; ++wr) {
            const float t5 = wr == 0 ? t5abs : -t5abs;
            const float sg = (sa5 * std::sin(t5)) >= 0 ? 1.0f : -1.0f;
            const float t6 = atan2_or(-sg * n6y, sg * n6x, ref[5]);
            // Frame 4 from the flange: T14 = T01^-1 F T56^-1 T45^-1, then the planar part.
            const Aff t01 = link(c, 0, t1);
            const Aff t45 = link(c, 4, t5), t56 = link(c, 5, t6);
            const Aff t14 = aff_mul(aff_mul(aff_inv(t01), F), aff_inv(aff_mul(t45, t56)));
            // G = (Rx(alpha2) Tx(a2))^-1 T14 = Rz(t2) ... Rz(t4) Tz(d4)
            Chain pre = c;
            pre.d[1] = 0;
            const Aff g = aff_mul(aff_inv(link(pre, 1, 0.0f)), t14);
            const float x = g.p[0], y = g.p[1];
            float t3abs;
            if (!acos_slack((x * x + y * y - a3 * a3 - a4 * a4) / (2 * a3 * a4), t3abs)) continue;
            const float t234 = std::atan2(g.r[1][0], g.r[0][0]);
            for (int el = 0; el < 2; ++el) {
                const float t3 = el == 0 ? t3abs : -t3abs;
                const float k = std::atan2(a4 * std::sin(t3), a3 + a4 * std::cos(t3));
                const float t2 = atan2_or(y, x, ref[1] + k) - k;
                Candidate &cd = cand[sh * 4 + el * 2 + wr];
                cd.theta[0] = t1;
                cd.theta[1] = t2;
                cd.theta[2] = t3;
                cd.theta[3] = t234 - t2 - t3;
                cd.theta[4] = t5;
                cd.theta[5] = t6;
                cd.valid = true;
            }
        }
    }
}

}  // namespace

float find_nearest_joint(float ref, float &candidate, float margin, float lower, float upper) {
    constexpr float kShift[5] = {-12.566371f, -6.2831855f, 0.0f, 6.2831855f, 12.566371f};
    float best = 1e6f, chosen = candidate;
    bool found = false;
    for (float sh : kShift) {
        const float v = candidate + sh;
        if (v < lower - margin || v > upper + margin) continue;
        const float dist = std::fabs(v - ref);
        if (!found || dist < best) {
            best = dist;
            chosen = v;
            found = true;
        }
    }
    if (!found) return 1e6f;
    candidate = chosen;
    return best;
}

int find_min_index(const float values[], int count) {
    if (count <= 1) return 0;
    int best = 0;
    for (int i = 1; i < count; ++i)
        if (values[i] < values[best]) best = i;
    return best;
}

int inverse_kinematics_6dof(const State &s, const Aff &flange, const float ref_joint[],
                            float out[]) {
    const Chain c = make_chain(s);
    const Family fam = family_of(s.robot_type);
    float lim_max[kMaxJoints], lim_min[kMaxJoints];
    modelling_limits(s, lim_max, lim_min);

    // References in the DH angle space; joint 6 keeps its whole turns aside.
    float ref[6];
    for (int i = 0; i < 6; ++i) ref[i] = ref_joint[i] + c.offset[i];
    const float turns = std::trunc(ref[5] / kTwoPiF) * kTwoPiF;
    ref[5] -= turns;

    Candidate cand[kBranches];
    if (fam == Family::Lux6)
        solve_parallel(c, flange, ref, cand);
    else
        solve_spherical(c, flange, ref, cand);

    float best[6] = {};
    bool chosen = false;
    if (fam == Family::Lux6) {
        float dist[kBranches];
        for (int b = 0; b < kBranches; ++b) {
            dist[b] = 1e6f;
            if (!cand[b].valid) continue;
            float total = 0;
            for (int i = 0; i < 6; ++i)
                total += find_nearest_joint(ref[i], cand[b].theta[i], kLimitWidening, lim_min[i],
                                            lim_max[i]);
            if (std::isfinite(total)) dist[b] = total;
        }
        const int b = find_min_index(dist, kBranches);
        if (dist[b] < 1e6f) {
            for (int i = 0; i < 6; ++i) best[i] = cand[b].theta[i];
            // The chosen branch must reproduce the target (rounding near singular poses can
            // leave a branch that does not).
            const Frame<float> f = chain_fk<float>(c, best);
            float err = 0;
            for (int k = 0; k < 3; ++k) {
                err += std::fabs(f.p[k] - flange.p[k]);
                for (int j = 0; j < 3; ++j) err += std::fabs(f.r[k][j] - flange.r[k][j]);
            }
            chosen = err < 1e-2f;
        }
    } else {
        float best_score = 1000.0f;
        for (int b = 0; b < kBranches; ++b) {
            if (!cand[b].valid) continue;
            float th[6], score = 0;
            bool inside = true;
            for (int i = 0; i < 6; ++i) {
                th[i] = near_turn(cand[b].theta[i], ref[i]);
                if (!(th[i] >= lim_min[i] - kLimitWidening && th[i] <= lim_max[i] + kLimitWidening))
                    inside = false;
                const float dq = th[i] - ref[i];
                score += (i < 3 ? 2.4f : 1.0f) * dq * dq;
            }
            if (!inside || !(score < best_score)) continue;
            best_score = score;
            for (int i = 0; i < 6; ++i) best[i] = th[i];
        }
        chosen = std::fabs(best_score - 1000.0f) > 1e-6f;
        // Near the wrist singularity, split the combined wrist rotation so that joints 4
        // and 6 keep the references' difference instead of swinging apart.
        const bool avoidance = fam != Family::Kyl6c3 && s.avoid_singularity == 1;
        if (chosen && avoidance && std::fabs(best[4] - c.offset[4]) < 0.087f) {
            const float r4 = ref[3] - c.offset[3], r6 = ref[5] - c.offset[5];
            const float phi = near_turn((best[3] - c.offset[3]) + (best[5] - c.offset[5]), r4 + r6);
            best[3] = (phi + r4 - r6) * 0.5f + c.offset[3];
            best[5] = (phi - r4 + r6) * 0.5f + c.offset[5];
        }
    }
    if (!chosen) return -1;

    best[5] += turns;
    for (int i = 0; i < 6; ++i) out[i] = best[i] - c.offset[i];
    for (int i = 0; i < 6; ++i) {
        const float *cfg = s.joint_config[i];
        if (out[i] > cfg[kCfgMaxPos] || out[i] < cfg[kCfgMinPos]) return -2;
    }
    return 0;
}

}  // namespace ky::algo
