// Builds orocos KDL chains from an algorithm state's DH rows, as an independent reference.
#pragma once
#include <kdl/chain.hpp>
#include <kdl/frames.hpp>
#include <kdl/jntarray.hpp>

#include <cmath>
#include <random>

#include "algo/state.h"
#include "ky_api.h"

namespace kytest {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
// Sample counts shrink under the sanitizers, which slow the arithmetic tenfold.
constexpr int samples(int n) { return kSanitized ? n / 10 : n; }

struct ModelCase {
    uint32_t type;
    uint32_t sensor;
    int dof;
};

// Every model with every sensor type it accepts.
inline std::vector<ModelCase> all_model_cases() {
    std::vector<ModelCase> v;
    for (uint32_t s = 0; s < 3; ++s) {
        v.push_back({0, s, 6});
        v.push_back({1, s, 7});
        v.push_back({3, s, 6});
        v.push_back({4, s, 6});
        v.push_back({5, s, 6});
        v.push_back({8, s, 6});
    }
    v.push_back({6, 0, 6});
    v.push_back({7, 0, 7});
    return v;
}

// The chains carry no theta offsets (this KDL's segments ignore a joint's offset); feed
// them joint angles with the offsets added (kdl_joints).
// KY7A lists each link's twist after its joint (standard convention); the other models
// list the twist and length of the link before the joint (modified convention).
inline KDL::Chain kdl_chain(const ky::algo::State &s, int dof) {
    const auto &dh = s.dh;
    KDL::Chain chain;
    if (s.robot_type == 1) {
        for (int i = 0; i < dof; ++i)
            chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ),
                                          KDL::Frame::DH(dh.a[i], dh.alpha[i], dh.d[i], 0.0)));
        return chain;
    }
    chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::None),
                                  KDL::Frame::DH_Craig1989(dh.a[0], dh.alpha[0], 0.0, 0.0)));
    for (int i = 0; i < dof; ++i) {
        KDL::Frame tip(KDL::Vector(0, 0, dh.d[i]));
        if (i + 1 < dof) tip = tip * KDL::Frame::DH_Craig1989(dh.a[i + 1], dh.alpha[i + 1], 0.0, 0.0);
        chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ), tip));
    }
    return chain;
}

inline KDL::JntArray kdl_joints(const ky::algo::State &s, int dof, const float q[]) {
    KDL::JntArray j(dof);
    for (int i = 0; i < dof; ++i) j(i) = static_cast<double>(q[i]) + s.dh.offset[i];
    return j;
}

inline KDL::Frame to_kdl(const ky_matrix &m) {
    return KDL::Frame(KDL::Rotation(m.data[0][0], m.data[0][1], m.data[0][2], m.data[1][0],
                                    m.data[1][1], m.data[1][2], m.data[2][0], m.data[2][1],
                                    m.data[2][2]),
                      KDL::Vector(m.data[0][3], m.data[1][3], m.data[2][3]));
}

// Position (m) and rotation (rad) distance between two frames.
inline void frame_error(const KDL::Frame &a, const KDL::Frame &b, double &pos, double &rot) {
    pos = (a.p - b.p).Norm();
    KDL::Vector axis;
    rot = std::abs((a.M.Inverse() * b.M).GetRotAngle(axis));
}

// Uniform joint vector within the state's position limits, shrunk by `margin` rad.
inline void random_joints(const ky::algo::State &s, int dof, std::mt19937 &rng, float q[],
                          float margin = 0.0f) {
    for (int i = 0; i < dof; ++i) {
        const float lo = s.joint_config[i][ky::algo::kCfgMinPos] + margin;
        const float hi = s.joint_config[i][ky::algo::kCfgMaxPos] - margin;
        q[i] = std::uniform_real_distribution<float>(lo, hi)(rng);
    }
}

}  // namespace kytest
