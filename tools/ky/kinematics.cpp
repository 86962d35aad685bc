// ky fk / ky ik: the library's own kinematics for any arm model, offline (no controller).
#include <cstdio>
#include <string>

#include "tools/ky/ky.h"

namespace kycli {

namespace {

struct Model {
    const char *name;
    uint32_t type;
};
constexpr Model models[] = {
    {"KY6A", 0}, {"KY7A", 1}, {"KYL6C", 3}, {"KYL6C3", 4}, {"LUX6A", 5}, {"LUX6B", 6}, {"NOV7B", 7}, {"LUX6C", 8},
};

/** Selects the model in the algorithm state; its joint count, or 0 (message printed). */
std::size_t select(const std::string &name, int sensor) {
    for (const Model &m : models) {
        if (name != m.name) continue;
        if (ky_algo_init_sys_data(m.type, static_cast<uint32_t>(sensor)) != 0) {
            std::fprintf(stderr, "ky: ky_algo_init_sys_data: model %s does not take force sensor %d\n", m.name, sensor);
            return 0;
        }
        return static_cast<std::size_t>(libalgo_get_rbt_dof());
    }
    std::string known;
    for (const Model &m : models) {
        known += known.empty() ? "" : ", ";
        known += m.name;
    }
    std::fprintf(stderr, "ky: unknown model %s (known: %s)\n", name.c_str(), known.c_str());
    return 0;
}

bool count_ok(const char *what, std::size_t given, std::size_t dof) {
    if (given == dof) return true;
    std::fprintf(stderr, "ky: %s: the model has %zu joints, %zu values were given\n", what, dof, given);
    return false;
}

}  // namespace

int run_fk(const std::string &model, int sensor, const std::vector<float> &joints, bool json) {
    const std::size_t dof = select(model, sensor);
    if (dof == 0 || !count_ok("fk", joints.size(), dof)) return usage;
    float q[7] = {};
    std::copy(joints.begin(), joints.end(), q);
    const ky_pose p = ky_algo_forward_kinematics(nullptr, q);
    if (json) {
        Json j = object();
        cJSON_AddStringToObject(j.get(), "model", model.c_str());
        cJSON_AddItemToObject(j.get(), "pose", pose_json(p));
        const float quat[4] = {p.quaternion.w, p.quaternion.x, p.quaternion.y, p.quaternion.z};
        cJSON_AddItemToObject(j.get(), "quaternion", numbers(quat, 4));
        print(j);
    } else {
        std::printf("%.6f %.6f %.6f %.6f %.6f %.6f\n", double(p.position.x), double(p.position.y), double(p.position.z),
                    double(p.euler.rx), double(p.euler.ry), double(p.euler.rz));
    }
    return ok;
}

int run_ik(const std::string &model, int sensor, const std::vector<float> &pose, const std::vector<float> &near,
           bool json) {
    const std::size_t dof = select(model, sensor);
    if (dof == 0) return usage;
    if (!near.empty() && !count_ok("ik --near", near.size(), dof)) return usage;
    ky_inverse_kinematics_params params{};
    std::copy(near.begin(), near.end(), params.current_joints);
    params.target_pose = ky::make_pose(pose[0], pose[1], pose[2], pose[3], pose[4], pose[5]);
    params.flag = 1;  // orientation from the Euler angles
    float q[7] = {};
    const int rc = ky_algo_inverse_kinematics(nullptr, &params, q);
    if (rc == 1) {
        std::fputs("ky: ky_algo_inverse_kinematics: no acceptable solution (unreachable or outside a joint limit)\n", stderr);
        return no_solution;
    }
    if (rc != 0) {
        std::fprintf(stderr, "ky: ky_algo_inverse_kinematics: %s\n",
                     rc == -1 ? "the --near joints are outside the joint limits" : "invalid orientation");
        return handle;
    }
    if (json) {
        Json j = object();
        cJSON_AddStringToObject(j.get(), "model", model.c_str());
        cJSON_AddItemToObject(j.get(), "joint", numbers(q, dof));
        print(j);
    } else {
        std::string s;
        char buf[32];
        for (std::size_t i = 0; i < dof; ++i) {
            std::snprintf(buf, sizeof buf, "%s%.4f", i ? " " : "", double(q[i]));
            s += buf;
        }
        std::printf("%s\n", s.c_str());
    }
    return ok;
}

}  // namespace kycli
