// kyarm/cpp/identity.hpp: the robot's identity, connection, initial and installation pose,
// firmware versions. Include <kyarm.hpp> rather than this file.
#pragma once

#include "core.hpp"

namespace ky {


template <class Self, class Policy>
class identity_ops : public ops_base<Self, Policy, family::identity, identity_ops<Self, Policy>> {
    KY_OPS_BASE(identity_ops, family::identity);

public:
    /** Degree of freedom (6 or 7) from the robot record (ky_get_arm_dof). */
    auto get_arm_dof() const {
        int dof = 0;
        int rc = ky_get_arm_dof(h(), &dof);
        return done("ky_get_arm_dof", rc, dof);
    }
    /** dof, model and force type (ky_get_robot_info). */
    auto get_robot_info() const {
        ky_robot_info info{};
        int rc = ky_get_robot_info(h(), &info);
        return done("ky_get_robot_info", rc, info);
    }
    /** KY_CONNECTION_NEVER, _CONNECTED or _CLOSED, or -1 for an unknown handle; never throws
     *  (ky_get_connection_state). */
    int get_connection_state() const noexcept { return ky_get_connection_state(h()); }
    /** Reconnects and synchronises again; blocks for the connect and the queries
     *  (ky_reconnect_robot_arm: -2 no connection, -3 a synchronisation query failed). */
    auto reconnect() const { return done("ky_reconnect_robot_arm", ky_reconnect_robot_arm(h())); }

    /** Controller software information (ky_get_arm_software_info); also refreshes the record's
     *  dof, model and force type. */
    auto get_arm_software_info() const {
        ky_arm_software_info info{};
        int rc = ky_get_arm_software_info(h(), &info);
        return done("ky_get_arm_software_info", rc, info);
    }
    /** Initial pose, dof angles in degrees (ky_set_init_pose). */
    auto set_init_pose(std::span<const float> joint) const {
        if (!covers_dof(joint)) return refuse("ky_set_init_pose");
        return done("ky_set_init_pose", ky_set_init_pose(h(), joint.data()));
    }
    auto get_init_pose() const {
        Joints j = joints();
        int rc = ky_get_init_pose(h(), j.data());
        return done("ky_get_init_pose", rc, j);
    }
    /** Installation angles as the controller takes them (ky_set_install_pose). */
    auto set_install_pose(float x, float y, float z) const {
        return done("ky_set_install_pose", ky_set_install_pose(h(), x, y, z));
    }
    auto get_install_pose() const {
        std::array<float, 3> v{};
        int rc = ky_get_install_pose(h(), &v[0], &v[1], &v[2]);
        return done("ky_get_install_pose", rc, v);
    }
    /** Each joint's firmware version; the first dof entries are filled. */
    auto get_joint_software_version() const {
        std::array<int, 7> v{};
        int rc = ky_get_joint_software_version(h(), v.data());
        return done("ky_get_joint_software_version", rc, v);
    }
    auto get_tool_software_version() const {
        int v = 0;
        int rc = ky_get_tool_software_version(h(), &v);
        return done("ky_get_tool_software_version", rc, v);
    }
};

}  // namespace ky
