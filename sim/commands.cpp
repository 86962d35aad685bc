// The simulated controller's command table. Each entry names the request, the reply ("command"
// value of the answer) and the state key that carries the outcome of a setting; its handler reads
// the request, changes the arm and adds the reply's members. Integers on the wire: joint angles in
// thousandths of a degree, positions in micrometres, Euler angles in milliradians, joint speeds and
// accelerations as thousandths of (degrees/s / 6), payloads, currents, voltages and temperatures
// in thousandths.
#include "sim/commands.h"

#include <arpa/inet.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstring>

namespace ky::sim {

namespace {

constexpr int kMaxFrames = 10;
constexpr size_t kMaxNameLen = 10;
constexpr int kMaxBalls = 5;

int wire(double v, double scale) { return static_cast<int>(std::lround(v * scale)); }
int speed_wire(double deg_s) { return wire(deg_s / 6.0, 1000.0); }

struct Ctx {
    Arm &arm;
    const cJSON *req;
    cJSON *reply;
    DispatchResult &out;

    const cJSON *item(const char *key) const { return cJSON_GetObjectItemCaseSensitive(req, key); }
    bool geti(const char *key, int &v) const {
        const cJSON *i = item(key);
        if (!cJSON_IsNumber(i) || !std::isfinite(i->valuedouble) || std::fabs(i->valuedouble) > 2147483647.0)
            return false;
        v = static_cast<int>(i->valuedouble);
        return true;
    }
    bool geta(const cJSON *arr, int n, int *v) const {
        if (!cJSON_IsArray(arr) || cJSON_GetArraySize(arr) != n) return false;
        int k = 0;
        const cJSON *e = nullptr;
        cJSON_ArrayForEach(e, arr) {
            if (!cJSON_IsNumber(e) || !std::isfinite(e->valuedouble) || std::fabs(e->valuedouble) > 2147483647.0)
                return false;
            v[k++] = static_cast<int>(e->valuedouble);
        }
        return true;
    }
    bool geta(const char *key, int n, int *v) const { return geta(item(key), n, v); }
    bool gets(const char *key, std::string &s) const {
        const cJSON *i = item(key);
        if (!cJSON_IsString(i) || i->valuestring == nullptr) return false;
        s = i->valuestring;
        return true;
    }
    // A pose array [x, y, z (um), rx, ry, rz (mrad)] in metres and radians.
    bool getpose(const cJSON *arr, double p[6]) const {
        int w[6];
        if (!geta(arr, 6, w)) return false;
        for (int i = 0; i < 3; ++i) p[i] = w[i] / 1e6;
        for (int i = 3; i < 6; ++i) p[i] = w[i] / 1e3;
        return true;
    }
    // [joint (1-based), value] with the joint checked against the arm.
    bool getjoint(const char *key, int &joint, int &value) const {
        int w[2];
        if (!geta(key, 2, w) || w[0] < 1 || w[0] > arm.dof) return false;
        joint = w[0] - 1;
        value = w[1];
        return true;
    }

    void num(const char *key, double v) { cJSON_AddNumberToObject(reply, key, v); }
    void str(const char *key, const std::string &s) { cJSON_AddStringToObject(reply, key, s.c_str()); }
    void boolean(const char *key, bool b) { cJSON_AddBoolToObject(reply, key, b); }
    void arr(const char *key, const int *v, int n) { cJSON_AddItemToObject(reply, key, cJSON_CreateIntArray(v, n)); }
    void rename(const char *name) { cJSON_SetValuestring(cJSON_GetObjectItemCaseSensitive(reply, "command"), name); }
};

void pose_wire(const double p[6], int w[6]) {
    for (int i = 0; i < 3; ++i) w[i] = wire(p[i], 1e6);
    for (int i = 3; i < 6; ++i) w[i] = wire(p[i], 1e3);
}

void joints_wire(const Joints &q, int dof, int w[]) {
    for (int i = 0; i < dof; ++i) w[i] = wire(q[i], 1000.0);
}

bool valid_name(const std::string &n) { return !n.empty() && n.size() <= kMaxNameLen && n != "NULL"; }

using Fn = bool (*)(Ctx &);
struct Command {
    const char *name;
    const char *reply;
    const char *state;  // null for queries
    Fn fn;
};

// ------------------------------------------------------------------ identity and installation

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

// ------------------------------------------------------------------ joint configuration

enum Limit { MaxPos, MinPos, MaxVel, MaxAcc };

bool set_limit(Ctx &c, const char *key, JointLimits &l, Limit which, bool drive) {
    int j = 0, v = 0;
    if (!c.getjoint(key, j, v)) return false;
    switch (which) {
    case MaxPos:
        if (v / 1000.0 <= l.min_pos[j] || (!drive && v / 1000.0 > c.arm.drive.max_pos[j])) return false;
        l.max_pos[j] = v / 1000.0;
        break;
    case MinPos:
        if (v / 1000.0 >= l.max_pos[j] || (!drive && v / 1000.0 < c.arm.drive.min_pos[j])) return false;
        l.min_pos[j] = v / 1000.0;
        break;
    case MaxVel:
        if (v <= 0 || (!drive && v * 6.0 / 1000.0 > c.arm.drive.max_vel[j] + 1e-3)) return false;
        l.max_vel[j] = v * 6.0 / 1000.0;
        break;
    case MaxAcc:
        if (v <= 0) return false;
        if (drive) {
            c.arm.drive_acc_wire[j] = v;  // kept exactly as set and read back as such
        } else {
            l.max_acc[j] = v * 6.0 / 1000.0;
        }
        break;
    }
    if (!drive) c.arm.refresh_kinematics();
    return true;
}

bool set_max_pos(Ctx &c) { return set_limit(c, "joint_max_pos", c.arm.lim, MaxPos, false); }
bool set_min_pos(Ctx &c) { return set_limit(c, "joint_min_pos", c.arm.lim, MinPos, false); }
bool set_max_speed(Ctx &c) { return set_limit(c, "joint_max_speed", c.arm.lim, MaxVel, false); }
bool set_max_acc(Ctx &c) { return set_limit(c, "joint_max_acc", c.arm.lim, MaxAcc, false); }
bool set_drive_max_pos(Ctx &c) { return set_limit(c, "joint_max_pos", c.arm.drive, MaxPos, true); }
bool set_drive_min_pos(Ctx &c) { return set_limit(c, "joint_min_pos", c.arm.drive, MinPos, true); }
bool set_drive_max_speed(Ctx &c) { return set_limit(c, "joint_max_speed", c.arm.drive, MaxVel, true); }
bool set_drive_max_acc(Ctx &c) { return set_limit(c, "joint_max_acc", c.arm.drive, MaxAcc, true); }

void put_limits(Ctx &c, const char *key, const double *v, double scale, bool speed) {
    int w[kMaxDof];
    for (int i = 0; i < c.arm.dof; ++i) w[i] = speed ? speed_wire(v[i]) : wire(v[i], scale);
    c.arr(key, w, c.arm.dof);
}

bool get_max_pos(Ctx &c) { return put_limits(c, "max_pos", c.arm.lim.max_pos, 1000, false), true; }
bool get_min_pos(Ctx &c) { return put_limits(c, "min_pos", c.arm.lim.min_pos, 1000, false), true; }
bool get_max_speed(Ctx &c) { return put_limits(c, "joint_speed", c.arm.lim.max_vel, 0, true), true; }
bool get_max_acc(Ctx &c) { return put_limits(c, "joint_acc", c.arm.lim.max_acc, 0, true), true; }
bool get_drive_max_pos(Ctx &c) { return put_limits(c, "max_pos", c.arm.drive.max_pos, 1000, false), true; }
bool get_drive_min_pos(Ctx &c) { return put_limits(c, "min_pos", c.arm.drive.min_pos, 1000, false), true; }
bool get_drive_max_speed(Ctx &c) { return put_limits(c, "joint_speed", c.arm.drive.max_vel, 0, true), true; }
bool get_drive_max_acc(Ctx &c) {
    c.arr("joint_acc", c.arm.drive_acc_wire, c.arm.dof);
    return true;
}

bool auto_set_joint_limit(Ctx &c) {
    int mode = 0;
    if (!c.geti("limit_mode", mode) || mode < 0) return false;
    const JointLimits &def = c.arm.model_defaults;
    std::copy(def.max_pos, def.max_pos + kMaxDof, c.arm.lim.max_pos);
    std::copy(def.min_pos, def.min_pos + kMaxDof, c.arm.lim.min_pos);
    c.arm.refresh_kinematics();
    return true;
}

bool set_en_state(Ctx &c) {
    int j = 0, v = 0;
    if (!c.getjoint("joint_en_state", j, v) || c.arm.busy()) return false;
    c.arm.en_state[j] = v ? 1 : 0;
    return true;
}

bool set_zero_pos(Ctx &c) {
    int j = 0;
    if (!c.geti("joint_zero_pos", j) || j < 1 || j > c.arm.dof || c.arm.busy()) return false;
    // The joint's present position becomes its zero.
    c.arm.q_[j - 1] = 0;
    return true;
}

bool clear_err(Ctx &c) {
    int j = 0;
    if (!c.geti("joint_clear_err", j) || j < 1 || j > c.arm.dof) return false;
    c.arm.err_flag[j - 1] = 0;
    return true;
}

bool get_en_state(Ctx &c) {
    c.arr("en_state", c.arm.en_state, c.arm.dof);
    return true;
}

bool get_err_flag(Ctx &c) {
    int brake[kMaxDof];
    for (int i = 0; i < c.arm.dof; ++i) brake[i] = c.arm.en_state[i] ? 0 : 1;  // 1: brake holds the joint
    c.arr("err_flag", c.arm.err_flag, c.arm.dof);
    c.arr("brake_state", brake, c.arm.dof);
    return true;
}

// ------------------------------------------------------------------ Cartesian limits, collision

bool set_cart(Ctx &c, const char *key, double &field) {
    int v = 0;
    if (!c.geti(key, v) || v <= 0) return false;
    field = v / 1000.0;
    return true;
}
bool set_line_speed(Ctx &c) { return set_cart(c, "arm_line_speed", c.arm.line_speed); }
bool set_line_acc(Ctx &c) { return set_cart(c, "arm_line_acc", c.arm.line_acc); }
bool set_ang_speed(Ctx &c) { return set_cart(c, "arm_angular_speed", c.arm.angular_speed); }
bool set_ang_acc(Ctx &c) { return set_cart(c, "arm_angular_acc", c.arm.angular_acc); }
bool get_line_speed(Ctx &c) { return c.num("arm_line_speed", wire(c.arm.line_speed, 1000)), true; }
bool get_line_acc(Ctx &c) { return c.num("arm_line_acc", wire(c.arm.line_acc, 1000)), true; }
bool get_ang_speed(Ctx &c) { return c.num("arm_angular_speed", wire(c.arm.angular_speed, 1000)), true; }
bool get_ang_acc(Ctx &c) { return c.num("arm_angular_acc", wire(c.arm.angular_acc, 1000)), true; }
bool set_arm_init(Ctx &c) {
    c.arm.line_speed = 0.25;
    c.arm.line_acc = 1.6;
    c.arm.angular_speed = 0.6;
    c.arm.angular_acc = 4.0;
    return true;
}
bool set_collision(Ctx &c) {
    int v = 0;
    if (!c.geti("collision_stage", v) || v < 0 || v > 8) return false;
    c.arm.collision_stage = v;
    return true;
}
bool get_collision(Ctx &c) { return c.num("collision_stage", c.arm.collision_stage), true; }

// ------------------------------------------------------------------ motion

bool move_common(Ctx &c, MoveRequest &r) {
    if (!c.geti("v", r.v) || r.v <= 0 || r.v > 100) return false;
    int conn = 0;
    if (c.item("trajectory_connect") != nullptr && !c.geti("trajectory_connect", conn)) return false;
    if (conn < 0) return false;
    r.connect = conn;
    return c.arm.submit(r);
}

bool movej(Ctx &c) {
    MoveRequest r;
    r.kind = MoveRequest::MoveJ;
    int w[kMaxDof];
    if (!c.geta("joint", c.arm.dof, w)) return false;
    for (int i = 0; i < c.arm.dof; ++i) r.joints[i] = w[i] / 1000.0;
    return move_common(c, r);
}

bool move_pose(Ctx &c, MoveRequest::Kind kind) {
    MoveRequest r;
    r.kind = kind;
    if (!c.getpose(c.item("pose"), r.pose)) return false;
    return move_common(c, r);
}
bool movel(Ctx &c) { return move_pose(c, MoveRequest::MoveL); }
bool moves(Ctx &c) { return move_pose(c, MoveRequest::MoveS); }
bool movej_p(Ctx &c) { return move_pose(c, MoveRequest::MoveJP); }

bool movec(Ctx &c) {
    MoveRequest r;
    r.kind = MoveRequest::MoveC;
    const cJSON *pose = c.item("pose");
    if (!cJSON_IsObject(pose) || !c.getpose(cJSON_GetObjectItemCaseSensitive(pose, "pose_via"), r.via) ||
        !c.getpose(cJSON_GetObjectItemCaseSensitive(pose, "pose_to"), r.pose))
        return false;
    if (c.item("loop") != nullptr && !c.geti("loop", r.loop)) return false;
    return move_common(c, r);
}

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
    static const char *const names[] = {"none", "movej", "movel", "movec", "moves"};
    const int type = c.arm.trajectory_type();
    c.str("type", names[type]);
    int w[kMaxDof];
    if (type == 0 || type == 1) {
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

// ------------------------------------------------------------------ state queries

bool current_arm_state(Ctx &c) {
    cJSON *st = cJSON_AddObjectToObject(c.reply, "arm_state");
    int w[kMaxDof], p[6];
    joints_wire(c.arm.q_, c.arm.dof, w);
    double pose[6];
    c.arm.tool_pose(pose);
    pose_wire(pose, p);
    cJSON_AddItemToObject(st, "joint", cJSON_CreateIntArray(w, c.arm.dof));
    cJSON_AddItemToObject(st, "pose", cJSON_CreateIntArray(p, 6));
    cJSON_AddNumberToObject(st, "arm_err", 0);
    cJSON_AddNumberToObject(st, "sys_err", 0);
    return true;
}

bool joint_degree(Ctx &c) {
    int w[kMaxDof];
    joints_wire(c.arm.q_, c.arm.dof, w);
    c.arr("joint", w, c.arm.dof);
    return true;
}

void electrical(Ctx &c, cJSON *to, const char *key, int (Arm::*read)(int)) {
    int w[kMaxDof];
    for (int i = 0; i < c.arm.dof; ++i) w[i] = (c.arm.*read)(i);
    cJSON_AddItemToObject(to, key, cJSON_CreateIntArray(w, c.arm.dof));
}

bool arm_all_state(Ctx &c) {
    cJSON *st = cJSON_AddObjectToObject(c.reply, "all_state");
    electrical(c, st, "temperature", &Arm::temperature);
    electrical(c, st, "current", &Arm::current);
    electrical(c, st, "voltage", &Arm::voltage);
    cJSON_AddItemToObject(st, "err_flag", cJSON_CreateIntArray(c.arm.err_flag, c.arm.dof));
    cJSON_AddItemToObject(st, "en_flag", cJSON_CreateIntArray(c.arm.en_state, c.arm.dof));
    cJSON_AddNumberToObject(st, "sys_err", 0);
    return true;
}
bool joint_temperature(Ctx &c) { return electrical(c, c.reply, "joint_temperature", &Arm::temperature), true; }
bool joint_current(Ctx &c) { return electrical(c, c.reply, "joint_current", &Arm::current), true; }
bool joint_voltage(Ctx &c) { return electrical(c, c.reply, "joint_voltage", &Arm::voltage), true; }

// ------------------------------------------------------------------ realtime push configuration

bool set_realtime_push(Ctx &c) {
    PushConfig p = c.arm.push;
    const cJSON *en = c.item("enable");
    if (en != nullptr) {
        if (!cJSON_IsBool(en)) return false;
        p.enable = cJSON_IsTrue(en);
    }
    int v = 0;
    if (c.item("cycle") != nullptr) {
        if (!c.geti("cycle", v) || v < 1 || v > 1000) return false;
        p.cycle_ms = v;
    }
    if (c.item("port") != nullptr) {
        if (!c.geti("port", v) || v < 1 || v > 65535) return false;
        p.port = v;
    }
    if (c.item("ip") != nullptr) {
        in_addr a{};
        if (!c.gets("ip", p.ip) || inet_pton(AF_INET, p.ip.c_str(), &a) != 1) return false;
    }
    for (const char *key : {"force_cordinate", "force_coordinate"}) {
        if (c.item(key) != nullptr) {
            if (c.arm.sensor == 0 || !c.geti(key, v) || v < 0 || v > 2) return false;
            p.force_coordinate = v;
        }
    }
    const cJSON *custom = c.item("custom");
    if (custom != nullptr) {
        if (!cJSON_IsObject(custom)) return false;
        struct {
            const char *key;
            bool *field;
        } blocks[] = {{"joint_speed", &p.joint_speed},
                      {"lift_state", &p.lift_state},
                      {"expand_state", &p.expand_state},
                      {"arm_current_status", &p.arm_current_status}};
        for (auto &b : blocks) {
            const cJSON *i = cJSON_GetObjectItemCaseSensitive(custom, b.key);
            if (i == nullptr) continue;
            if (!cJSON_IsBool(i)) return false;
            *b.field = cJSON_IsTrue(i);
        }
    }
    c.arm.push = p;
    return true;
}

bool get_realtime_push(Ctx &c) {
    const PushConfig &p = c.arm.push;
    c.num("cycle", p.cycle_ms);
    c.boolean("enable", p.enable);
    c.num("port", p.port);
    c.str("ip", p.ip);
    cJSON *custom = cJSON_AddObjectToObject(c.reply, "custom");
    cJSON_AddBoolToObject(custom, "joint_speed", p.joint_speed);
    cJSON_AddBoolToObject(custom, "lift_state", p.lift_state);
    cJSON_AddBoolToObject(custom, "expand_state", p.expand_state);
    cJSON_AddBoolToObject(custom, "arm_current_status", p.arm_current_status);
    if (c.arm.sensor != 0) c.num("force_coordinate", p.force_coordinate);
    return true;
}

// ------------------------------------------------------------------ tool and work frames

bool read_tool(Ctx &c, ToolFrame &f) {
    int payload = 0, com[3];
    if (!c.geti("payload", payload) || payload < 0 || !c.geta("position", 3, com)) return false;
    f.payload = payload / 1000.0;
    for (int i = 0; i < 3; ++i) f.com[i] = com[i] / 1e6;
    return true;
}

void write_tool(Ctx &c, const std::string &name, const ToolFrame &f) {
    int p[6], com[3];
    pose_wire(f.pose, p);
    for (int i = 0; i < 3; ++i) com[i] = wire(f.com[i], 1e6);
    c.str("tool_name", name);
    c.arr("pose", p, 6);
    c.num("payload", wire(f.payload, 1000));
    c.arr("position", com, 3);
}

bool add_tool(Arm &arm, const std::string &name, const ToolFrame &f) {
    if (!valid_name(name) || arm.tools.count(name) || static_cast<int>(arm.tools.size()) >= kMaxFrames) return false;
    arm.tools[name] = f;
    arm.tool_order.push_back(name);
    return true;
}

bool add_work(Arm &arm, const std::string &name, const double pose[6]) {
    if (!valid_name(name) || arm.works.count(name) || static_cast<int>(arm.works.size()) >= kMaxFrames) return false;
    std::copy(pose, pose + 6, arm.works[name].begin());
    arm.work_order.push_back(name);
    return true;
}

bool manual_tool(Ctx &c) {
    std::string name;
    ToolFrame f;
    if (!c.gets("tool_name", name) || !read_tool(c, f) || !c.getpose(c.item("tool_pose"), f.pose)) return false;
    return add_tool(c.arm, name, f);
}

bool update_tool(Ctx &c) {
    std::string name;
    ToolFrame f;
    if (!c.gets("tool_name", name) || !read_tool(c, f) || !c.getpose(c.item("tool_pose"), f.pose)) return false;
    if (name == "Arm_Tip" || !c.arm.tools.count(name) || (name == c.arm.tool_name && c.arm.busy())) return false;
    c.arm.tools[name] = f;
    c.arm.refresh_kinematics();
    return true;
}

bool auto_tool_point(Ctx &c) {
    int n = 0;
    if (!c.geti("point_num", n) || n < 1 || n > 6 || c.arm.busy()) return false;
    c.arm.tool_points[n] = c.arm.flange_world();
    return true;
}

// The tool tip stays at one point P of the world while the flange takes the taught poses
// (R_i, p_i): R_i t + p_i = P for the tool offset t. Solved by least squares over all points.
bool generate_tool(Ctx &c) {
    std::string name;
    ToolFrame f;
    if (!c.gets("tool_name", name) || !read_tool(c, f) || c.arm.tool_points.size() < 3) return false;
    const int n = static_cast<int>(c.arm.tool_points.size());
    Eigen::MatrixXd a(3 * n, 6);
    Eigen::VectorXd b(3 * n);
    int k = 0;
    for (const auto &[num, t] : c.arm.tool_points) {
        a.block<3, 3>(3 * k, 0) = t.linear();
        a.block<3, 3>(3 * k, 3) = -Eigen::Matrix3d::Identity();
        b.segment<3>(3 * k) = -t.translation();
        ++k;
    }
    const Eigen::JacobiSVD<Eigen::MatrixXd> svd(a, Eigen::ComputeThinU | Eigen::ComputeThinV);
    const auto &sv = svd.singularValues();
    if (sv(sv.size() - 1) < 1e-3 * sv(0)) return false;  // orientations too alike
    const Eigen::VectorXd x = svd.solve(b);
    if ((a * x - b).norm() / std::sqrt(static_cast<double>(n)) > 0.002) return false;  // the tip moved
    f.pose[0] = x(0);
    f.pose[1] = x(1);
    f.pose[2] = x(2);
    f.pose[3] = f.pose[4] = f.pose[5] = 0;
    return add_tool(c.arm, name, f);
}

// Points 1 to 3 record the tool position (origin, a point on +X, a point in the XY plane on the
// +Y side); point 4 builds the frame from them under the given name.
bool auto_work(Ctx &c) {
    int n = 0;
    std::string name;
    if (!c.gets("frame_name", name) || !c.geti("point_num", n) || n < 1 || n > 4) return false;
    if (n <= 3) {
        if (c.arm.busy()) return false;
        c.arm.work_points[n] = c.arm.tool_world().translation();
        return true;
    }
    auto &p = c.arm.work_points;
    if (!p.count(1) || !p.count(2) || !p.count(3)) return false;
    const Eigen::Vector3d x = p[2] - p[1], v = p[3] - p[1];
    const Eigen::Vector3d z = x.cross(v);
    if (x.norm() < 1e-3 || z.norm() < 1e-6 * x.norm() * v.norm() || v.norm() < 1e-3) return false;
    Eigen::Isometry3d t = Eigen::Isometry3d::Identity();
    t.linear().col(0) = x.normalized();
    t.linear().col(2) = z.normalized();
    t.linear().col(1) = t.linear().col(2).cross(t.linear().col(0));
    t.translation() = p[1];
    double pose[6];
    transform_to_pose(t, pose);
    return add_work(c.arm, name, pose);
}

bool manual_work(Ctx &c) {
    std::string name;
    double pose[6];
    if (!c.gets("frame_name", name) || !c.getpose(c.item("frame_pose"), pose)) return false;
    return add_work(c.arm, name, pose);
}

bool update_work(Ctx &c) {
    std::string name;
    double pose[6];
    if (!c.gets("frame_name", name) || !c.getpose(c.item("frame_pose"), pose)) return false;
    if (name == "World" || !c.arm.works.count(name) || (name == c.arm.work_name && c.arm.busy())) return false;
    std::copy(pose, pose + 6, c.arm.works[name].begin());
    c.arm.refresh_kinematics();
    return true;
}

void names(Ctx &c, const char *key, const std::vector<std::string> &order) {
    cJSON *a = cJSON_AddArrayToObject(c.reply, key);
    for (const auto &n : order) cJSON_AddItemToArray(a, cJSON_CreateString(n.c_str()));
}
bool total_tool(Ctx &c) { return names(c, "tool_names", c.arm.tool_order), true; }
bool total_work(Ctx &c) { return names(c, "frame_names", c.arm.work_order), true; }

// An unknown frame is answered under the request's own name with "get_state" false.
bool given_tool(Ctx &c) {
    std::string name;
    if (!c.gets("tool_name", name) || !c.arm.tools.count(name)) {
        c.rename("get_tool_frame");
        c.boolean("get_state", false);
        return false;
    }
    write_tool(c, name, c.arm.tools[name]);
    return true;
}

void write_work(Ctx &c, const std::string &name) {
    int p[6];
    pose_wire(c.arm.works[name].data(), p);
    c.str("frame_name", name);
    c.arr("pose", p, 6);
}

bool given_work(Ctx &c) {
    std::string name;
    if (!c.gets("frame_name", name) || !c.arm.works.count(name)) {
        c.rename("get_work_frame");
        c.boolean("get_state", false);
        return false;
    }
    write_work(c, name);
    return true;
}

bool current_tool(Ctx &c) { return write_tool(c, c.arm.tool_name, c.arm.tools[c.arm.tool_name]), true; }
bool current_work(Ctx &c) { return write_work(c, c.arm.work_name), true; }

bool change_tool(Ctx &c) {
    std::string name;
    if (!c.gets("tool_name", name) || !c.arm.tools.count(name) || c.arm.busy()) return false;
    c.arm.tool_name = name;
    c.arm.refresh_kinematics();
    return true;
}

bool change_work(Ctx &c) {
    std::string name;
    if (!c.gets("frame_name", name) || !c.arm.works.count(name) || c.arm.busy()) return false;
    c.arm.work_name = name;
    c.arm.refresh_kinematics();
    return true;
}

bool delete_tool(Ctx &c) {
    std::string name;
    if (!c.gets("tool_name", name) || !c.arm.tools.count(name) || name == c.arm.tool_name || name == "Arm_Tip")
        return false;
    c.arm.tools.erase(name);
    c.arm.envelopes.erase(name);
    std::erase(c.arm.tool_order, name);
    return true;
}

bool delete_work(Ctx &c) {
    std::string name;
    if (!c.gets("frame_name", name) || !c.arm.works.count(name) || name == c.arm.work_name || name == "World")
        return false;
    c.arm.works.erase(name);
    std::erase(c.arm.work_order, name);
    return true;
}

bool set_envelope(Ctx &c) {
    std::string tool;
    const cJSON *list = c.item("list");
    if (!c.gets("tool_name", tool) || !c.arm.tools.count(tool) || !cJSON_IsArray(list) ||
        cJSON_GetArraySize(list) > kMaxBalls)
        return false;
    std::vector<EnvelopeBall> balls;
    const cJSON *e = nullptr;
    cJSON_ArrayForEach(e, list) {
        const cJSON *name = cJSON_GetObjectItemCaseSensitive(e, "name");
        EnvelopeBall b;
        if (!cJSON_IsString(name) || !valid_name(name->valuestring)) return false;
        b.name = name->valuestring;
        int *fields[] = {&b.radius, &b.x, &b.y, &b.z};
        const char *keys[] = {"radius", "x", "y", "z"};
        for (int i = 0; i < 4; ++i) {
            const cJSON *v = cJSON_GetObjectItemCaseSensitive(e, keys[i]);
            if (!cJSON_IsNumber(v) || std::fabs(v->valuedouble) > 1e9) return false;
            *fields[i] = static_cast<int>(v->valuedouble);
        }
        if (b.radius <= 0) return false;
        balls.push_back(b);
    }
    c.arm.envelopes[tool] = balls;
    return true;
}

bool get_envelope(Ctx &c) {
    std::string tool;
    if (!c.gets("tool_name", tool) || !c.arm.tools.count(tool)) {
        c.boolean("get_state", false);
        return false;
    }
    c.str("tool_name", tool);
    cJSON *list = cJSON_AddArrayToObject(c.reply, "list");
    for (const auto &b : c.arm.envelopes[tool]) {
        cJSON *o = cJSON_CreateObject();
        cJSON_AddStringToObject(o, "name", b.name.c_str());
        cJSON_AddNumberToObject(o, "radius", b.radius);
        cJSON_AddNumberToObject(o, "x", b.x);
        cJSON_AddNumberToObject(o, "y", b.y);
        cJSON_AddNumberToObject(o, "z", b.z);
        cJSON_AddItemToArray(list, o);
    }
    return true;
}

// ------------------------------------------------------------------ the table

const Command kCommands[] = {
    // identity, installation, versions
    {"get_arm_software_info", "arm_software_info", nullptr, software_info},
    {"set_init_pose", "set_init_pose", "init_pose", set_init_pose},
    {"get_init_pose", "arm_init_pose", nullptr, get_init_pose},
    {"set_install_pose", "set_install_pose", "set_state", set_install_pose},
    {"get_install_pose", "install_pose", nullptr, get_install_pose},
    {"get_joint_software_version", "joint_software_version", nullptr, joint_software_version},
    {"get_tool_software_version", "tool_software_version", nullptr, tool_software_version},
    // joint configuration
    {"set_joint_drive_max_speed", "set_joint_drive_max_speed", "joint_max_speed", set_drive_max_speed},
    {"set_joint_drive_max_acc", "set_joint_drive_max_acc", "joint_max_acc", set_drive_max_acc},
    {"set_joint_drive_min_pos", "set_joint_drive_min_pos", "joint_min_pos", set_drive_min_pos},
    {"set_joint_drive_max_pos", "set_joint_drive_max_pos", "joint_max_pos", set_drive_max_pos},
    {"set_joint_en_state", "set_joint_en_state", "joint_en_state", set_en_state},
    {"set_joint_zero_pos", "set_joint_zero_pos", "joint_zero_pos", set_zero_pos},
    {"set_joint_clear_err", "set_joint_clear_err", "joint_clear_err", clear_err},
    {"set_joint_max_speed", "set_joint_max_speed", "joint_max_speed", set_max_speed},
    {"set_joint_max_acc", "set_joint_max_acc", "joint_max_acc", set_max_acc},
    {"set_joint_min_pos", "set_joint_min_pos", "joint_min_pos", set_min_pos},
    {"set_joint_max_pos", "set_joint_max_pos", "joint_max_pos", set_max_pos},
    {"auto_set_joint_limit", "auto_set_joint_limit ", "limit_mode", auto_set_joint_limit},
    {"get_joint_max_speed", "joint_max_speed", nullptr, get_max_speed},
    {"get_joint_max_acc", "joint_max_acc", nullptr, get_max_acc},
    {"get_joint_min_pos", "joint_min_pos", nullptr, get_min_pos},
    {"get_joint_max_pos", "joint_max_pos", nullptr, get_max_pos},
    {"get_joint_drive_max_speed", "get_joint_drive_max_speed", nullptr, get_drive_max_speed},
    {"get_joint_drive_max_acc", "get_joint_drive_max_acc", nullptr, get_drive_max_acc},
    {"get_joint_drive_min_pos", "get_joint_drive_min_pos", nullptr, get_drive_min_pos},
    {"get_joint_drive_max_pos", "get_joint_drive_max_pos", nullptr, get_drive_max_pos},
    {"get_joint_en_state", "joint_en_state", nullptr, get_en_state},
    {"get_joint_err_flag", "joint_err_flag", nullptr, get_err_flag},
    // Cartesian limits and collision
    {"set_arm_max_line_speed", "set_arm_max_line_speed", "arm_line_speed", set_line_speed},
    {"set_arm_max_line_acc", "set_arm_max_line_acc", "arm_line_acc", set_line_acc},
    {"set_arm_max_angular_speed", "set_arm_max_angular_speed", "arm_angular_speed", set_ang_speed},
    {"set_arm_max_angular_acc", "set_arm_max_angular_acc", "arm_angular_acc", set_ang_acc},
    {"get_arm_max_line_speed", "arm_max_line_speed", nullptr, get_line_speed},
    {"get_arm_max_line_acc", "arm_max_line_acc", nullptr, get_line_acc},
    {"get_arm_max_angular_speed", "arm_max_angular_speed", nullptr, get_ang_speed},
    {"get_arm_max_angular_acc", "arm_max_angular_acc", nullptr, get_ang_acc},
    {"set_arm_init", "set_arm_init", "arm_init", set_arm_init},
    {"set_collision_stage", "set_collision_state", "collision_state", set_collision},
    {"get_collision_stage", "get_collision_stage", nullptr, get_collision},
    // planned motion
    {"movej", "movej", "receive_state", movej},
    {"movel", "movel", "receive_state", movel},
    {"moves", "moves", "receive_state", moves},
    {"movec", "movec", "receive_state", movec},
    {"movej_p", "movej_p", "receive_state", movej_p},
    // steps, jogging, stopping, trajectory state
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
    // state queries
    {"get_current_arm_state", "current_arm_state", nullptr, current_arm_state},
    {"get_joint_degree", "joint_degree", nullptr, joint_degree},
    {"get_arm_all_state", "arm_all_state", nullptr, arm_all_state},
    {"get_current_joint_temperature", "current_joint_temperature", nullptr, joint_temperature},
    {"get_current_joint_current", "current_joint_current", nullptr, joint_current},
    {"get_current_joint_voltage", "current_joint_voltage", nullptr, joint_voltage},
    // realtime push
    {"set_realtime_push", "set_realtime_push", "state", set_realtime_push},
    {"get_realtime_push", "get_realtime_push", nullptr, get_realtime_push},
    // tool and work frames
    {"set_auto_tool_frame", "set_auto_tool_frame", "auto_tool_frame", auto_tool_point},
    {"generate_auto_tool_frame", "set_auto_tool_frame", "auto_tool_frame", generate_tool},
    {"set_manual_tool_frame", "set_manual_tool_frame", "manual_tool_frame", manual_tool},
    {"update_tool_frame", "update_tool_frame", "update_state", update_tool},
    {"set_tool_envelope", "set_tool_envelope", "set_state", set_envelope},
    {"get_tool_envelope", "get_tool_envelope", nullptr, get_envelope},
    {"set_auto_work_frame", "set_auto_work_frame", "auto_work_frame", auto_work},
    {"set_manual_work_frame", "set_manual_work_frame", "manual_work_frame", manual_work},
    {"update_work_frame", "update_work_frame", "update_state", update_work},
    {"get_total_tool_frame", "total_tool_frame", nullptr, total_tool},
    {"get_total_work_frame", "total_work_frame", nullptr, total_work},
    {"get_tool_frame", "given_tool_frame", nullptr, given_tool},
    {"get_work_frame", "given_work_frame", nullptr, given_work},
    {"get_current_tool_frame", "current_tool_frame", nullptr, current_tool},
    {"get_current_work_frame", "current_work_frame", nullptr, current_work},
    {"set_change_tool_frame", "set_change_tool_frame", "change_tool_frame", change_tool},
    {"set_delete_tool_frame", "set_delete_tool_frame", "delete_tool_frame", delete_tool},
    {"set_change_work_frame", "set_change_work_frame", "change_work_frame", change_work},
    {"set_delete_work_frame", "set_delete_work_frame", "delete_work_frame", delete_work},
};

std::string print(cJSON *o) {
    char *text = cJSON_PrintUnformatted(o);
    std::string s = text ? text : "";
    cJSON_free(text);
    return s;
}

}  // namespace

void dispatch(Arm &arm, const cJSON *req, const std::string &name, bool refuse, DispatchResult &out) {
    const Command *cmd = nullptr;
    for (const auto &c : kCommands) {
        if (name == c.name) {
            cmd = &c;
            break;
        }
    }
    cJSON *reply = cJSON_CreateObject();
    if (cmd == nullptr) {
        // A family not simulated yet: a refusal named by the command itself.
        out.known = false;
        cJSON_AddStringToObject(reply, "command", name.c_str());
        cJSON_AddBoolToObject(reply, "set_state", false);
        cJSON_AddBoolToObject(reply, "receive_state", false);
    } else {
        out.known = true;
        if (refuse) {
            cJSON_AddStringToObject(reply, "command", cmd->state ? cmd->reply : cmd->name);
            cJSON_AddBoolToObject(reply, cmd->state ? cmd->state : "get_state", false);
        } else {
            cJSON_AddStringToObject(reply, "command", cmd->reply);
            Ctx ctx{arm, req, reply, out};
            const bool ok = cmd->fn(ctx);
            if (cmd->state) cJSON_AddBoolToObject(reply, cmd->state, ok);
        }
    }
    out.replies.push_back(print(reply));
    cJSON_Delete(reply);
}

std::vector<std::string> served_commands() {
    std::vector<std::string> v;
    for (const auto &c : kCommands) v.emplace_back(c.name);
    return v;
}

}  // namespace ky::sim
