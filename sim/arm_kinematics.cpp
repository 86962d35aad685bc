// Kinematics of the simulated arm through the library's own model tables and solvers, on a
// private algorithm state (never the process-wide one, which belongs to the host).
#include "sim/arm_kinematics.h"

#include <cmath>
#include <cstring>

#include "algo/kinematics.h"
#include "algo/state.h"

namespace ky::sim {

namespace {
constexpr double kDeg = M_PI / 180.0;
}

Eigen::Isometry3d pose_to_transform(const double p[6]) {
    Eigen::Isometry3d t = Eigen::Isometry3d::Identity();
    t.linear() = (Eigen::AngleAxisd(p[5], Eigen::Vector3d::UnitZ()) *
                  Eigen::AngleAxisd(p[4], Eigen::Vector3d::UnitY()) *
                  Eigen::AngleAxisd(p[3], Eigen::Vector3d::UnitX()))
                     .toRotationMatrix();
    t.translation() = Eigen::Vector3d(p[0], p[1], p[2]);
    return t;
}

void transform_to_pose(const Eigen::Isometry3d &t, double p[6]) {
    const Eigen::Matrix3d r = t.linear();
    p[0] = t.translation().x();
    p[1] = t.translation().y();
    p[2] = t.translation().z();
    p[3] = std::atan2(r(2, 1), r(2, 2));
    p[4] = std::atan2(-r(2, 0), std::hypot(r(2, 1), r(2, 2)));
    p[5] = std::atan2(r(1, 0), r(0, 0));
}

namespace {
Eigen::Matrix3d install_rotation(double a, double b, double c) {
    return (Eigen::AngleAxisd(c, Eigen::Vector3d::UnitZ()) * Eigen::AngleAxisd(b, Eigen::Vector3d::UnitY()) *
            Eigen::AngleAxisd(a, Eigen::Vector3d::UnitX()))
        .toRotationMatrix();
}
}  // namespace

struct ArmKinematics::Impl {
    algo::State state{};
    double install[3] = {0, 0, 0};
    double work[6] = {0, 0, 0, 0, 0, 0};
};

namespace {
Eigen::Isometry3d from_matrix(const ky_matrix &m) {
    Eigen::Isometry3d t = Eigen::Isometry3d::Identity();
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) t.linear()(r, c) = m.data[r][c];
        t.translation()(r) = m.data[r][3];
    }
    return t;
}
void to_rad(const double q_deg[], float out[], int n) {
    for (int i = 0; i < algo::kMaxJoints; ++i) out[i] = i < n ? static_cast<float>(q_deg[i] * kDeg) : 0.0f;
}
}  // namespace

ArmKinematics::ArmKinematics() : impl_(std::make_unique<Impl>()) {}
ArmKinematics::~ArmKinematics() = default;

bool ArmKinematics::select(int type, int sensor) {
    impl_->install[0] = impl_->install[1] = impl_->install[2] = 0;
    for (double &w : impl_->work) w = 0;
    return algo::select_model(impl_->state, static_cast<uint32_t>(type), static_cast<uint32_t>(sensor)) == 0;
}

int ArmKinematics::dof() const { return algo::joint_count(impl_->state); }

JointLimits ArmKinematics::default_limits() const {
    float mx[algo::kMaxJoints], mn[algo::kMaxJoints], mv[algo::kMaxJoints], ma[algo::kMaxJoints];
    algo::get_joint_limits(impl_->state, mx, mn, mv, ma);
    JointLimits l;
    for (int i = 0; i < kMaxDof; ++i) {
        l.max_pos[i] = std::round(mx[i] / kDeg * 1000.0) / 1000.0;
        l.min_pos[i] = std::round(mn[i] / kDeg * 1000.0) / 1000.0;
        l.max_vel[i] = std::round(mv[i] / kDeg * 1000.0) / 1000.0;
        l.max_acc[i] = std::round(ma[i] / kDeg * 1000.0) / 1000.0;
    }
    return l;
}

void ArmKinematics::set_install_angles(double a, double b, double c) {
    impl_->install[0] = a;
    impl_->install[1] = b;
    impl_->install[2] = c;
    algo::set_install_angles(impl_->state, static_cast<float>(a), static_cast<float>(b), static_cast<float>(c));
}

void ArmKinematics::set_tool(const double p[6]) {
    float f[6];
    for (int i = 0; i < 6; ++i) f[i] = static_cast<float>(p[i]);
    algo::set_tool_frame(impl_->state, f);
}

void ArmKinematics::set_work(const double p[6]) {
    float f[6];
    for (int i = 0; i < 6; ++i) {
        f[i] = static_cast<float>(p[i]);
        impl_->work[i] = p[i];
    }
    algo::set_work_frame(impl_->state, f);
}

void ArmKinematics::set_position_limits(const double max_deg[], const double min_deg[]) {
    float mx[algo::kMaxJoints] = {}, mn[algo::kMaxJoints] = {};
    for (int i = 0; i < kMaxDof; ++i) {
        mx[i] = static_cast<float>(max_deg[i] * kDeg);
        mn[i] = static_cast<float>(min_deg[i] * kDeg);
    }
    algo::set_joint_limits(impl_->state, mx, mn);
}

Eigen::Isometry3d ArmKinematics::tool_world(const double q_deg[]) const {
    float q[algo::kMaxJoints];
    to_rad(q_deg, q, dof());
    ky_matrix m{};
    algo::fk_world(impl_->state, q, &m);
    return from_matrix(m);
}

Eigen::Isometry3d ArmKinematics::flange_world(const double q_deg[]) const {
    float q[algo::kMaxJoints];
    to_rad(q_deg, q, dof());
    Eigen::Isometry3d inst = Eigen::Isometry3d::Identity();
    inst.linear() = install_rotation(impl_->install[0], impl_->install[1], impl_->install[2]);
    return inst * from_matrix(algo::fk_flange(impl_->state, q));
}

void ArmKinematics::tool_in_work(const double q_deg[], double pose[6]) const {
    float q[algo::kMaxJoints];
    to_rad(q_deg, q, dof());
    const ky_pose p = algo::fk_work(impl_->state, q);
    pose[0] = p.position.x;
    pose[1] = p.position.y;
    pose[2] = p.position.z;
    pose[3] = p.euler.rx;
    pose[4] = p.euler.ry;
    pose[5] = p.euler.rz;
}

Eigen::Isometry3d ArmKinematics::work_world() const { return pose_to_transform(impl_->work); }

int ArmKinematics::inverse(const double current_deg[], const Eigen::Isometry3d &target, double out_deg[]) {
    const int n = dof();
    float cur[algo::kMaxJoints], out[algo::kMaxJoints] = {};
    to_rad(current_deg, cur, n);
    double p[6];
    transform_to_pose(target, p);
    ky_pose pose{};
    pose.position = {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])};
    const Eigen::Quaterniond qt(target.linear());
    pose.quaternion = {static_cast<float>(qt.w()), static_cast<float>(qt.x()), static_cast<float>(qt.y()),
                       static_cast<float>(qt.z())};
    pose.euler = {static_cast<float>(p[3]), static_cast<float>(p[4]), static_cast<float>(p[5])};
    const int rc = algo::inverse_kinematics(impl_->state, cur, pose, true, out);
    if (rc == 0 || rc == -2) {
        for (int i = 0; i < n; ++i) out_deg[i] = out[i] / kDeg;
    }
    return rc;
}

}  // namespace ky::sim

