// ky info, ky state, ky raw, and the pieces every controller subcommand shares.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tools/ky/ky.h"

namespace kycli {

int status_of(const ky::Error &e) {
    if (e.code().category() == ky::category<ky::family::lifecycle>()) return unreachable;
    switch (e.result()) {
    case 1: return refused;
    case -1: return handle;
    case -2: return timeout;
    case -3: return parse;
    default: return specific;
    }
}

namespace {
ky::Library start_library(const Target &t, int mode) {
    // Without --verbose the library's own log lines are dropped: a failure is reported once,
    // by the caller, from the result code.
    if (t.verbose)
        ky::Library::on_log([](std::string_view line) { std::fprintf(stderr, "%.*s", int(line.size()), line.data()); }, 1);
    else
        ky::Library::on_log([](std::string_view) {}, 3);
    return ky::Library(mode);
}
}  // namespace

Session::Session(const Target &t, int mode) : library(start_library(t, mode)), robot(t.ip, t.port) {}

double json_number(float v) {
    // A float's seven significant digits, so that 1000.002f prints as 1000.002 and not as
    // the double nearest to the float.
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.7g", static_cast<double>(v));
    return std::strtod(buf, nullptr);
}

cJSON *numbers(const float *v, std::size_t n) {
    cJSON *a = cJSON_CreateArray();
    for (std::size_t i = 0; i < n; ++i) cJSON_AddItemToArray(a, cJSON_CreateNumber(json_number(v[i])));
    return a;
}

cJSON *numbers(const int32_t *v, std::size_t n) {
    cJSON *a = cJSON_CreateArray();
    for (std::size_t i = 0; i < n; ++i) cJSON_AddItemToArray(a, cJSON_CreateNumber(v[i]));
    return a;
}

cJSON *pose_json(const ky_pose &p) {
    cJSON *o = cJSON_CreateObject();
    const float pos[3] = {p.position.x, p.position.y, p.position.z};
    const float eul[3] = {p.euler.rx, p.euler.ry, p.euler.rz};
    cJSON_AddItemToObject(o, "position", numbers(pos, 3));
    cJSON_AddItemToObject(o, "euler", numbers(eul, 3));
    return o;
}

cJSON *frame_json(const ky_frame &f) {
    cJSON *o = cJSON_CreateObject();
    cJSON_AddStringToObject(o, "name", ky::text(f.frame_name).c_str());
    cJSON_AddItemToObject(o, "pose", pose_json(f.pose));
    cJSON_AddNumberToObject(o, "payload", json_number(f.payload));
    const float com[3] = {f.x, f.y, f.z};
    cJSON_AddItemToObject(o, "centre_of_mass", numbers(com, 3));
    return o;
}

void print(const Json &j) {
    char *s = cJSON_PrintUnformatted(j.get());
    std::printf("%s\n", s ? s : "{}");
    cJSON_free(s);
}

std::string list(const float *v, std::size_t n, int precision) {
    std::string out;
    char buf[32];
    for (std::size_t i = 0; i < n; ++i) {
        std::snprintf(buf, sizeof buf, "%s%.*f", i ? ", " : "", precision, static_cast<double>(v[i]));
        out += buf;
    }
    return out;
}

namespace {

const char *model_name(int model) {
    switch (model) {
    case 0: return "KY6A";
    case 1: return "KY7A";
    case 3: return "KYL6C";
    case 5: return "LUX6A";
    case 6: return "LUX6B";
    case 7: return "NOV7B";
    case 8: return "LUX6C";
    default: return "unknown";
    }
}

const char *force_name(int type) {
    switch (type) {
    case 0: return "none";
    case 1: return "one-axis";
    case 2: return "six-axis";
    default: return "unknown";
    }
}

std::string pose_text(const ky_pose &p) {
    const float pos[3] = {p.position.x, p.position.y, p.position.z};
    const float eul[3] = {p.euler.rx, p.euler.ry, p.euler.rz};
    std::string s = "x y z ";
    s += list(pos, 3, 4);
    s += " m, rx ry rz ";
    s += list(eul, 3, 4);
    s += " rad";
    return s;
}

/** Reads a frame through a C query; the family members may not exist yet in this build. */
ky_frame query_frame(const ky::Robot &r, int (*fn)(ky_robot_handle *, ky_frame *), const char *name) {
    ky_frame f{};
    int rc = fn(r.handle(), &f);
    if (rc != 0) throw ky::Error(ky::make_error_code<ky::family::frames>(rc), name);
    return f;
}

}  // namespace

int run_info(const Target &t) {
    Session s(t, 1);
    const ky::Robot &r = s.robot;
    const ky_arm_software_info sw = r.get_arm_software_info();
    const ky_frame tool = query_frame(r, ky_get_current_tool_frame, "ky_get_current_tool_frame");
    const ky_frame work = query_frame(r, ky_get_current_work_frame, "ky_get_current_work_frame");
    const ky_realtime_push_config push = r.get_realtime_push();
    const ky_robot_handle &rec = r.record();
    const std::size_t n = static_cast<std::size_t>(r.dof());

    if (t.json) {
        Json j = object();
        cJSON_AddStringToObject(j.get(), "model", model_name(r.model()));
        cJSON_AddNumberToObject(j.get(), "dof", r.dof());
        cJSON_AddStringToObject(j.get(), "force_type", force_name(r.force_type()));
        cJSON_AddStringToObject(j.get(), "product_version", ky::text(sw.product_version).c_str());
        cJSON_AddStringToObject(j.get(), "ctrl_version", ky::text(sw.ctrl_version).c_str());
        cJSON_AddStringToObject(j.get(), "ctrl_build_time", ky::text(sw.ctrl_build_time).c_str());
        cJSON_AddStringToObject(j.get(), "plan_version", ky::text(sw.plan_version).c_str());
        cJSON_AddStringToObject(j.get(), "algorithm_info", ky::text(sw.algorithm_info).c_str());
        cJSON_AddStringToObject(j.get(), "library_version", ky::Library::version());
        cJSON *lim = cJSON_AddObjectToObject(j.get(), "joint_limits");
        cJSON_AddItemToObject(lim, "max_position", numbers(rec.joint_max_pos, n));
        cJSON_AddItemToObject(lim, "min_position", numbers(rec.joint_min_pos, n));
        cJSON_AddItemToObject(lim, "max_speed", numbers(rec.joint_max_speed, n));
        cJSON_AddItemToObject(lim, "max_acceleration", numbers(rec.joint_max_acc, n));
        cJSON_AddItemToObject(j.get(), "tool_frame", frame_json(tool));
        cJSON_AddItemToObject(j.get(), "work_frame", frame_json(work));
        cJSON *p = cJSON_AddObjectToObject(j.get(), "realtime_push");
        cJSON_AddBoolToObject(p, "enable", push.enable);
        cJSON_AddNumberToObject(p, "cycle", push.cycle);
        cJSON_AddStringToObject(p, "ip", ky::text(push.ip).c_str());
        cJSON_AddNumberToObject(p, "port", push.port);
        cJSON_AddNumberToObject(p, "joint_speed", push.custom.joint_speed);
        cJSON_AddNumberToObject(p, "lift_state", push.custom.lift_state);
        cJSON_AddNumberToObject(p, "expand_state", push.custom.expand_state);
        cJSON_AddNumberToObject(p, "arm_current_status", push.custom.arm_current_status);
        print(j);
        return ok;
    }
    std::printf("model            %s, %d joints, force sensor %s\n", model_name(r.model()), r.dof(),
                force_name(r.force_type()));
    std::printf("product version  %s\n", ky::text(sw.product_version).c_str());
    std::printf("controller       %s (built %s)\n", ky::text(sw.ctrl_version).c_str(), ky::text(sw.ctrl_build_time).c_str());
    std::printf("planner          %s (built %s)\n", ky::text(sw.plan_version).c_str(), ky::text(sw.plan_build_time).c_str());
    std::printf("algorithm        %s\n", ky::text(sw.algorithm_info).c_str());
    std::printf("library          %s\n", ky::Library::version());
    std::printf("joint limits     %-10s %-10s %-12s %s\n", "min (deg)", "max (deg)", "speed (d/s)", "acc (d/s^2)");
    for (std::size_t i = 0; i < n; ++i)
        std::printf("  J%zu             %-10.2f %-10.2f %-12.2f %.2f\n", i + 1, static_cast<double>(rec.joint_min_pos[i]),
                    static_cast<double>(rec.joint_max_pos[i]), static_cast<double>(rec.joint_max_speed[i]),
                    static_cast<double>(rec.joint_max_acc[i]));
    std::printf("tool frame       %s: %s, payload %.3f kg\n", ky::text(tool.frame_name).c_str(), pose_text(tool.pose).c_str(),
                static_cast<double>(tool.payload));
    std::printf("work frame       %s: %s\n", ky::text(work.frame_name).c_str(), pose_text(work.pose).c_str());
    std::printf("realtime push    %s, to %s:%d, cycle %d\n", push.enable ? "on" : "off", ky::text(push.ip).c_str(),
                push.port, push.cycle);
    return ok;
}

int run_state(const Target &t) {
    Session s(t, 1);
    const ky::Robot &r = s.robot;
    const ky_current_arm_state cur = r.get_current_arm_state();
    const ky_arm_all_state all = r.get_arm_all_state();
    const std::size_t n = static_cast<std::size_t>(r.dof());
    if (t.json) {
        Json j = object();
        cJSON_AddItemToObject(j.get(), "joint", numbers(cur.joint, n));
        cJSON_AddItemToObject(j.get(), "pose", pose_json(cur.pose));
        cJSON_AddNumberToObject(j.get(), "arm_err", cur.arm_err);
        cJSON_AddNumberToObject(j.get(), "sys_err", all.sys_err);
        cJSON_AddItemToObject(j.get(), "joint_err_code", numbers(all.joint_err_code, n));
        cJSON_AddItemToObject(j.get(), "joint_en_flag", numbers(all.joint_en_flag, n));
        cJSON_AddItemToObject(j.get(), "temperature", numbers(all.joint_temperature, n));
        cJSON_AddItemToObject(j.get(), "current", numbers(all.joint_current, n));
        cJSON_AddItemToObject(j.get(), "voltage", numbers(all.joint_voltage, n));
        print(j);
        return ok;
    }
    std::printf("pose     %s\n", pose_text(cur.pose).c_str());
    std::printf("errors   arm %d, system %d\n", cur.arm_err, all.sys_err);
    std::printf("joint    %10s %8s %10s %10s %10s %s\n", "deg", "enabled", "error", "temp", "current", "voltage");
    for (std::size_t i = 0; i < n; ++i)
        std::printf("  J%zu     %10.3f %8s %10d %10.2f %10.3f %.2f\n", i + 1, static_cast<double>(cur.joint[i]),
                    all.joint_en_flag[i] ? "yes" : "no", all.joint_err_code[i], static_cast<double>(all.joint_temperature[i]),
                    static_cast<double>(all.joint_current[i]), static_cast<double>(all.joint_voltage[i]));
    return ok;
}

int run_raw(const Target &t, const std::string &json, const std::string &reply_key, int timeout_ms) {
    Session s(t, 1);
    const auto wait = std::chrono::milliseconds(timeout_ms);
    auto r = s.robot.nothrow().raw(json, reply_key, wait);
    if (!r && r.code() == -2 && reply_key.empty()) {
        // Many queries answer under their name without "get_": a query has no effect, so it
        // is sent once more, waiting for that name.
        cJSON *req = cJSON_Parse(json.c_str());
        const cJSON *cmd = cJSON_GetObjectItemCaseSensitive(req, "command");
        std::string name = cJSON_IsString(cmd) ? cmd->valuestring : "";
        cJSON_Delete(req);
        if (name.rfind("get_", 0) == 0 && name.size() > 4) r = s.robot.nothrow().raw(json, name.substr(4), wait);
    }
    std::string line = r.value();  // throws on failure
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r' || line.back() == '\0')) line.pop_back();
    std::printf("%s\n", line.c_str());
    return ok;
}

}  // namespace kycli
