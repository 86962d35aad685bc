// Projects and the program store of the simulated controller.
//
// A project is text: the line {"file":<dof>}, the line {"name":"Folder","num":1,"type":<count>,
// "enabled":true,"parent_number":0} whose "type" is the number of program lines that follow, then
// the program: one of the controller's own JSON commands a line (blank lines are skipped). An
// upload is announced by "run_project" with the byte count; the client's connection then carries
// exactly that many bytes of project text (sim/simulator.cpp reads them) and the upload is answered
// "download_project". Accepted projects are stored as numbered programs; a program runs its lines
// in order on the arm, each line starting once the previous motion (and device action) has ended,
// and its end is pushed to every client as {"command":"program_run_finish","finish_id":<id>}.
#pragma once
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace ky::sim {

class Arm;

struct StoredProgram {
    int id = 0;
    int size = 0;              // bytes of the uploaded project
    int speed = 100;           // planning speed, percent
    std::string name;          // at most kMaxProgramName bytes
    std::vector<std::string> lines;  // the program lines (blank ones dropped)
};

// What "run_project" announced; the project text follows on the same connection.
struct UploadAnnouncement {
    std::string name;
    size_t size = 0;
    int plan_speed = 100, step_flag = 0, only_save = 0, save_id = 0;
};

struct ProgramRun {
    bool active = false;
    int id = 0;
    int speed = 100;           // percent applied to every move's "v"
    std::vector<std::string> lines;
    size_t next = 0;           // index of the next line to run
    int plan_num = 0;          // 1-based number of the line running (0 before the first)
    int loop_num = 1, loop_cont = 0;  // passes asked for and passes completed
    bool aborted = false;      // a line was refused or its motion was stopped
};

struct Programs {
    static constexpr int kMaxId = 100;               // program ids 1..100
    static constexpr size_t kMaxProjectBytes = (1u << 20) - 1;  // a 1 MiB project is refused
    static constexpr size_t kMaxProgramName = 31;    // the library's name field holds 32 bytes with the NUL
    std::map<int, StoredProgram> store;
    int default_id = 0;
    int step_mode = 0;
    bool announced = false;    // set by "run_project"; the server takes it over for the connection
    UploadAnnouncement upload;
    ProgramRun run;
};

// Checks a project text against the arm's degree of freedom. Returns 0 and fills `lines` with the
// program lines, or the 1-based line number (header lines included) of the first line it cannot
// run: 1 for a missing or wrong degree of freedom (and an empty text), 2 for a missing header or
// a count that differs from the lines present.
int check_project(std::string_view text, int dof, std::vector<std::string> &lines);

// Concludes an upload whose text is `text` (complete unless `timed_out`): stores and, unless only
// saved, starts the program. Returns the "download_project" reply line.
std::string finish_upload(Arm &arm, const UploadAnnouncement &a, std::string_view text, bool timed_out);

// Starts stored program `id` (speed 0: its stored speed); false when there is no such program,
// one runs already or the arm is busy.
bool start_program(Arm &arm, int id, int speed);

// Advances the running program by one step; called by the motion thread after the arm and the
// devices ticked. While a program runs, the arm's completion lines in `lines` are the program's
// own and are taken out (a stopped motion ends the program); the program's lines and its end
// report are appended.
void program_tick(Arm &arm, std::vector<std::string> &lines);

}  // namespace ky::sim
