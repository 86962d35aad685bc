// Shared pieces of the `ky` command-line tool: connection options, exit statuses, JSON output.
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <string>
#include <vector>

#include <kyarm.hpp>

namespace kycli {

/** Exit statuses, listed in `ky --help`. */
enum status : int {
    ok = 0,
    failure = 1,       // anything else (e.g. the simulator could not start)
    usage = 2,         // bad command line
    unreachable = 3,   // the controller could not be connected
    refused = 4,       // result 1: the controller refused
    handle = 5,        // result -1: send failure or argument refused
    timeout = 6,       // result -2: no reply in time
    parse = 7,         // result -3: unreadable reply
    specific = 8,      // -4, -5, -6 or another code: the family's own meaning
    no_solution = 9,   // ky ik: no joint solution
    interrupted = 130, // Ctrl-C during a move (the arm was stopped)
};

/** The status for a failed library call, by its family and code. */
int status_of(const ky::Error &e);

/** Options every controller subcommand takes. */
struct Target {
    std::string ip = "127.0.0.1";
    int port = 8080;
    bool json = false;
    bool verbose = false;
};

/** Starts the library in `mode` and connects; library log lines go to stderr only with
 *  --verbose, so that a failure prints exactly one line. */
struct Session {
    Session(const Target &t, int mode);
    ky::Library library;
    ky::Robot robot;
};

// JSON output through cJSON (owned tree).
using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;
inline Json object() { return Json(cJSON_CreateObject(), &cJSON_Delete); }
double json_number(float v);
cJSON *numbers(const float *v, std::size_t n);
cJSON *numbers(const int32_t *v, std::size_t n);
cJSON *pose_json(const ky_pose &p);
cJSON *frame_json(const ky_frame &f);
/** Prints the tree as one line on stdout. */
void print(const Json &j);

/** Text of a vector: "1.000, 2.000". */
std::string list(const float *v, std::size_t n, int precision = 3);

int run_info(const Target &t);
int run_state(const Target &t);
int run_move_joint(const Target &t, const std::vector<float> &joints, int v);
int run_move_pose(const Target &t, const std::vector<float> &pose, int v);
int run_watch(const Target &t, int refresh_ms);
int run_raw(const Target &t, const std::string &json, const std::string &reply_key, int timeout_ms);
int run_fk(const std::string &model, int sensor, const std::vector<float> &joints, bool json);
int run_ik(const std::string &model, int sensor, const std::vector<float> &pose, const std::vector<float> &near,
           bool json);

}  // namespace kycli
