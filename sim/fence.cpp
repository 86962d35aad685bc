// Geometry of the simulated safety volumes (see fence.h).
#include "sim/fence.h"

namespace ky::sim {

namespace {

double metres(const FenceShape &s, const char *key) {
    auto it = s.keys.find(key);
    return it == s.keys.end() ? 0.0 : it->second / 1000.0;
}

Eigen::Vector3d point(const FenceShape &s, const char *x, const char *y, const char *z) {
    return {metres(s, x), metres(s, y), metres(s, z)};
}

bool side_allows(const FenceShape &s, const FenceEnable &e, const Eigen::Vector3d &p) {
    if (!e.enable || s.form == 0) return true;
    return s.contains(p) == (e.in_out_side == 0);
}

}  // namespace

const std::vector<const char *> &fence_keys(int form) {
    static const std::vector<const char *> cube = {"x_max_limit", "x_min_limit", "y_max_limit",
                                                   "y_min_limit", "z_max_limit", "z_min_limit"};
    static const std::vector<const char *> plane = {"x1", "y1", "z1", "x2", "y2", "z2", "x3", "y3", "z3"};
    static const std::vector<const char *> sphere = {"radius", "x", "y", "z"};
    static const std::vector<const char *> none;
    switch (form) {
    case 1: return cube;
    case 2: return plane;
    case 3: return sphere;
    default: return none;
    }
}

bool FenceShape::contains(const Eigen::Vector3d &p) const {
    switch (form) {
    case 1: {
        const Eigen::Vector3d lo = point(*this, "x_min_limit", "y_min_limit", "z_min_limit");
        const Eigen::Vector3d hi = point(*this, "x_max_limit", "y_max_limit", "z_max_limit");
        return (p.array() >= lo.array()).all() && (p.array() <= hi.array()).all();
    }
    case 2: {
        const Eigen::Vector3d p1 = point(*this, "x1", "y1", "z1");
        const Eigen::Vector3d n = (point(*this, "x2", "y2", "z2") - p1).cross(point(*this, "x3", "y3", "z3") - p1);
        return n.dot(p - p1) >= 0.0;
    }
    case 3: return (p - point(*this, "x", "y", "z")).norm() <= metres(*this, "radius");
    default: return false;
    }
}

bool FenceState::allows(const Eigen::Vector3d &p) const {
    return side_allows(in_force, fence_enable, p) && side_allows(wall, wall_enable, p);
}

}  // namespace ky::sim
