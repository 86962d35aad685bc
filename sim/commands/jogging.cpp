// Jogging and stepping: single steps of one joint or along / about one Cartesian axis, teach
// jogging, the teach frame, stop / slow stop / pause / continue, trajectory deletion and the
// query of the trajectory running now.
#include "sim/commands/common.h"

namespace ky::sim {

namespace {

bool joint_step(Ctx &c) {
    MoveRequest r;
    r.kind = MoveRequest::JointStep;
    int j = 0, v = 0;
    if (!c.getjoint("joint_step", j, v)) return false;
    r.axis = j;
    r.step = v / 1000.0;
    return move_common(c, r);
}

int axis_of(const std::string &s, const char *const names[3]) {
    for (int i = 0; i < 3; ++i) {
        if (s == names[i]) return i;
    }
    return -1;
}

bool cart_step(Ctx &c, bool orientation) {
    static const char *const pos[3] = {"x_step", "y_step", "z_step"};
    static const char *const ort[3] = {"rx_step", "ry_step", "rz_step"};
    MoveRequest r;
    r.kind = orientation ? MoveRequest::OrtStep : MoveRequest::PosStep;
    std::string type;
    int step = 0;
    if (!c.gets("step_type", type) || !c.geti("step", step)) return false;
    r.axis = axis_of(type, orientation ? ort : pos);
    if (r.axis < 0) return false;
    r.step = orientation ? step / 1e3 : step / 1e6;
    return move_common(c, r);
}
bool pos_step(Ctx &c) { return cart_step(c, false); }
bool ort_step(Ctx &c) { return cart_step(c, true); }

bool direction(Ctx &c, bool &positive) {
    std::string d;
    if (!c.gets("direction", d) || (d != "pos" && d != "neg")) return false;
    positive = d == "pos";
    return true;
}

bool joint_teach(Ctx &c) {
    int j = 0, v = 0;
    bool positive = true;
    if (!c.geti("teach_joint", j) || !c.geti("v", v) || !direction(c, positive)) return false;
    return c.arm.start_jog(Arm::JogJoint, j - 1, positive, v);
}

bool cart_teach(Ctx &c, bool orientation) {
    static const char *const pos[3] = {"x", "y", "z"};
    static const char *const ort[3] = {"rx", "ry", "rz"};
    int v = 0;
    bool positive = true;
    std::string type;
    if (!c.geti("v", v) || !direction(c, positive) || !c.gets("teach_type", type)) return false;
    const int axis = axis_of(type, orientation ? ort : pos);
    if (axis < 0) return false;
    return c.arm.start_jog(orientation ? Arm::JogOrt : Arm::JogPos, axis, positive, v);
}
bool pos_teach(Ctx &c) { return cart_teach(c, false); }
bool ort_teach(Ctx &c) { return cart_teach(c, true); }
bool stop_teach(Ctx &c) { return c.arm.stop_jog(); }

bool set_teach_frame(Ctx &c) {
    int t = 0;
    if (!c.geti("frame_type", t) || t < 0 || t > 1) return false;
    c.arm.teach_frame = t;
    return true;
}
bool get_teach_frame(Ctx &c) { return c.num("frame_type", c.arm.teach_frame), true; }

bool slow_stop(Ctx &c) { return c.arm.halt(true, c.out.broadcast), true; }
bool arm_stop(Ctx &c) { return c.arm.halt(false, c.out.broadcast), true; }
bool arm_pause(Ctx &c) { return c.arm.pause(), true; }
bool arm_continue(Ctx &c) { return c.arm.resume(), true; }
bool delete_current(Ctx &c) { return c.arm.delete_current(c.out.broadcast), true; }
bool delete_all(Ctx &c) { return c.arm.delete_queued(c.out.broadcast), true; }

bool current_trajectory(Ctx &c) {
    static const char *const names[] = {"none", "movej", "movel", "movec", "moves", "re_trajectory"};
    const int type = c.arm.trajectory_type();
    c.str("type", names[type]);
    int w[kMaxDof];
    if (type == 0 || type == 1 || type == 5) {
        joints_wire(c.arm.q_, c.arm.dof, w);
        c.arr("data", w, c.arm.dof);
    } else {
        double p[6];
        c.arm.tool_pose(p);
        pose_wire(p, w);
        c.arr("data", w, 6);
    }
    return true;
}

}  // namespace

std::span<const Command> jogging_commands() {
    static const Command rows[] = {
        {"set_joint_step", "set_joint_step", "receive_state", joint_step},
        {"set_pos_step", "set_pos_step", "receive_state", pos_step},
        {"set_ort_step", "set_ort_step", "receive_state", ort_step},
        {"set_joint_teach", "set_joint_teach", "joint_teach", joint_teach},
        {"set_pos_teach", "set_pos_teach", "pos_teach", pos_teach},
        {"set_ort_teach", "set_ort_teach", "ort_teach", ort_teach},
        {"set_stop_teach", "set_stop_teach", "stop_teach", stop_teach},
        {"set_teach_frame", "set_teach_frame", "set_state", set_teach_frame},
        {"get_teach_frame", "get_teach_frame", nullptr, get_teach_frame},
        {"set_arm_slow_stop", "set_arm_slow_stop", "arm_slow_stop", slow_stop},
        {"set_arm_stop", "set_arm_stop", "arm_stop", arm_stop},
        {"set_arm_pause", "set_arm_pause", "arm_pause", arm_pause},
        {"set_arm_continue", "set_arm_continue", "arm_continue", arm_continue},
        {"set_delete_current_trajectory", "set_delete_current_trajectory", "delete_current_trajectory", delete_current},
        {"set_arm_delete_trajectory", "set_arm_delete_trajectory", "arm_delete_trajectory", delete_all},
        {"get_arm_current_trajectory", "arm_current_trajectory", nullptr, current_trajectory},
    };
    return rows;
}

}  // namespace ky::sim
