// The simulated controller's command dispatch: one table made of every family's rows (see
// sim/commands/common.h), looked up by request name, and the answer to a command of a family
// not simulated yet.
#include "sim/commands.h"

#include <string_view>
#include <unordered_map>

#include "sim/commands/common.h"

namespace ky::sim {

namespace {

// Every family's rows, in dispatch order.
const std::vector<std::span<const Command>> &families() {
    static const std::vector<std::span<const Command>> all = {
#define KY_SIM_FAMILY_ROWS(family) family##_commands(),
        KY_SIM_COMMAND_FAMILIES(KY_SIM_FAMILY_ROWS)
#undef KY_SIM_FAMILY_ROWS
    };
    return all;
}

// Request name -> row; the first row of a name serves it.
const Command *find(const std::string &name) {
    static const auto index = [] {
        std::unordered_map<std::string_view, const Command *> m;
        for (const auto &family : families())
            for (const auto &row : family) m.emplace(row.name, &row);
        return m;
    }();
    const auto it = index.find(name);
    return it == index.end() ? nullptr : it->second;
}

std::string print(cJSON *o) {
    char *text = cJSON_PrintUnformatted(o);
    std::string s = text ? text : "";
    cJSON_free(text);
    return s;
}

}  // namespace

void dispatch(Arm &arm, const cJSON *req, const std::string &name, bool refuse, DispatchResult &out) {
    const Command *cmd = find(name);
    cJSON *reply = cJSON_CreateObject();
    if (cmd != nullptr && cmd->reply == nullptr) {
        // Not acknowledged by the controller (streamed set-points, hand_follow_angle,
        // set_lift_height): acted on unless every command is refused, never answered.
        out.known = true;
        Ctx ctx{arm, req, reply, out};
        if (!refuse) cmd->fn(ctx);
        cJSON_Delete(reply);
        return;
    }
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
    for (const auto &family : families())
        for (const auto &row : family)
            if (row.reply != nullptr) v.emplace_back(row.name);
    return v;
}

}  // namespace ky::sim
