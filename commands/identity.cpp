// Arm identity: software information (model, joint count, force sensor), initial and
// installation pose, joint and tool firmware versions.
#include <cstddef>
#include <cstring>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/json.h"
#include "core/registry.h"
#include "core/units.h"

namespace {

struct ModelRow {
    const char *substring;
    int32_t model;
    int32_t dof;
};
// Tested in this order; "6C" comes before "LUX6C", so a LUX6C arm reads as model 3.
constexpr ModelRow kModels[] = {
    {"KY6A", 0, 6}, {"KY7A", 1, 7}, {"6C", 3, 6}, {"LUX6A", 5, 6},
    {"LUX6B", 6, 6}, {"NOV7B", 7, 7}, {"LUX6C", 8, 6},
};

struct ForceRow {
    const char *suffix;
    int32_t force_type;
};
constexpr ForceRow kForceTypes[] = {{"-B", 0}, {"-ZF", 1}, {"-6F", 2}};

// The text fields of the software information, in the order they are read: where each value
// stands in the reply, how many characters of it are kept, and the label of its log lines.
struct InfoField {
    const char *present_if;  // read only when this block exists (null: always)
    const char *block;       // object holding the value (null: the reply itself)
    const char *key;
    size_t offset, room, chars;
    const char *label;
};
#define KY_INFO_FIELD(member, chars) offsetof(ky_arm_software_info, member), sizeof(ky_arm_software_info::member), chars
// The planner's version and build time are read from the control information; the planner
// block only has to be present.
constexpr InfoField kInfoFields[] = {
    {nullptr, nullptr, "Product_version", KY_INFO_FIELD(product_version, 10), "Product version"},
    {nullptr, "algorithm_info", "version", KY_INFO_FIELD(algorithm_info, 20), "Algorithm version"},
    {nullptr, "ctrl_info", "version", KY_INFO_FIELD(ctrl_version, 8), "Ctrl version"},
    {nullptr, "ctrl_info", "build_time", KY_INFO_FIELD(ctrl_build_time, 20), "Ctrl build Time"},
    {"dynamic_info", "dynamic_info", "model_version", KY_INFO_FIELD(dynamic_info, 5), "Dynamic model version"},
    {"plan_info", "ctrl_info", "version", KY_INFO_FIELD(plan_version, 8), "Plan version"},
    {"plan_info", "ctrl_info", "build_time", KY_INFO_FIELD(plan_build_time, 18), "Plan build Time"},
};
#undef KY_INFO_FIELD

int parse_ky_get_arm_software_info(const char *text, ky_arm_software_info *info) {
    ky::JsonDoc doc(text);
    if (!doc) {
        ky_log_error("[ky_get_arm_software_info] Arm software info parse err\n");
        return -1;
    }
    for (const InfoField &f : kInfoFields) {
        if (f.present_if != nullptr && MIO_JSON_GetObjectItem(doc.root, f.present_if) == nullptr) continue;
        const cJSON *obj = f.block ? MIO_JSON_GetObjectItem(doc.root, f.block) : doc.root;
        const char *value = MIO_JSON_GetObjectItemString(obj, f.key);
        if (value == nullptr) {
            ky_log_error("[ky_get_arm_software_info] %s parse err\n", f.label);
            return -1;
        }
        char *field = reinterpret_cast<char *>(info) + f.offset;
        ky::copy_chars(field, f.room, value, f.chars);
        ky_log_info("[ky_get_arm_software_info] %s: %.*s\n", f.label, static_cast<int>(f.room), field);
    }
    return 0;
}

// Applies the model and force-sensor tables to a product version (cut to 10 characters).
int apply_product_version(ky_robot_handle &robot, const char product_field[10]) {
    char product[11];
    ky::copy_chars(product, sizeof product, product_field, 10);
    const ModelRow *model = nullptr;
    for (const ModelRow &row : kModels) {
        if (std::strstr(product, row.substring) != nullptr) {
            model = &row;
            break;
        }
    }
    if (model == nullptr) {
        ky_log_error("Unknown arm model: %s\n", product);
        return -1;
    }
    ky::store_field(robot.dof, model->dof);
    robot.model = model->model;
    for (const ForceRow &row : kForceTypes) {
        if (std::strstr(product, row.suffix) != nullptr) {
            robot.force_type = row.force_type;
            return 0;
        }
    }
    ky_log_error("Unknown force type: %s\n", product);
    return -1;
}

}  // namespace

extern "C" {

KY_API int ky_get_arm_software_info(ky_robot_handle *robot_handle, ky_arm_software_info *info) {
    ky::CallScope scope;
    static const char *tag = "ky_get_arm_software_info";
    ky::Req req("get_arm_software_info");
    ky::Reply reply(1024);
    int r = ky::exchange(robot_handle, tag, req, "arm_software_info", reply, ky::out_time());
    if (r < 1) return r;
    ky_arm_software_info scratch{};
    ky_arm_software_info *out = info ? info : &scratch;
    if (parse_ky_get_arm_software_info(reply.text(), out) != 0) return -1;
    int result = 0;
    if (ky::with_robot(robot_handle, nullptr, [&](ky_handle &h) {
            result = apply_product_version(h.robot, out->product_version);
        }) != 0) {
        return -1;
    }
    return result;
}

KY_API int ky_set_init_pose(ky_robot_handle *robot_handle, const float *joint) {
    ky::CallScope scope;
    static const char *tag = "ky_set_init_pose";
    int dof = 0;
    if (ky::require_dof(robot_handle, tag, &dof) != 0) return -1;
    if (joint == nullptr) return -1;
    int32_t wire[7];
    for (int i = 0; i < dof; ++i) wire[i] = ky::deg_to_wire(joint[i]);
    ky::Req req("set_init_pose");
    req.ints("init_pose", std::span<const int32_t>(wire, static_cast<size_t>(dof)));
    return ky::set_command(robot_handle, tag, std::move(req), "init_pose");
}

KY_API int ky_get_init_pose(ky_robot_handle *robot_handle, float *joint) {
    ky::CallScope scope;
    static const char *tag = "ky_get_init_pose";
    int dof = 0;
    if (ky::require_dof(robot_handle, tag, &dof) != 0) return -1;
    int32_t wire[7];
    int r = ky::get_dof_ints(robot_handle, tag, "get_init_pose", "arm_init_pose", "init_pose", wire, &dof);
    if (r != 0) return r;
    for (int i = 0; joint != nullptr && i < dof; ++i) joint[i] = ky::milli_from_wire(wire[i]);
    return 0;
}

KY_API int ky_get_install_pose(ky_robot_handle *robot_handle, float *x, float *y, float *z) {
    ky::CallScope scope;
    static const char *tag = "ky_get_install_pose";
    int32_t pose[3];
    int r = ky::get_ints(robot_handle, tag, "get_install_pose", "install_pose", "pose", 3, pose);
    if (r != 0) return r;
    if (x) *x = static_cast<float>(pose[0]);
    if (y) *y = static_cast<float>(pose[1]);
    if (z) *z = static_cast<float>(pose[2]);
    // The cached installation angles follow every read.
    ky::with_robot(robot_handle, nullptr, [&](ky_handle &h) {
        h.robot.install_x = static_cast<float>(pose[0]);
        h.robot.install_y = static_cast<float>(pose[1]);
        h.robot.install_z = static_cast<float>(pose[2]);
    });
    return 0;
}

KY_API int ky_set_install_pose(ky_robot_handle *robot_handle, float x, float y, float z) {
    ky::CallScope scope;
    static const char *tag = "ky_set_install_pose";
    ky::Req req("set_install_pose");
    req.ints("pose", {ky::trunc_i32(x), ky::trunc_i32(y), ky::trunc_i32(z)});
    int r = ky::set_command(robot_handle, tag, std::move(req), "set_state", nullptr, ky::out_time() + 100);
    if (r != 0) return r;
    float sx, sy, sz;
    return ky_get_install_pose(robot_handle, &sx, &sy, &sz);
}

KY_API int ky_get_joint_software_version(ky_robot_handle *robot_handle, int *version) {
    ky::CallScope scope;
    int32_t wire[7];
    int dof = 0;
    int r = ky::get_dof_ints(robot_handle, "ky_get_joint_software_version", "get_joint_software_version",
                             "joint_software_version", "version", wire, &dof);
    if (r != 0) return r;
    for (int i = 0; version != nullptr && i < dof; ++i) version[i] = wire[i];
    return 0;
}

KY_API int ky_get_tool_software_version(ky_robot_handle *robot_handle, int *version) {
    ky::CallScope scope;
    int32_t v = 0;
    int r = ky::get_ints(robot_handle, "ky_get_tool_software_version", "get_tool_software_version",
                         "tool_software_version", "version", 1, &v);
    if (r == 0 && version != nullptr) *version = v;
    return r;
}

}  // extern "C"
