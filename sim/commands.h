// Command dispatch of the simulated controller: one request object in, reply lines out.
#pragma once
#include <cjson/cJSON.h>

#include <string>
#include <vector>

#include "sim/arm.h"

namespace ky::sim {

struct DispatchResult {
    std::vector<std::string> replies;    // to the requesting client
    std::vector<std::string> broadcast;  // to every client (trajectory completions)
    bool known = false;                  // the command belongs to a family the simulator serves
};

// Answers the request `req` whose "command" is `name`. With `refuse` set, a known command is
// answered with its state key false (a query with "get_state" false) and changes nothing.
void dispatch(Arm &arm, const cJSON *req, const std::string &name, bool refuse, DispatchResult &out);

// The names of every command answered (streamed set-points, which get no reply, are not
// listed), for the usage text and the tests.
std::vector<std::string> served_commands();

}  // namespace ky::sim
