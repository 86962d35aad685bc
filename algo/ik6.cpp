// Closed-form inverse kinematics of the 6-joint families.
//
// All four families have a vertical first joint and parallel second and third joints.
// KY6A and KYL6C end in a spherical wrist (the last three axes meet in one point); LUX6 has
// three parallel axes (2, 3, 4) and an offset wrist. Each solution is one of eight branches:
// shoulder (two first-joint angles), elbow (two third-joint angles) and wrist (two signs
// of the fifth joint), enumerated in that nesting order with the positive root first.
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "algo/fast_trig.h"
#include "algo/ik_internal.h"
#include "algo/kinematics.h"

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
    return atan2_f(y, x);
}

// atan2_f(y, x) and atan2_f(y, -x) at once, each bit for bit as atan2_f gives it: the two
// share the reduced ratio and its polynomial, and differ only in the quadrant step.
inline void atan2_pair(float y, float x, float &pos, float &neg) {
    const float r = atan2_first_quadrant(y, x);
    const float left = 3.14159265f - r;
    const float rp = x < 0 ? left : r, rn = -x < 0 ? left : r;
    pos = y < 0 ? -rp : rp;
    neg = y < 0 ? -rn : rn;
}

// find_nearest_joint, inlined into the solver.
inline float nearest_joint(float ref, float &candidate, float margin, float lower, float upper) {
    // The turn nearest the reference, when it is inside the range and clearly nearest, is
    // what the search below finds; take it directly.
    const float direct = near_turn(candidate, ref);
    const float shift = direct - candidate;
    if (std::fabs(direct - ref) < kPiF - 1e-4f && shift > -12.6f && shift < 12.6f &&
        direct >= lower - margin && direct <= upper + margin) {
        candidate = direct;
        return std::fabs(direct - ref);
    }
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

// Rx(alpha) Tx(a) Rz(theta) Tz(d) of one modified-convention link.
Aff link(const Chain &c, int i, float theta) {
    float st, ct;
    sincos_f(theta, st, ct);
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

// Wrist angles of a spherical wrist from M = Rz(t4) Rx(a5) Rz(t5) Rx(a6) Rz(t6), for the
// branch with sin(t5) of sign `sign`. |sin t5| comes from the third column (accurate near
// the singularity, where 1 - cos^2 would lose it). Joint 6 is taken from what joint 4 and
// 5 leave of M, so the three stay consistent however poorly joint 4 is determined near
// the singularity (where it keeps its reference).
// Returns true at the singularity.
bool spherical_wrist(const Chain &c, const float M[3][3], float sign, const float ref[], float th[]) {
    const float sa = c.sa[4], sb = c.sa[5], ca = c.ca[4], cb = c.ca[5];
    const float c5 = -M[2][2] * sa * sb;
    const float s5 = sign * std::sqrt(M[0][2] * M[0][2] + M[1][2] * M[1][2]);
    th[4] = atan2_f(s5, c5);
    const bool singular = std::fabs(M[0][2]) < kTiny && std::fabs(M[1][2]) < kTiny;
    float s4, c4;
    if (singular) {
        th[3] = ref[3];
        sincos_f(th[3], s4, c4);
    } else {
        const float m = std::fabs(s5);
        s4 = sign * sb * M[1][2] / m;
        c4 = sign * sb * M[0][2] / m;
        th[3] = atan2_f(s4, c4);
    }
    const float h = std::sqrt(s5 * s5 + c5 * c5);
    const float sn5 = s5 / h, cs5 = c5 / h;
    // Columns 0 and 1 of W = Rz(t4) Rx(a5) Rz(t5) Rx(a6); Rz(t6) = W^T M.
    const float v[3] = {cs5, ca * sn5, sa * sn5};
    const float w[3] = {-sn5 * cb, ca * cs5 * cb - sa * sb, sa * cs5 * cb + ca * sb};
    const float w0[3] = {c4 * v[0] - s4 * v[1], s4 * v[0] + c4 * v[1], v[2]};
    const float w1[3] = {c4 * w[0] - s4 * w[1], s4 * w[0] + c4 * w[1], w[2]};
    const float n00 = w0[0] * M[0][0] + w0[1] * M[1][0] + w0[2] * M[2][0];
    const float n10 = w1[0] * M[0][0] + w1[1] * M[1][0] + w1[2] * M[2][0];
    th[5] = atan2_f(n10, n00);
    return singular;
}

// First-joint angle: the wrist point (px, py) keeps the fixed lateral offset y0 in the
// frame of joint 1.
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
    t1 = atan2_f(py, px) - atan2_f(y0, r);
    return true;
}

// Joint 1 of both shoulders (the positive root first), as shoulder() gives them one at a
// time: the two share the wrist point's bearing and the root, and their offset angles
// differ only in the quadrant of the root's sign.
void shoulders(float px, float py, float y0, float ref, float t1[2], bool ok[2]) {
    if (std::fabs(px) < kTiny && std::fabs(py) < kTiny && std::fabs(y0) < kTiny) {
        t1[0] = t1[1] = ref;  // wrist point on the first axis
        ok[0] = ok[1] = true;
        return;
    }
    float disc = px * px + py * py - y0 * y0;
    if (disc < 0) {
        if (disc < -(kAcosSlack - 1.0f) * y0 * y0) {
            ok[0] = ok[1] = false;
            return;
        }
        disc = 0;
    }
    const float r = std::sqrt(disc);
    const float bearing = atan2_f(py, px);
    float off_pos, off_neg;
    atan2_pair(y0, r, off_pos, off_neg);
    t1[0] = bearing - off_pos;
    t1[1] = bearing - off_neg;
    ok[0] = ok[1] = true;
}

// Widened-limit filter and weighted distance of one candidate (DH angles brought within
// pi of the references); joints [from, to) only.
struct Scored {
    float th[kMaxJoints];
    float score;
    bool inside;
};

void score_joints(Scored &sc, const float ref[], const float lim_min[], const float lim_max[],
                  int from, int to) {
    for (int i = from; i < to; ++i) {
        const float v = near_turn(sc.th[i], ref[i]);
        sc.th[i] = v;
        sc.inside = sc.inside && v >= lim_min[i] - kLimitWidening && v <= lim_max[i] + kLimitWidening;
        const float dq = v - ref[i];
        sc.score += (i < 3 ? 2.4f : 1.0f) * dq * dq;
    }
}

// KY6A and KYL6C: the wrist centre fixes joints 1 to 3, the remaining rotation the wrist.
// Selection as the solver's rule states it: among the eight branches (index sh*4 + el*2 +
// wr) inside the widened limits, the lowest score below 1000, the lowest index on ties.
// The arm part (joints 1 to 3) is solved for all four shoulder/elbow pairs first; a pair
// whose arm score alone already exceeds the best full score cannot win, so its wrist is
// not computed. That changes the work, not the choice.
bool select_spherical(const Chain &c, const Aff &F, const float ref[], const float lim_min[],
                      const float lim_max[], float best[]) {
    const float z6[3] = {F.r[0][2], F.r[1][2], F.r[2][2]};
    const float px = F.p[0] - c.d[5] * z6[0];
    const float py = F.p[1] - c.d[5] * z6[1];
    const float pz = F.p[2] - c.d[5] * z6[2] - c.d[0];
    const float ca2 = c.ca[1], sa2 = c.sa[1], sa4 = c.sa[3], ca4 = c.ca[3];
    const float y0 = -sa2 * (c.d[1] + c.d[2] + ca4 * c.d[3]);
    // Frame 4's origin seen from frame 3: (vx, vy) in the plane of the parallel joints.
    const float vx = c.a[3], vy = -sa4 * c.d[3];
    const float L = std::sqrt(vx * vx + vy * vy), beta = atan2_f(vy, vx);
    const float a3 = c.a[2];

    struct Arm {
        bool ok = false;
        float s1, c1, t23;
        Scored sc;
    } arms[4];
    for (int sh = 0; sh < 2; ++sh) {
        float t1;
        if (!shoulder(px, py, y0, sh == 0, ref[0], t1)) continue;
        float s1, c1;
        sincos_f(t1, s1, c1);
        const float ux = c1 * px + s1 * py - c.a[1];
        const float uy = sa2 * pz;
        float gamma;
        if (!acos_slack((ux * ux + uy * uy - a3 * a3 - L * L) / (2 * a3 * L), gamma)) continue;
        for (int el = 0; el < 2; ++el) {
            const float g = el == 0 ? gamma : -gamma;
            float sg, cg;
            sincos_f(g, sg, cg);
            const float k = atan2_f(L * sg, a3 + L * cg);
            Arm &arm = arms[sh * 2 + el];
            arm.ok = true;
            arm.s1 = s1;
            arm.c1 = c1;
            arm.sc.th[0] = t1;
            arm.sc.th[1] = atan2_or(uy, ux, ref[1] + k) - k;
            arm.sc.th[2] = g - beta;
            arm.t23 = arm.sc.th[1] + arm.sc.th[2];
            arm.sc.score = 0;
            arm.sc.inside = true;
            score_joints(arm.sc, ref, lim_min, lim_max, 0, 3);
        }
    }
    // Most promising arm first, so that the others are usually pruned.
    int order[4] = {0, 1, 2, 3};
    for (int i = 1; i < 4; ++i)
        for (int j = i; j > 0 && arms[order[j]].sc.score < arms[order[j - 1]].sc.score; --j)
            std::swap(order[j], order[j - 1]);

    float best_score = 1000.0f;
    int best_index = kBranches;
    for (int o = 0; o < 4; ++o) {
        const Arm &arm = arms[order[o]];
        if (!arm.ok || !arm.sc.inside || arm.sc.score > best_score) continue;
        const float s1 = arm.s1, c1 = arm.c1;
        // B = Rz(t1) Rx(alpha2); R03 = B Rz(t2 + t3) since link 3 has no twist.
        const float B[3][3] = {{c1, -s1 * ca2, s1 * sa2}, {s1, c1 * ca2, -c1 * sa2}, {0, sa2, ca2}};
        float s23, c23;
        sincos_f(arm.t23, s23, c23);
        float R03[3][3];
        for (int i = 0; i < 3; ++i) {
            R03[i][0] = c23 * B[i][0] + s23 * B[i][1];
            R03[i][1] = -s23 * B[i][0] + c23 * B[i][1];
            R03[i][2] = B[i][2];
        }
        // M = Rx(alpha4)^T R03^T R: the wrist rotation after link 4's twist.
        float A[3][3], M[3][3];
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                A[i][j] = R03[0][i] * F.r[0][j] + R03[1][i] * F.r[1][j] + R03[2][i] * F.r[2][j];
        for (int j = 0; j < 3; ++j) {
            M[0][j] = A[0][j];
            M[1][j] = ca4 * A[1][j] + sa4 * A[2][j];
            M[2][j] = -sa4 * A[1][j] + ca4 * A[2][j];
        }
        Scored pos = arm.sc, neg = arm.sc;
        const bool singular = spherical_wrist(c, M, 1.0f, ref, pos.th);
        if (singular) {
            spherical_wrist(c, M, -1.0f, ref, neg.th);
        } else {
            // The other wrist: (t4 + pi, -t5, t6 + pi) gives the same rotation.
            neg.th[3] = pos.th[3] + kPiF;
            neg.th[4] = -pos.th[4];
            neg.th[5] = pos.th[5] + kPiF;
        }
        for (int wr = 0; wr < 2; ++wr) {
            Scored &sc = wr == 0 ? pos : neg;
            score_joints(sc, ref, lim_min, lim_max, 3, 6);
            const int index = order[o] * 2 + wr;
            if (!sc.inside) continue;
            if (sc.score < best_score || (sc.score == best_score && index < best_index && best_index < kBranches)) {
                best_score = sc.score;
                best_index = index;
                for (int i = 0; i < 6; ++i) best[i] = sc.th[i];
            }
        }
    }
    return best_index < kBranches;
}

// LUX6: joints 2, 3 and 4 parallel. Joint 1 from the point before the last link, joints 5
// and 6 from the direction of the parallel axes, then a planar two-link problem. Each joint
// of a branch is brought to its nearest turn within the widened limits; the branch with the
// smallest summed distance wins (the lowest index, sh*4 + el*2 + wr, on ties).
//
// A branch is skipped when a partial sum of its distances already exceeds the best total by
// more than the rounding of the sums (the 1e-6 slack): a shoulder/wrist pair by joints 1, 5
// and 6, an elbow by those and joint 3, and, when the order is free (below), a whole
// shoulder by joint 1 alone. The nearer pair and elbow go first, so that with a reference
// near the target the others are usually skipped.
//
// The winner is the minimum of (total, index) over the branches that are not skipped. When
// no skipped branch could have won, that is the minimum over all of them, and the order in
// which they are tried does not matter. It could only matter when joint 6 is undetermined
// (wrist straight) and its reference lies beyond the widened limits: the reference then
// stands for joint 6 at a distance of whole turns, and the fallback to the wrist direction
// (below) can come out nearer than that. In that case the pairs are tried strictly in the
// order of their partial sums (the lower index first on ties), all four of them computed
// before any is completed, and the skips are those that this order makes.
// (Flattened: the helpers inline, and the parts of a transform that are not read drop out.)
[[gnu::flatten]] bool select_parallel(const Chain &c, const Aff &F, const float ref[],
                                      const float lim_min[], const float lim_max[], float best[]) {
    const float z6[3] = {F.r[0][2], F.r[1][2], F.r[2][2]};
    const float px = F.p[0] - c.d[5] * z6[0];
    const float py = F.p[1] - c.d[5] * z6[1];
    const float sa2 = c.sa[1], sa5 = c.sa[4], sa6 = c.sa[5];
    const float y0 = -sa2 * (c.d[1] + c.d[2] + c.d[3]);
    const float a3 = c.a[2], a4 = c.a[3];
    // (Rx(alpha2) Tx(a2))^-1 = Tx(-a2) Rx(-alpha2)
    const Aff pre_inv{{{1, 0, 0}, {0, c.ca[1], c.sa[1]}, {0, -c.sa[1], c.ca[1]}}, {-c.a[1], 0, 0}};

    float best_total = 1e6f;
    int best_index = kBranches;
    // A partial sum above this cannot reach the best total.
    auto beyond_best = [&](float partial) { return partial > best_total * 1.000001f + 1e-6f; };

    // Joint 1 of both shoulders, and its distance (shared by the shoulder's branches).
    float t1[2], th0[2], dist0[2];
    bool sh_ok[2];
    shoulders(px, py, y0, ref[0], t1, sh_ok);
    for (int sh = 0; sh < 2; ++sh) {
        if (!sh_ok[sh]) continue;
        th0[sh] = t1[sh];
        dist0[sh] = nearest_joint(ref[0], th0[sh], kLimitWidening, lim_min[0], lim_max[0]);
    }

    struct Part {
        float th[kMaxJoints];
        float dist[6];
        float partial;
        float t6_raw;  // joint 6 from the wrist direction even when it is ill-determined
    } parts[4] = {};
    bool part_ok[4] = {false, false, false, false};
    // Joints 5 and 6 of both wrists of a shoulder.
    auto wrists = [&](int sh) {
        float s1, c1;
        sincos_f(t1[sh], s1, c1);
        // Direction of the parallel axes in the base, and its components in the flange frame.
        const float n0 = sa2 * s1, n1 = -sa2 * c1;
        const float c5 = -(n0 * z6[0] + n1 * z6[1]) * sa5 * sa6;
        const float n6x = n0 * F.r[0][0] + n1 * F.r[1][0];
        const float n6y = n0 * F.r[0][1] + n1 * F.r[1][1];
        const float m5 = std::sqrt(n6x * n6x + n6y * n6y);
        // The second wrist is the first mirrored: -t5, and t6 half a turn on (unless joint 6
        // is undetermined and keeps its reference in both).
        const float t5 = atan2_f(m5, c5);
        const float t6_raw = atan2_f(-sa5 * n6y, sa5 * n6x);
        const bool t6_kept = std::fabs(n6x) < kTiny && std::fabs(n6y) < kTiny;
        for (int wr = 0; wr < 2; ++wr) {
            Part &pt = parts[sh * 2 + wr];
            part_ok[sh * 2 + wr] = true;
            pt.th[0] = th0[sh];
            pt.dist[0] = dist0[sh];
            pt.th[4] = wr == 0 ? t5 : -t5;
            pt.t6_raw = wr == 0 ? t6_raw : t6_raw + kPiF;
            pt.th[5] = t6_kept ? ref[5] : pt.t6_raw;
            pt.partial = dist0[sh];
            for (int i : {4, 5}) {
                pt.dist[i] = nearest_joint(ref[i], pt.th[i], kLimitWidening, lim_min[i], lim_max[i]);
                pt.partial += pt.dist[i];
            }
        }
    };

    // (T01 Rx(alpha2) Tx(a2))^-1 F per shoulder, computed when a branch of it is completed.
    Aff shoulder_frame[2];
    bool have_frame[2] = {false, false};
    // Joints 2 to 4 of both elbows of one shoulder/wrist pair.
    auto complete = [&](int p) {
        Part &pt = parts[p];
        if (!part_ok[p] || pt.partial >= 1e6f || beyond_best(pt.partial)) return;
        const int sh = p / 2, wr = p % 2;
        if (!have_frame[sh]) {
            shoulder_frame[sh] = aff_mul(pre_inv, aff_mul(aff_inv(link(c, 0, t1[sh])), F));
            have_frame[sh] = true;
        }
        const Aff &A = shoulder_frame[sh];
        // G = Rz(t2) Tz(d2) Tx(a3) Rz(t3) Tz(d3) Tx(a4) Rz(t4) Tz(d4)
        Aff G = aff_mul(A, aff_inv(aff_mul(link(c, 4, pt.th[4]), link(c, 5, pt.th[5]))));
        float t3abs;
        if (!acos_slack((G.p[0] * G.p[0] + G.p[1] * G.p[1] - a3 * a3 - a4 * a4) / (2 * a3 * a4), t3abs)) {
            // With the wrist straight, joint 6 kept at its reference moves the elbow target by
            // up to d5 times the difference; with the elbow straight too that can leave the
            // arm's reach. Joint 6 from the (tiny) wrist direction then still fits.
            if (pt.th[5] == pt.t6_raw) return;
            pt.th[5] = pt.t6_raw;
            pt.dist[5] = nearest_joint(ref[5], pt.th[5], kLimitWidening, lim_min[5], lim_max[5]);
            G = aff_mul(A, aff_inv(aff_mul(link(c, 4, pt.th[4]), link(c, 5, pt.th[5]))));
            if (!acos_slack((G.p[0] * G.p[0] + G.p[1] * G.p[1] - a3 * a3 - a4 * a4) / (2 * a3 * a4), t3abs))
                return;
        }
        const float x = G.p[0], y = G.p[1];
        const float t234 = atan2_f(G.r[1][0], G.r[0][0]);
        // G was built with joints 5 and 6 as solved; their turn shifts do not change it.
        // Joints 1, 5 and 6 as they now stand (joint 6 may have changed above).
        const float known = (pt.dist[0] + pt.dist[4]) + pt.dist[5];
        float th2[2] = {t3abs, -t3abs}, dist2[2];
        for (int el = 0; el < 2; ++el)
            dist2[el] = nearest_joint(ref[2], th2[el], kLimitWidening, lim_min[2], lim_max[2]);
        const int first_el = dist2[1] < dist2[0] ? 1 : 0;
        for (int eo = 0; eo < 2; ++eo) {
            const int el = eo == 0 ? first_el : 1 - first_el;
            if (beyond_best(known + dist2[el])) continue;
            const float t3 = el == 0 ? t3abs : -t3abs;
            float s3, c3;
            sincos_f(t3, s3, c3);
            const float k = atan2_f(a4 * s3, a3 + a4 * c3);
            float th[kMaxJoints], dist[6];
            std::copy(pt.th, pt.th + kMaxJoints, th);
            std::copy(pt.dist, pt.dist + 6, dist);
            th[1] = atan2_or(y, x, ref[1] + k) - k;
            th[2] = th2[el];
            dist[2] = dist2[el];
            th[3] = t234 - th[1] - t3;
            for (int i : {1, 3})
                dist[i] = nearest_joint(ref[i], th[i], kLimitWidening, lim_min[i], lim_max[i]);
            float total = 0;
            for (int i = 0; i < 6; ++i) total += dist[i];
            const int index = sh * 4 + el * 2 + wr;
            if (!(total < 1e6f)) continue;
            if (total < best_total || (total == best_total && index < best_index)) {
                best_total = total;
                best_index = index;
                std::copy(th, th + 6, best);
            }
        }
    };

    // Joint 6 kept at its reference is at distance 0 exactly when the reference lies within
    // the widened limits; the fallback to the wrist direction can then only add distance.
    float kept = ref[5];
    const bool order_free =
        nearest_joint(ref[5], kept, kLimitWidening, lim_min[5], lim_max[5]) == 0.0f;
    if (order_free) {
        const int first_sh = (sh_ok[1] && (!sh_ok[0] || dist0[1] < dist0[0])) ? 1 : 0;
        for (int so = 0; so < 2; ++so) {
            const int sh = so == 0 ? first_sh : 1 - first_sh;
            if (!sh_ok[sh] || dist0[sh] >= 1e6f || beyond_best(dist0[sh])) continue;
            wrists(sh);
            const int first_wr = parts[sh * 2 + 1].partial < parts[sh * 2].partial ? 1 : 0;
            complete(sh * 2 + first_wr);
            complete(sh * 2 + 1 - first_wr);
        }
    } else {
        // Both shoulders fail or succeed together (the same discriminant).
        for (int sh = 0; sh < 2; ++sh)
            if (sh_ok[sh]) wrists(sh);
        int order[4] = {0, 1, 2, 3};
        for (int i = 1; i < 4; ++i)
            for (int j = i; j > 0 && parts[order[j]].partial < parts[order[j - 1]].partial; --j)
                std::swap(order[j], order[j - 1]);
        for (int o = 0; o < 4; ++o) complete(order[o]);
    }
    return best_index < kBranches;
}

}  // namespace

float find_nearest_joint(float ref, float &candidate, float margin, float lower, float upper) {
    return nearest_joint(ref, candidate, margin, lower, upper);
}

int find_min_index(const float values[], int count) {
    if (count <= 1) return 0;
    int best = 0;
    for (int i = 1; i < count; ++i)
        if (values[i] < values[best]) best = i;
    return best;
}

namespace {
// Refines a configuration that lies past a limit by more than rounding. Near a singular
// pose (elbow or wrist straight) the single-precision closed form spreads an error of up
// to about 1e-4 rad over the joints that the singularity couples, so a target reached
// with a joint exactly on its limit can come out a little past it. Here the joints past
// their limits are put on them and held, and a few Gauss-Newton steps in double precision
// move the other joints to the target (least squares on their Jacobian columns). The
// result replaces `q` only when it reaches the target within 2e-6 m and 2e-6 rad and
// keeps every joint within its limits: a target that needs a joint past its limit keeps
// a residual of the order of that excess and is refused (false).
bool refine_on_limits(const State &s, const Chain &c, const Aff &flange, float q[]) {
    constexpr double kTolerance = 2e-6;
    double th[kMaxJoints] = {}, lo[6], hi[6];
    bool held[6] = {};
    for (int i = 0; i < 6; ++i) {
        lo[i] = static_cast<double>(s.joint_config[i][kCfgMinPos]) + c.offset[i];
        hi[i] = static_cast<double>(s.joint_config[i][kCfgMaxPos]) + c.offset[i];
        th[i] = static_cast<double>(q[i]) + c.offset[i];
        if (th[i] < lo[i] || th[i] > hi[i]) {
            th[i] = std::clamp(th[i], lo[i], hi[i]);
            held[i] = true;
        }
    }
    Eigen::Matrix3d target_r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) target_r(i, j) = flange.r[i][j];
    const Eigen::Vector3d target_p(flange.p[0], flange.p[1], flange.p[2]);
    Eigen::Matrix<double, 6, 1> e;
    for (int it = 0; it < 5; ++it) {
        double axes[kMaxJoints][3], pts[kMaxJoints][3];
        const Frame<double> f = chain_fk<double>(c, th, axes, pts);
        Eigen::Matrix3d r;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) r(i, j) = f.r[i][j];
        e.head<3>() = target_p - Eigen::Vector3d(f.p[0], f.p[1], f.p[2]);
        const Eigen::AngleAxisd aa(target_r * r.transpose());
        e.tail<3>() = aa.axis() * aa.angle();
        if (e.head<3>().norm() < 1e-12 && e.tail<3>().norm() < 1e-12) break;
        Eigen::Matrix<double, 6, Eigen::Dynamic> J(6, 6);
        int free = 0, index[6];
        for (int i = 0; i < 6; ++i) {
            if (held[i]) continue;
            const Eigen::Vector3d z(axes[i][0], axes[i][1], axes[i][2]);
            const Eigen::Vector3d d(f.p[0] - pts[i][0], f.p[1] - pts[i][1], f.p[2] - pts[i][2]);
            J.col(free).head<3>() = z.cross(d);
            J.col(free).tail<3>() = z;
            index[free++] = i;
        }
        if (free == 0) break;
        // Minimum-norm step, directions that the singular pose leaves free cut off.
        Eigen::CompleteOrthogonalDecomposition<Eigen::MatrixXd> solver;
        solver.setThreshold(1e-6);
        solver.compute(J.leftCols(free));
        const Eigen::VectorXd step = solver.solve(e);
        for (int k = 0; k < free; ++k) th[index[k]] += step(k);
    }
    if (e.head<3>().norm() > kTolerance || e.tail<3>().norm() > kTolerance) return false;
    float refined[kMaxJoints] = {};
    for (int i = 0; i < 6; ++i) refined[i] = static_cast<float>(th[i] - c.offset[i]);
    if (!settle_on_limits(s, refined, 6)) return false;
    std::copy(refined, refined + 6, q);
    return true;
}
}  // namespace

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

    float best[kMaxJoints] = {};
    bool chosen = false;
    if (fam == Family::Lux6) {
        if (select_parallel(c, flange, ref, lim_min, lim_max, best)) {
            // The chosen branch must reproduce the target (rounding near singular poses can
            // leave a branch that does not).
            float q[kMaxJoints] = {};
            for (int i = 0; i < 6; ++i) q[i] = best[i] - c.offset[i];
            const ky_matrix f = fk_flange(s, q);
            float err = 0;
            for (int k = 0; k < 3; ++k) {
                err += std::fabs(f.data[k][3] - flange.p[k]);
                for (int j = 0; j < 3; ++j) err += std::fabs(f.data[k][j] - flange.r[k][j]);
            }
            chosen = err < 1e-2f;
        }
    } else {
        chosen = select_spherical(c, flange, ref, lim_min, lim_max, best);
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
    // One past a limit only by the solver's rounding is put on the limit; one further past
    // it is refined onto the limit if the target allows. A configuration past a limit
    // indeed is written as found and reported (-2).
    if (settle_on_limits(s, out, 6) || refine_on_limits(s, c, flange, out)) return 0;
    return -2;
}

}  // namespace ky::algo
