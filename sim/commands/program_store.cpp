// The program trajectory store: listing with paging and a name filter, the run state, delete,
// update, the default program and the start by id. Replies carry the request's name.
#include <algorithm>
#include <cctype>

#include "sim/commands/common.h"

namespace ky::sim {

namespace {

// Case-insensitive substring match; an empty filter matches every name.
bool matches(const std::string &name, const std::string &filter) {
    const auto it = std::search(name.begin(), name.end(), filter.begin(), filter.end(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
    return filter.empty() || it != name.end();
}

// Pages count from 1; a page past the end (or a page number or size below 1) lists nothing.
bool list(Ctx &c) {
    int page = 0, size = 0;
    std::string filter;
    if (c.item("vague_search") != nullptr && !c.gets("vague_search", filter)) filter.clear();
    c.geti("page_num", page);
    c.geti("page_size", size);
    std::vector<const StoredProgram *> found;
    for (const auto &[id, p] : c.arm.programs.store)
        if (matches(p.name, filter)) found.push_back(&p);
    c.num("page_num", page);
    c.num("page_size", size);
    c.num("total_size", static_cast<double>(found.size()));
    c.str("vague_search", filter);
    cJSON *arr = cJSON_AddArrayToObject(c.reply, "list");
    if (page < 1 || size < 1) return true;
    const size_t first = static_cast<size_t>(page - 1) * static_cast<size_t>(size);
    for (size_t i = first; i < found.size() && i < first + static_cast<size_t>(size); ++i) {
        cJSON *e = cJSON_CreateObject();
        cJSON_AddNumberToObject(e, "id", found[i]->id);
        cJSON_AddNumberToObject(e, "size", found[i]->size);
        cJSON_AddNumberToObject(e, "speed", found[i]->speed);
        cJSON_AddStringToObject(e, "trajectory_name", found[i]->name.c_str());
        cJSON_AddItemToArray(arr, e);
    }
    return true;
}

// run_state 0 idle, 1 running, 2 held by a pause; plan_num is the program line under way.
bool run_state(Ctx &c) {
    const Programs &p = c.arm.programs;
    const ProgramRun &r = p.run;
    c.num("run_state", !r.active ? 0 : c.arm.paused() ? 2 : 1);
    c.num("id", r.id);
    c.num("edit_id", 0);
    c.num("plan_num", r.plan_num);
    c.num("step_mode", p.step_mode);
    c.num("plan_speed", r.active ? r.speed : 0);
    const int loops[1] = {r.loop_num}, done[1] = {r.loop_cont};
    c.arr("loop_num", loops, r.active ? 1 : 0);
    c.arr("loop_cont", done, r.active ? 1 : 0);
    return true;
}

// The running program is neither deleted nor changed.
bool delete_program(Ctx &c) {
    Programs &p = c.arm.programs;
    int id = 0;
    if (!c.geti("id", id) || p.store.count(id) == 0 || (p.run.active && p.run.id == id)) return false;
    p.store.erase(id);
    if (p.default_id == id) p.default_id = 0;
    return true;
}

bool update_program(Ctx &c) {
    Programs &p = c.arm.programs;
    int id = 0, speed = 0;
    std::string name;
    if (!c.geti("id", id) || !c.geti("plan_speed", speed) || !c.gets("project_name", name)) return false;
    const auto it = p.store.find(id);
    if (it == p.store.end() || (p.run.active && p.run.id == id) || speed < 1 || speed > 100 || name.empty() ||
        name.size() > Programs::kMaxProgramName)
        return false;
    it->second.speed = speed;
    it->second.name = name;
    return true;
}

bool set_default(Ctx &c) {
    int id = 0;
    if (!c.geti("id", id) || c.arm.programs.store.count(id) == 0) return false;
    c.arm.programs.default_id = id;
    return true;
}

bool get_default(Ctx &c) { return c.num("id", c.arm.programs.default_id), true; }

// "speed" (1..100) overrides the program's own speed for this run.
bool start(Ctx &c) {
    int id = 0, speed = 0;
    if (!c.geti("id", id)) return false;
    if (c.item("speed") != nullptr && (!c.geti("speed", speed) || speed < 1 || speed > 100)) return false;
    return start_program(c.arm, id, speed);
}

}  // namespace

std::span<const Command> program_store_commands() {
    static const Command rows[] = {
        {"get_program_trajectory_list", "get_program_trajectory_list", nullptr, list},
        {"get_program_run_state", "get_program_run_state", nullptr, run_state},
        {"delete_program_trajectory", "delete_program_trajectory", "delete_state", delete_program},
        {"update_program_trajectory", "update_program_trajectory", "update_state", update_program},
        {"set_default_run_program", "set_default_run_program", "set_state", set_default},
        {"get_default_run_program", "get_default_run_program", nullptr, get_default},
        {"set_program_id_start", "set_program_id_start", "start_state", start},
    };
    return rows;
}

}  // namespace ky::sim
