// Arm identity: software information, initial and installation pose, joint and tool firmware
// versions.
#include "sim/commands/common.h"

#include <algorithm>

namespace ky::sim {

namespace {

bool software_info(Ctx &c) {
    c.str("Product_version", c.arm.product);
    cJSON *alg = cJSON_AddObjectToObject(c.reply, "algorithm_info");
    cJSON_AddStringToObject(alg, "version", "1.4.7");
    cJSON *ctrl = cJSON_AddObjectToObject(c.reply, "ctrl_info");
    cJSON_AddStringToObject(ctrl, "build_time", "2026-11-02 09:30:00");
    cJSON_AddStringToObject(ctrl, "version", "1.6.5");
    cJSON *dyn = cJSON_AddObjectToObject(c.reply, "dynamic_info");
    cJSON_AddStringToObject(dyn, "model_version", "2");
    cJSON *plan = cJSON_AddObjectToObject(c.reply, "plan_info");
    cJSON_AddStringToObject(plan, "build_time", "2026-11-02 09:31:00");
    cJSON_AddStringToObject(plan, "version", "1.3.2");
    return true;
}

bool set_init_pose(Ctx &c) {
    int w[kMaxDof];
    if (!c.geta("init_pose", c.arm.dof, w)) return false;
    Joints q{};
    for (int i = 0; i < c.arm.dof; ++i) q[i] = w[i] / 1000.0;
    if (!c.arm.within_limits(q)) return false;
    c.arm.init_pose = q;
    return true;
}

bool get_init_pose(Ctx &c) {
    int w[kMaxDof];
    joints_wire(c.arm.init_pose, c.arm.dof, w);
    c.arr("init_pose", w, c.arm.dof);
    return true;
}

bool set_install_pose(Ctx &c) {
    int w[3];
    if (!c.geta("pose", 3, w) || c.arm.busy()) return false;
    for (int v : w) {
        if (v < -180 || v > 180) return false;
    }
    std::copy(w, w + 3, c.arm.install);
    c.arm.refresh_kinematics();
    return true;
}

bool get_install_pose(Ctx &c) {
    c.arr("pose", c.arm.install, 3);
    return true;
}

bool joint_software_version(Ctx &c) {
    int w[kMaxDof];
    for (int i = 0; i < c.arm.dof; ++i) w[i] = 0x2103 + i;
    c.arr("version", w, c.arm.dof);
    return true;
}

bool tool_software_version(Ctx &c) {
    c.num("version", 0x0108);
    return true;
}

}  // namespace

std::span<const Command> identity_commands() {
    static const Command rows[] = {
        {"get_arm_software_info", "arm_software_info", nullptr, software_info},
        {"set_init_pose", "set_init_pose", "init_pose", set_init_pose},
        {"get_init_pose", "arm_init_pose", nullptr, get_init_pose},
        {"set_install_pose", "set_install_pose", "set_state", set_install_pose},
        {"get_install_pose", "install_pose", nullptr, get_install_pose},
        {"get_joint_software_version", "joint_software_version", nullptr, joint_software_version},
        {"get_tool_software_version", "tool_software_version", nullptr, tool_software_version},
    };
    return rows;
}

}  // namespace ky::sim
