// Realtime state over TCP: the arm state queries and the realtime push configuration.
#include "sim/commands/common.h"

#include <arpa/inet.h>

namespace ky::sim {

namespace {

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

}  // namespace

std::span<const Command> realtime_commands() {
    static const Command rows[] = {
        {"get_current_arm_state", "current_arm_state", nullptr, current_arm_state},
        {"get_joint_degree", "joint_degree", nullptr, joint_degree},
        {"get_arm_all_state", "arm_all_state", nullptr, arm_all_state},
        {"get_current_joint_temperature", "current_joint_temperature", nullptr, joint_temperature},
        {"get_current_joint_current", "current_joint_current", nullptr, joint_current},
        {"get_current_joint_voltage", "current_joint_voltage", nullptr, joint_voltage},
        {"set_realtime_push", "set_realtime_push", "state", set_realtime_push},
        {"get_realtime_push", "get_realtime_push", nullptr, get_realtime_push},
    };
    return rows;
}

}  // namespace ky::sim
