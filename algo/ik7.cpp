// Numerical inverse kinematics of the 7-joint families (KY7A, NOV7B).
//
// Damped least squares (Levenberg-Marquardt) on the geometric Jacobian, started from the
// reference joints so that the redundant arm stays near its current configuration (the
// minimum-norm steps do not wander along the redundancy). The iteration runs in double
// precision with Eigen for a clean convergence; the result is accepted only when the
// single-precision forward kinematics reproduce the target within 1e-5 m and 1e-4 rad.
// Steps are projected onto the joint limits, so a solution is always within them.
//
// Search strategy 1 tries the reference, then a few seeds within the solution range around
// it; strategy 0 (traversal) tries up to 64 seeds drawn within the solution range around
// the reference, clipped to the limits, and takes the first that converges. The joint
// velocity limits and the control period do not enter the solve: the caller's overspeed
// judgement covers them.
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "algo/ik_internal.h"

namespace ky::algo {

namespace {

using Vec6 = Eigen::Matrix<double, 6, 1>;
using Mat6 = Eigen::Matrix<double, 6, 6>;

constexpr int kMaxIter = 80;
constexpr int kNearRestarts = 4;
constexpr int kTraversalRestarts = 64;

struct Target {
    Eigen::Matrix3d r;
    Eigen::Vector3d p;
};

// Pose error (position, then rotation vector) from the current frame to the target.
Vec6 pose_error(const Frame<double> &f, const Target &t) {
    Eigen::Matrix3d r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) r(i, j) = f.r[i][j];
    Vec6 e;
    e.head<3>() = t.p - Eigen::Vector3d(f.p[0], f.p[1], f.p[2]);
    const Eigen::AngleAxisd aa(t.r * r.transpose());
    e.tail<3>() = aa.axis() * aa.angle();
    return e;
}

struct Solver {
    const Chain &c;
    const Target &t;
    double lo[kMaxJoints], hi[kMaxJoints];

    // Iterates from `q` (DH angles, in place); true when converged.
    bool run(double q[]) const {
        const int n = c.n;
        double axes[kMaxJoints][3], pts[kMaxJoints][3];
        Frame<double> f = chain_fk<double>(c, q, axes, pts);
        Vec6 e = pose_error(f, t);
        double err = e.squaredNorm();
        double lambda = 1e-3;
        for (int it = 0; it < kMaxIter; ++it) {
            if (e.head<3>().norm() < 1e-9 && e.tail<3>().norm() < 1e-9) return true;
            Eigen::Matrix<double, 6, kMaxJoints> J;
            J.setZero();
            for (int i = 0; i < n; ++i) {
                const Eigen::Vector3d z(axes[i][0], axes[i][1], axes[i][2]);
                const Eigen::Vector3d d(f.p[0] - pts[i][0], f.p[1] - pts[i][1], f.p[2] - pts[i][2]);
                J.col(i).head<3>() = z.cross(d);
                J.col(i).tail<3>() = z;
            }
            // Columns of absent joints stay zero, so their steps are zero.
            const auto &Jn = J;
            bool improved = false;
            for (int tries = 0; tries < 8 && !improved; ++tries) {
                Mat6 A = Jn * Jn.transpose();
                A.diagonal().array() += lambda;
                const Vec6 y = A.ldlt().solve(e);
                Eigen::Matrix<double, kMaxJoints, 1> dq = Jn.transpose() * y;
                const double m = dq.head(n).cwiseAbs().maxCoeff();
                if (m > 0.5) dq *= 0.5 / m;
                double qn[kMaxJoints];
                for (int i = 0; i < n; ++i) qn[i] = std::clamp(q[i] + dq(i), lo[i], hi[i]);
                double an[kMaxJoints][3], pn[kMaxJoints][3];
                const Frame<double> fn = chain_fk<double>(c, qn, an, pn);
                const Vec6 en = pose_error(fn, t);
                const double errn = en.squaredNorm();
                if (errn < err) {
                    improved = true;
                    for (int i = 0; i < n; ++i) q[i] = qn[i];
                    f = fn;
                    std::copy(&an[0][0], &an[0][0] + kMaxJoints * 3, &axes[0][0]);
                    std::copy(&pn[0][0], &pn[0][0] + kMaxJoints * 3, &pts[0][0]);
                    e = en;
                    err = errn;
                    lambda = std::max(lambda * 0.2, 1e-9);
                } else {
                    lambda *= 10.0;
                }
            }
            if (!improved) break;
        }
        return e.head<3>().norm() < 1e-7 && e.tail<3>().norm() < 1e-6;
    }
};

// Small deterministic generator, so a solve depends only on its inputs.
struct Rng {
    uint64_t s;
    double uniform() {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return static_cast<double>(s >> 11) * (1.0 / 9007199254740992.0);
    }
};

bool verify(const Chain &c, const Aff &flange, const float q[]) {
    const Frame<float> f = chain_fk<float>(c, q);
    float dp = 0, dr = 0;
    for (int k = 0; k < 3; ++k) {
        dp += (f.p[k] - flange.p[k]) * (f.p[k] - flange.p[k]);
        for (int j = 0; j < 3; ++j) dr += (f.r[k][j] - flange.r[k][j]) * (f.r[k][j] - flange.r[k][j]);
    }
    return std::sqrt(dp) < 1e-5f && std::sqrt(dr) < 1e-4f;
}

}  // namespace

int inverse_kinematics_7dof(const State &s, const Aff &flange, const float ref_joint[],
                            float out[]) {
    const Chain c = make_chain(s);
    const int n = c.n;
    float lim_max[kMaxJoints], lim_min[kMaxJoints];
    modelling_limits(s, lim_max, lim_min);
    Target t;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) t.r(i, j) = flange.r[i][j];
        t.p(i) = flange.p[i];
    }
    Solver solver{c, t, {}, {}};
    double ref[kMaxJoints];
    for (int i = 0; i < n; ++i) {
        solver.lo[i] = lim_min[i];
        solver.hi[i] = lim_max[i];
        ref[i] = std::clamp(static_cast<double>(ref_joint[i] + c.offset[i]), solver.lo[i], solver.hi[i]);
    }
    const bool traverse = s.search_strategy == 0;
    const double range = std::fabs(static_cast<double>(s.solution_range));
    const int restarts = traverse ? kTraversalRestarts : kNearRestarts;
    Rng rng{0x9E3779B97F4A7C15ull ^ static_cast<uint64_t>(std::fabs(flange.p[0]) * 1e6)};

    for (int attempt = 0; attempt <= restarts; ++attempt) {
        double q[kMaxJoints];
        for (int i = 0; i < n; ++i) {
            q[i] = ref[i];
            if (attempt > 0) q[i] += (2.0 * rng.uniform() - 1.0) * range;
            q[i] = std::clamp(q[i], solver.lo[i], solver.hi[i]);
        }
        if (!solver.run(q)) continue;
        float qf[kMaxJoints] = {};
        for (int i = 0; i < n; ++i) qf[i] = static_cast<float>(q[i]);
        if (!verify(c, flange, qf)) continue;
        for (int i = 0; i < n; ++i) out[i] = qf[i] - c.offset[i];
        // The iteration stays within the limits; only the rounding of the offsets taken
        // off can step past one, and that puts the joint back on the limit.
        return settle_on_limits(s, out, n) ? 0 : -2;
    }
    return -1;
}

}  // namespace ky::algo
