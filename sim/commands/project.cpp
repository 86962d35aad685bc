// Online programming: "run_project" announces a project upload (the text itself follows on the
// connection and is read by the server, see sim/program.h) and "plan_speed" changes the planning
// speed of the running program.
#include "sim/commands/common.h"

namespace ky::sim {

namespace {

// Refused: a size of 1 MiB or more, a speed outside 0..100 (0 runs at 100 %), a slot outside
// 0..100 (0 takes the lowest free id; none free refuses), and a project to run while a program
// runs or the arm moves.
bool run_project(Ctx &c) {
    UploadAnnouncement a;
    int size = 0, only_save = 0;
    if (!c.gets("project_name", a.name) || !c.geti("file_size", size) || !c.geti("plan_speed", a.plan_speed) ||
        !c.geti("step_flag", a.step_flag) || !c.geti("only_save", only_save) || !c.geti("save_id", a.save_id))
        return false;
    if (size < 0 || static_cast<size_t>(size) > Programs::kMaxProjectBytes) return false;
    if (a.plan_speed < 0 || a.plan_speed > 100 || a.save_id < 0 || a.save_id > Programs::kMaxId) return false;
    Programs &p = c.arm.programs;
    if (a.save_id == 0 && p.store.size() >= static_cast<size_t>(Programs::kMaxId)) return false;
    if (only_save == 0 && (p.run.active || c.arm.busy())) return false;
    if (a.plan_speed == 0) a.plan_speed = 100;
    a.only_save = only_save;
    a.size = static_cast<size_t>(size);
    p.upload = a;
    p.announced = true;
    return true;
}

bool plan_speed(Ctx &c) {
    int v = 0;
    if (!c.geti("speed", v) || v < 1 || v > 100) return false;
    if (c.arm.programs.run.active) c.arm.programs.run.speed = v;
    return true;
}

}  // namespace

std::span<const Command> project_commands() {
    static const Command rows[] = {
        {"run_project", "run_project", "project_state", run_project},
        {"plan_speed", "plan_speed", "plan_state", plan_speed},
    };
    return rows;
}

}  // namespace ky::sim
