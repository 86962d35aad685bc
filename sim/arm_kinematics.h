// The simulated arm's kinematics: one private algorithm-state instance per simulator, loaded
// with the model of the product version, its installation angles and its active frames.
// Degrees on the joint side, metres and radians on the Cartesian side.
#pragma once
#include <Eigen/Geometry>
#include <memory>

namespace ky::sim {

constexpr int kMaxDof = 7;

struct JointLimits {
    double max_pos[kMaxDof] = {};  // degrees
    double min_pos[kMaxDof] = {};
    double max_vel[kMaxDof] = {};  // degrees/s
    double max_acc[kMaxDof] = {};  // degrees/s^2
};

// x, y, z (m), rx, ry, rz (rad) <-> homogeneous transform, R = Rz(rz) * Ry(ry) * Rx(rx).
Eigen::Isometry3d pose_to_transform(const double p[6]);
void transform_to_pose(const Eigen::Isometry3d &t, double p[6]);

class ArmKinematics {
public:
    ArmKinematics();
    ~ArmKinematics();
    ArmKinematics(const ArmKinematics &) = delete;
    ArmKinematics &operator=(const ArmKinematics &) = delete;

    // Loads the defaults of robot type `type` with end sensor `sensor`; false when refused.
    bool select(int type, int sensor);
    int dof() const;
    JointLimits default_limits() const;  // right after select(): the model's defaults

    void set_install_angles(double a, double b, double c);  // radians
    void set_tool(const double p[6]);                       // tool on the flange
    void set_work(const double p[6]);                       // work frame in the base
    void set_position_limits(const double max_deg[], const double min_deg[]);

    // Tool transform in the world (installation and tool applied, work frame not).
    Eigen::Isometry3d tool_world(const double q_deg[]) const;
    // Flange transform in the world (installation applied, no tool).
    Eigen::Isometry3d flange_world(const double q_deg[]) const;
    // Tool pose in the work frame, x y z rx ry rz.
    void tool_in_work(const double q_deg[], double pose[6]) const;
    // Work frame transform in the world (the inverse of what fk_work applies).
    Eigen::Isometry3d work_world() const;

    // Joint solution nearest `current_deg` for a tool transform in the world:
    // 0 found, -1 unreachable, -2 outside a joint limit, -4 no solver.
    int inverse(const double current_deg[], const Eigen::Isometry3d &tool_world, double out_deg[]);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace ky::sim
