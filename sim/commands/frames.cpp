// Tool and work frames: teaching, manual entry, update, listing, reading, switching and deleting,
// and the tool's collision envelope.
#include "sim/commands/common.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

namespace ky::sim {

namespace {

constexpr int kMaxFrames = 10;
constexpr size_t kMaxNameLen = 10;
constexpr int kMaxBalls = 5;

bool valid_name(const std::string &n) { return !n.empty() && n.size() <= kMaxNameLen && n != "NULL"; }

bool read_tool(Ctx &c, ToolFrame &f) {
    int payload = 0, com[3];
    if (!c.geti("payload", payload) || payload < 0 || !c.geta("position", 3, com)) return false;
    f.payload = payload / 1000.0;
    for (int i = 0; i < 3; ++i) f.com[i] = com[i] / 1e6;
    return true;
}

void write_tool(Ctx &c, const std::string &name, const ToolFrame &f) {
    int p[6], com[3];
    pose_wire(f.pose, p);
    for (int i = 0; i < 3; ++i) com[i] = wire(f.com[i], 1e6);
    c.str("tool_name", name);
    c.arr("pose", p, 6);
    c.num("payload", wire(f.payload, 1000));
    c.arr("position", com, 3);
}

bool add_tool(Arm &arm, const std::string &name, const ToolFrame &f) {
    if (!valid_name(name) || arm.tools.count(name) || static_cast<int>(arm.tools.size()) >= kMaxFrames) return false;
    arm.tools[name] = f;
    arm.tool_order.push_back(name);
    return true;
}

bool add_work(Arm &arm, const std::string &name, const double pose[6]) {
    if (!valid_name(name) || arm.works.count(name) || static_cast<int>(arm.works.size()) >= kMaxFrames) return false;
    std::copy(pose, pose + 6, arm.works[name].begin());
    arm.work_order.push_back(name);
    return true;
}

bool manual_tool(Ctx &c) {
    std::string name;
    ToolFrame f;
    if (!c.gets("tool_name", name) || !read_tool(c, f) || !c.getpose(c.item("tool_pose"), f.pose)) return false;
    return add_tool(c.arm, name, f);
}

bool update_tool(Ctx &c) {
    std::string name;
    ToolFrame f;
    if (!c.gets("tool_name", name) || !read_tool(c, f) || !c.getpose(c.item("tool_pose"), f.pose)) return false;
    if (name == "Arm_Tip" || !c.arm.tools.count(name) || (name == c.arm.tool_name && c.arm.busy())) return false;
    c.arm.tools[name] = f;
    c.arm.refresh_kinematics();
    return true;
}

bool auto_tool_point(Ctx &c) {
    int n = 0;
    if (!c.geti("point_num", n) || n < 1 || n > 6 || c.arm.busy()) return false;
    c.arm.tool_points[n] = c.arm.flange_world();
    return true;
}

// The tool tip stays at one point P of the world while the flange takes the taught poses
// (R_i, p_i): R_i t + p_i = P for the tool offset t. Solved by least squares over all points.
bool generate_tool(Ctx &c) {
    std::string name;
    ToolFrame f;
    if (!c.gets("tool_name", name) || !read_tool(c, f) || c.arm.tool_points.size() < 3) return false;
    const int n = static_cast<int>(c.arm.tool_points.size());
    Eigen::MatrixXd a(3 * n, 6);
    Eigen::VectorXd b(3 * n);
    int k = 0;
    for (const auto &[num, t] : c.arm.tool_points) {
        a.block<3, 3>(3 * k, 0) = t.linear();
        a.block<3, 3>(3 * k, 3) = -Eigen::Matrix3d::Identity();
        b.segment<3>(3 * k) = -t.translation();
        ++k;
    }
    const Eigen::JacobiSVD<Eigen::MatrixXd> svd(a, Eigen::ComputeThinU | Eigen::ComputeThinV);
    const auto &sv = svd.singularValues();
    if (sv(sv.size() - 1) < 1e-3 * sv(0)) return false;  // orientations too alike
    const Eigen::VectorXd x = svd.solve(b);
    if ((a * x - b).norm() / std::sqrt(static_cast<double>(n)) > 0.002) return false;  // the tip moved
    f.pose[0] = x(0);
    f.pose[1] = x(1);
    f.pose[2] = x(2);
    f.pose[3] = f.pose[4] = f.pose[5] = 0;
    return add_tool(c.arm, name, f);
}

// Points 1 to 3 record the tool position (origin, a point on +X, a point in the XY plane on the
// +Y side); point 4 builds the frame from them under the given name.
bool auto_work(Ctx &c) {
    int n = 0;
    std::string name;
    if (!c.gets("frame_name", name) || !c.geti("point_num", n) || n < 1 || n > 4) return false;
    if (n <= 3) {
        if (c.arm.busy()) return false;
        c.arm.work_points[n] = c.arm.tool_world().translation();
        return true;
    }
    auto &p = c.arm.work_points;
    if (!p.count(1) || !p.count(2) || !p.count(3)) return false;
    const Eigen::Vector3d x = p[2] - p[1], v = p[3] - p[1];
    const Eigen::Vector3d z = x.cross(v);
    if (x.norm() < 1e-3 || z.norm() < 1e-6 * x.norm() * v.norm() || v.norm() < 1e-3) return false;
    Eigen::Isometry3d t = Eigen::Isometry3d::Identity();
    t.linear().col(0) = x.normalized();
    t.linear().col(2) = z.normalized();
    t.linear().col(1) = t.linear().col(2).cross(t.linear().col(0));
    t.translation() = p[1];
    double pose[6];
    transform_to_pose(t, pose);
    return add_work(c.arm, name, pose);
}

bool manual_work(Ctx &c) {
    std::string name;
    double pose[6];
    if (!c.gets("frame_name", name) || !c.getpose(c.item("frame_pose"), pose)) return false;
    return add_work(c.arm, name, pose);
}

bool update_work(Ctx &c) {
    std::string name;
    double pose[6];
    if (!c.gets("frame_name", name) || !c.getpose(c.item("frame_pose"), pose)) return false;
    if (name == "World" || !c.arm.works.count(name) || (name == c.arm.work_name && c.arm.busy())) return false;
    std::copy(pose, pose + 6, c.arm.works[name].begin());
    c.arm.refresh_kinematics();
    return true;
}

void names(Ctx &c, const char *key, const std::vector<std::string> &order) {
    cJSON *a = cJSON_AddArrayToObject(c.reply, key);
    for (const auto &n : order) cJSON_AddItemToArray(a, cJSON_CreateString(n.c_str()));
}
bool total_tool(Ctx &c) { return names(c, "tool_names", c.arm.tool_order), true; }
bool total_work(Ctx &c) { return names(c, "frame_names", c.arm.work_order), true; }

// An unknown frame is answered under the request's own name with "get_state" false.
bool given_tool(Ctx &c) {
    std::string name;
    if (!c.gets("tool_name", name) || !c.arm.tools.count(name)) {
        c.rename("get_tool_frame");
        c.boolean("get_state", false);
        return false;
    }
    write_tool(c, name, c.arm.tools[name]);
    return true;
}

void write_work(Ctx &c, const std::string &name) {
    int p[6];
    pose_wire(c.arm.works[name].data(), p);
    c.str("frame_name", name);
    c.arr("pose", p, 6);
}

bool given_work(Ctx &c) {
    std::string name;
    if (!c.gets("frame_name", name) || !c.arm.works.count(name)) {
        c.rename("get_work_frame");
        c.boolean("get_state", false);
        return false;
    }
    write_work(c, name);
    return true;
}

bool current_tool(Ctx &c) { return write_tool(c, c.arm.tool_name, c.arm.tools[c.arm.tool_name]), true; }
bool current_work(Ctx &c) { return write_work(c, c.arm.work_name), true; }

bool change_tool(Ctx &c) {
    std::string name;
    if (!c.gets("tool_name", name) || !c.arm.tools.count(name) || c.arm.busy()) return false;
    c.arm.tool_name = name;
    c.arm.refresh_kinematics();
    return true;
}

bool change_work(Ctx &c) {
    std::string name;
    if (!c.gets("frame_name", name) || !c.arm.works.count(name) || c.arm.busy()) return false;
    c.arm.work_name = name;
    c.arm.refresh_kinematics();
    return true;
}

bool delete_tool(Ctx &c) {
    std::string name;
    if (!c.gets("tool_name", name) || !c.arm.tools.count(name) || name == c.arm.tool_name || name == "Arm_Tip")
        return false;
    c.arm.tools.erase(name);
    c.arm.envelopes.erase(name);
    std::erase(c.arm.tool_order, name);
    return true;
}

bool delete_work(Ctx &c) {
    std::string name;
    if (!c.gets("frame_name", name) || !c.arm.works.count(name) || name == c.arm.work_name || name == "World")
        return false;
    c.arm.works.erase(name);
    std::erase(c.arm.work_order, name);
    return true;
}

bool set_envelope(Ctx &c) {
    std::string tool;
    const cJSON *list = c.item("list");
    if (!c.gets("tool_name", tool) || !c.arm.tools.count(tool) || !cJSON_IsArray(list) ||
        cJSON_GetArraySize(list) > kMaxBalls)
        return false;
    std::vector<EnvelopeBall> balls;
    const cJSON *e = nullptr;
    cJSON_ArrayForEach(e, list) {
        const cJSON *name = cJSON_GetObjectItemCaseSensitive(e, "name");
        EnvelopeBall b;
        if (!cJSON_IsString(name) || !valid_name(name->valuestring)) return false;
        b.name = name->valuestring;
        int *fields[] = {&b.radius, &b.x, &b.y, &b.z};
        const char *keys[] = {"radius", "x", "y", "z"};
        for (int i = 0; i < 4; ++i) {
            const cJSON *v = cJSON_GetObjectItemCaseSensitive(e, keys[i]);
            if (!cJSON_IsNumber(v) || std::fabs(v->valuedouble) > 1e9) return false;
            *fields[i] = static_cast<int>(v->valuedouble);
        }
        if (b.radius <= 0) return false;
        balls.push_back(b);
    }
    c.arm.envelopes[tool] = balls;
    return true;
}

bool get_envelope(Ctx &c) {
    std::string tool;
    if (!c.gets("tool_name", tool) || !c.arm.tools.count(tool)) {
        c.boolean("get_state", false);
        return false;
    }
    c.str("tool_name", tool);
    cJSON *list = cJSON_AddArrayToObject(c.reply, "list");
    for (const auto &b : c.arm.envelopes[tool]) {
        cJSON *o = cJSON_CreateObject();
        cJSON_AddStringToObject(o, "name", b.name.c_str());
        cJSON_AddNumberToObject(o, "radius", b.radius);
        cJSON_AddNumberToObject(o, "x", b.x);
        cJSON_AddNumberToObject(o, "y", b.y);
        cJSON_AddNumberToObject(o, "z", b.z);
        cJSON_AddItemToArray(list, o);
    }
    return true;
}

}  // namespace

std::span<const Command> frames_commands() {
    static const Command rows[] = {
        {"set_auto_tool_frame", "set_auto_tool_frame", "auto_tool_frame", auto_tool_point},
        {"generate_auto_tool_frame", "set_auto_tool_frame", "auto_tool_frame", generate_tool},
        {"set_manual_tool_frame", "set_manual_tool_frame", "manual_tool_frame", manual_tool},
        {"update_tool_frame", "update_tool_frame", "update_state", update_tool},
        {"set_tool_envelope", "set_tool_envelope", "set_state", set_envelope},
        {"get_tool_envelope", "get_tool_envelope", nullptr, get_envelope},
        {"set_auto_work_frame", "set_auto_work_frame", "auto_work_frame", auto_work},
        {"set_manual_work_frame", "set_manual_work_frame", "manual_work_frame", manual_work},
        {"update_work_frame", "update_work_frame", "update_state", update_work},
        {"get_total_tool_frame", "total_tool_frame", nullptr, total_tool},
        {"get_total_work_frame", "total_work_frame", nullptr, total_work},
        {"get_tool_frame", "given_tool_frame", nullptr, given_tool},
        {"get_work_frame", "given_work_frame", nullptr, given_work},
        {"get_current_tool_frame", "current_tool_frame", nullptr, current_tool},
        {"get_current_work_frame", "current_work_frame", nullptr, current_work},
        {"set_change_tool_frame", "set_change_tool_frame", "change_tool_frame", change_tool},
        {"set_delete_tool_frame", "set_delete_tool_frame", "delete_tool_frame", delete_tool},
        {"set_change_work_frame", "set_change_work_frame", "change_work_frame", change_work},
        {"set_delete_work_frame", "set_delete_work_frame", "delete_work_frame", delete_work},
    };
    return rows;
}

}  // namespace ky::sim
