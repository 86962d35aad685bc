// Planned motion: movej, movel, moves, movec and movej_p, each read and handed to the arm's
// planner (a refused plan answers "receive_state" false and nothing moves).
#include "sim/commands/common.h"

namespace ky::sim {

bool move_common(Ctx &c, MoveRequest &r) {
    if (!c.geti("v", r.v) || r.v <= 0 || r.v > 100) return false;
    int conn = 0;
    if (c.item("trajectory_connect") != nullptr && !c.geti("trajectory_connect", conn)) return false;
    if (conn < 0) return false;
    r.connect = conn;
    return c.arm.submit(r);
}

namespace {

bool movej(Ctx &c) {
    MoveRequest r;
    r.kind = MoveRequest::MoveJ;
    int w[kMaxDof];
    if (!c.geta("joint", c.arm.dof, w)) return false;
    for (int i = 0; i < c.arm.dof; ++i) r.joints[i] = w[i] / 1000.0;
    return move_common(c, r);
}

bool move_pose(Ctx &c, MoveRequest::Kind kind) {
    MoveRequest r;
    r.kind = kind;
    if (!c.getpose(c.item("pose"), r.pose)) return false;
    return move_common(c, r);
}
bool movel(Ctx &c) { return move_pose(c, MoveRequest::MoveL); }
bool moves(Ctx &c) { return move_pose(c, MoveRequest::MoveS); }
bool movej_p(Ctx &c) { return move_pose(c, MoveRequest::MoveJP); }

bool movec(Ctx &c) {
    MoveRequest r;
    r.kind = MoveRequest::MoveC;
    const cJSON *pose = c.item("pose");
    if (!cJSON_IsObject(pose) || !c.getpose(cJSON_GetObjectItemCaseSensitive(pose, "pose_via"), r.via) ||
        !c.getpose(cJSON_GetObjectItemCaseSensitive(pose, "pose_to"), r.pose))
        return false;
    if (c.item("loop") != nullptr && !c.geti("loop", r.loop)) return false;
    return move_common(c, r);
}

}  // namespace

std::span<const Command> motion_commands() {
    static const Command rows[] = {
        {"movej", "movej", "receive_state", movej},
        {"movel", "movel", "receive_state", movel},
        {"moves", "moves", "receive_state", moves},
        {"movec", "movec", "receive_state", movec},
        {"movej_p", "movej_p", "receive_state", movej_p},
    };
    return rows;
}

}  // namespace ky::sim
