// Shared by the simulated controller's command families (sim/commands/<family>.cpp): the handler
// context with its request readers and reply writers, the wire conversions and the table row.
//
// Each family file defines `<family>_commands()`, its rows of the one dispatch table: request
// name -> reply name, state key and handler. The handler reads the request, changes the arm and
// adds the reply's members; the dispatcher (sim/commands.cpp) adds "command" and the state key.
// Integers on the wire: joint angles in thousandths of a degree, positions in micrometres, Euler
// angles in milliradians, joint speeds and accelerations as thousandths of (degrees/s / 6),
// payloads, currents, voltages and temperatures in thousandths.
#pragma once
#include <cjson/cJSON.h>

#include <cmath>
#include <span>
#include <string>

#include "sim/arm.h"
#include "sim/commands.h"

namespace ky::sim {

inline int wire(double v, double scale) { return static_cast<int>(std::lround(v * scale)); }
inline int speed_wire(double deg_s) { return wire(deg_s / 6.0, 1000.0); }

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

inline void pose_wire(const double p[6], int w[6]) {
    for (int i = 0; i < 3; ++i) w[i] = wire(p[i], 1e6);
    for (int i = 3; i < 6; ++i) w[i] = wire(p[i], 1e3);
}

inline void joints_wire(const Joints &q, int dof, int w[]) {
    for (int i = 0; i < dof; ++i) w[i] = wire(q[i], 1000.0);
}

using Fn = bool (*)(Ctx &);
struct Command {
    const char *name;
    const char *reply;  // null: never answered (unacknowledged commands, streamed set-points)
    const char *state;  // null for queries
    Fn fn;
};

// Reads what every move shares ("v", "trajectory_connect") and submits the move (motion.cpp).
bool move_common(Ctx &c, MoveRequest &r);

// The families, in dispatch order, one line each. A new family adds its file under
// sim/commands/ (defining `<family>_commands()`) and its line here.
#define KY_SIM_COMMAND_FAMILIES(FAMILY) \
    FAMILY(identity)                    \
    FAMILY(io)                          \
    FAMILY(network)                     \
    FAMILY(joint_config)                \
    FAMILY(arm_limits)                  \
    FAMILY(motion)                      \
    FAMILY(jogging)                     \
    FAMILY(realtime)                    \
    FAMILY(frames)                      \
    FAMILY(controller)                  \
    FAMILY(tool)                        \
    FAMILY(axes)                        \
    FAMILY(passthrough)                 \
    FAMILY(force_position)              \
    FAMILY(drag)                        \
    FAMILY(modbus)                      \
    FAMILY(force_sensor)                \
    FAMILY(project)                     \
    FAMILY(program_store)               \
    FAMILY(fence)                       \
    FAMILY(waypoints)

#define KY_SIM_DECLARE_FAMILY(family) std::span<const Command> family##_commands();
KY_SIM_COMMAND_FAMILIES(KY_SIM_DECLARE_FAMILY)
#undef KY_SIM_DECLARE_FAMILY

}  // namespace ky::sim
