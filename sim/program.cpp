// Project checking, the program store and the program runner (see sim/program.h).
#include "sim/program.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <set>

#include "sim/arm.h"
#include "sim/commands.h"

namespace ky::sim {

namespace {

using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

Json parse(std::string_view s) { return Json(cJSON_ParseWithLength(s.data(), s.size()), cJSON_Delete); }

std::string print(cJSON *o) {
    char *t = cJSON_PrintUnformatted(o);
    std::string s = t ? t : "";
    cJSON_free(t);
    return s;
}

bool int_member(const cJSON *o, const char *key, int &v) {
    const cJSON *i = cJSON_GetObjectItemCaseSensitive(o, key);
    if (!cJSON_IsNumber(i) || !std::isfinite(i->valuedouble) || std::fabs(i->valuedouble) > 2147483647.0) return false;
    v = static_cast<int>(i->valuedouble);
    return true;
}

// Commands a program line may carry: every command the controller answers, except the program
// commands themselves (a program neither uploads nor starts programs).
bool runnable(const std::string &name) {
    static const std::set<std::string> served = [] {
        std::set<std::string> s;
        for (auto &n : served_commands()) s.insert(n);
        return s;
    }();
    static const std::set<std::string> excluded = {
        "run_project", "plan_speed", "get_program_trajectory_list", "get_program_run_state",
        "delete_program_trajectory", "update_program_trajectory", "set_default_run_program",
        "get_default_run_program", "set_program_id_start"};
    return served.count(name) != 0 && excluded.count(name) == 0;
}

// A program line: one JSON object whose "command" the controller runs.
bool valid_line(std::string_view line) {
    Json j = parse(line);
    if (!cJSON_IsObject(j.get())) return false;
    const cJSON *c = cJSON_GetObjectItemCaseSensitive(j.get(), "command");
    return cJSON_IsString(c) && c->valuestring != nullptr && runnable(c->valuestring);
}

bool blank(char ch) { return ch == '\n' || ch == '\r' || ch == ' ' || ch == '\t'; }

std::string_view trim(std::string_view s) {
    while (!s.empty() && blank(s.back())) s.remove_suffix(1);
    while (!s.empty() && blank(s.front())) s.remove_prefix(1);
    return s;
}

std::string verdict(bool ok, int err_line) {
    cJSON *o = cJSON_CreateObject();
    cJSON_AddStringToObject(o, "command", "download_project");
    cJSON_AddBoolToObject(o, "project_state", ok);
    if (!ok) cJSON_AddNumberToObject(o, "err_line", err_line);
    std::string s = print(o);
    cJSON_Delete(o);
    return s;
}

int free_id(const Programs &p) {
    for (int id = 1; id <= Programs::kMaxId; ++id)
        if (p.store.count(id) == 0) return id;
    return 0;
}

bool devices_idle(const Arm &arm) {
    const Devices &d = arm.devices;
    return !d.gripper.action.active && !d.hand.action.active && !d.lift.moving() && !d.expand.moving();
}

// True when the reply of a program line carries a false state key (the line was refused).
bool refused(const std::string &reply) {
    Json j = parse(reply);
    if (!j) return false;
    for (const cJSON *i = j->child; i != nullptr; i = i->next)
        if (cJSON_IsFalse(i)) return true;
    return false;
}

}  // namespace

int check_project(std::string_view text, int dof, std::vector<std::string> &lines) {
    lines.clear();
    std::vector<std::string_view> all;
    for (size_t pos = 0; pos < text.size();) {
        const size_t nl = text.find('\n', pos);
        const size_t end = nl == std::string_view::npos ? text.size() : nl + 1;
        all.push_back(text.substr(pos, end - pos));
        pos = end;
    }
    // A NUL byte ends no command: the line holding it cannot run.
    for (size_t i = 0; i < all.size(); ++i)
        if (all[i].find('\0') != std::string_view::npos) return static_cast<int>(i) + 1;
    int v = 0;
    Json file = all.empty() ? Json(nullptr, cJSON_Delete) : parse(trim(all[0]));
    if (!int_member(file.get(), "file", v) || v != dof) return 1;
    Json folder = all.size() < 2 ? Json(nullptr, cJSON_Delete) : parse(trim(all[1]));
    const int present = static_cast<int>(all.size()) - 2;
    if (!int_member(folder.get(), "type", v) || v != present) return 2;
    for (size_t i = 2; i < all.size(); ++i) {
        const std::string_view line = trim(all[i]);
        if (line.empty()) continue;
        if (!valid_line(line)) return static_cast<int>(i) + 1;
        lines.emplace_back(line);
    }
    return 0;
}

std::string finish_upload(Arm &arm, const UploadAnnouncement &a, std::string_view text, bool timed_out) {
    Programs &p = arm.programs;
    if (timed_out) {
        // The line the text broke off in.
        return verdict(false, static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1);
    }
    StoredProgram prog;
    const int err = check_project(text, arm.dof, prog.lines);
    if (err != 0) return verdict(false, err);
    prog.id = a.save_id != 0 ? a.save_id : free_id(p);
    if (prog.id == 0) return verdict(false, 0);  // the store is full
    prog.size = static_cast<int>(a.size);
    prog.speed = a.plan_speed;
    prog.name = a.name.substr(0, Programs::kMaxProgramName);
    const int id = prog.id;
    p.store[id] = std::move(prog);
    if (a.only_save == 0) {
        p.step_mode = a.step_flag;
        if (!start_program(arm, id, a.plan_speed)) return verdict(false, 0);
    }
    return verdict(true, 0);
}

bool start_program(Arm &arm, int id, int speed) {
    Programs &p = arm.programs;
    const auto it = p.store.find(id);
    if (it == p.store.end() || p.run.active || arm.busy() || !devices_idle(arm)) return false;
    ProgramRun r;
    r.active = true;
    r.id = id;
    r.speed = speed > 0 ? speed : it->second.speed;
    r.lines = it->second.lines;
    p.run = std::move(r);
    return true;
}

void program_tick(Arm &arm, std::vector<std::string> &lines) {
    ProgramRun &r = arm.programs.run;
    if (!r.active) return;
    for (auto it = lines.begin(); it != lines.end();) {
        Json j = parse(*it);
        const cJSON *c = j ? cJSON_GetObjectItemCaseSensitive(j.get(), "command") : nullptr;
        int device = -1;
        if (cJSON_IsString(c) && std::string_view(c->valuestring) == "current_trajectory_state" &&
            int_member(j.get(), "device", device) && device == 0) {
            if (cJSON_IsFalse(cJSON_GetObjectItemCaseSensitive(j.get(), "trajectory_state"))) r.aborted = true;
            it = lines.erase(it);
        } else {
            ++it;
        }
    }
    if (arm.paused() || (!r.aborted && (arm.busy() || !devices_idle(arm)))) return;
    if (!r.aborted && r.next >= r.lines.size() && ++r.loop_cont < r.loop_num) r.next = 0;
    if (r.aborted || r.next >= r.lines.size()) {
        cJSON *o = cJSON_CreateObject();
        cJSON_AddStringToObject(o, "command", "program_run_finish");
        cJSON_AddNumberToObject(o, "finish_id", r.id);
        lines.push_back(print(o));
        cJSON_Delete(o);
        r = ProgramRun{};
        return;
    }
    r.plan_num = static_cast<int>(r.next) + 1;
    Json req = parse(r.lines[r.next++]);
    int v = 0;
    // The planning speed scales every move's speed ratio.
    if (int_member(req.get(), "v", v) && r.speed != 100)
        cJSON_SetNumberValue(cJSON_GetObjectItemCaseSensitive(req.get(), "v"), std::max(1, v * r.speed / 100));
    const cJSON *name = cJSON_GetObjectItemCaseSensitive(req.get(), "command");
    DispatchResult out;
    dispatch(arm, req.get(), name->valuestring, false, out);
    for (const auto &reply : out.replies)
        if (refused(reply)) r.aborted = true;
    lines.insert(lines.end(), out.broadcast.begin(), out.broadcast.end());
}

}  // namespace ky::sim
