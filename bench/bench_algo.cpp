// Kinematics against orocos KDL on the same chains, targets and seeds.
//
// Google Benchmark runs forward kinematics and near-seeded inverse kinematics of each model
// (ours vs KDL). Afterwards a summary over fixed sample sets prints per model: forward
// kinematics time per call; inverse kinematics median and p99 time per solve and success
// rate for two seedings, near (current joints a small perturbation of the true ones) and
// far (every seed at the middle of the joint limits; 7-joint models with traversal on).
// Success: result 0 and the forward pose of the result within 1e-4 m and 1e-3 rad.
//
// Sample counts: KY_BENCH_SAMPLES (default 100000) for our solvers and forward kinematics,
// KY_BENCH_KDL_SAMPLES (default 2000) for KDL's iterative solvers, which take up to
// milliseconds per failing solve. KY_BENCH_SUMMARY=0 skips the summary.
#include <benchmark/benchmark.h>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainiksolverpos_lma.hpp>
#include <kdl/chainiksolverpos_nr_jl.hpp>
#include <kdl/chainiksolvervel_pinv.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "algo/kdl_support.h"
#include "algo/kinematics.h"
#include "algo/state.h"

using namespace ky::algo;
using Clock = std::chrono::steady_clock;

namespace {

struct Model {
    uint32_t type;
    const char *name;
    int dof;
};
const Model kModels[] = {{0, "KY6A", 6},  {3, "KYL6C-2", 6}, {4, "KYL6C-3", 6}, {5, "LUX6A", 6},
                         {6, "LUX6B", 6}, {8, "LUX6C", 6},   {1, "KY7A", 7},    {7, "NOV7B", 7}};

int env_int(const char *name, int def) {
    const char *v = std::getenv(name);
    return v ? std::max(1, std::atoi(v)) : def;
}

struct Sample {
    float q[kMaxJoints];     // true joints
    float near[kMaxJoints];  // perturbed current joints
    ky_pose pose;            // flange pose (identity tool and installation)
    KDL::Frame frame;
};

struct Setup {
    State s{};
    int dof = 0;
    KDL::Chain chain;
    KDL::JntArray qmin, qmax, mid;
    float mid_f[kMaxJoints] = {};
    std::vector<Sample> samples;

    Setup(const Model &m, int count) {
        select_model(s, m.type, 0);
        dof = m.dof;
        chain = kytest::kdl_chain(s, dof);
        qmin.resize(dof);
        qmax.resize(dof);
        mid.resize(dof);
        for (int i = 0; i < dof; ++i) {
            qmin(i) = s.joint_config[i][kCfgMinPos] + s.dh.offset[i];
            qmax(i) = s.joint_config[i][kCfgMaxPos] + s.dh.offset[i];
            mid_f[i] = 0.5f * (s.joint_config[i][kCfgMinPos] + s.joint_config[i][kCfgMaxPos]);
            mid(i) = mid_f[i] + s.dh.offset[i];
        }
        std::mt19937 rng(1234 + m.type);
        std::normal_distribution<float> jitter(0.0f, 0.02f);
        KDL::ChainFkSolverPos_recursive fk(chain);
        samples.resize(count);
        for (auto &smp : samples) {
            kytest::random_joints(s, dof, rng, smp.q, 0.05f);
            for (int i = 0; i < dof; ++i) smp.near[i] = smp.q[i] + jitter(rng);
            smp.pose = fk_world(s, smp.q);
            fk.JntToCart(kytest::kdl_joints(s, dof, smp.q), smp.frame);
        }
    }
};

bool reached(const KDL::Frame &got, const KDL::Frame &want) {
    double dp, dr;
    kytest::frame_error(got, want, dp, dr);
    return dp < 1e-4 && dr < 1e-3;
}

struct Stats {
    double median_us = 0, p99_us = 0, success = 0;
    int limit_misses = 0;  // ours: result -2, the nearest configuration just beyond a limit
    int other_misses = 0;
};

Stats summarise(std::vector<double> &times_us, int ok) {
    Stats st;
    if (times_us.empty()) return st;
    std::sort(times_us.begin(), times_us.end());
    st.median_us = times_us[times_us.size() / 2];
    st.p99_us = times_us[std::min(times_us.size() - 1, times_us.size() * 99 / 100)];
    st.success = 100.0 * ok / static_cast<double>(times_us.size());
    return st;
}

Stats run_ours(Setup &su, bool far, int count) {
    State s = su.s;
    if (far && su.dof == 7) {
        s.search_strategy = 0;
        s.solution_range = 3.14f;
    }
    KDL::ChainFkSolverPos_recursive fk(su.chain);
    std::vector<double> t;
    t.reserve(count);
    int ok = 0, limit_misses = 0;
    for (int n = 0; n < count; ++n) {
        const Sample &smp = su.samples[n % su.samples.size()];
        float out[kMaxJoints];
        const float *seed = far ? su.mid_f : smp.near;
        const auto t0 = Clock::now();
        const int rc = inverse_kinematics(s, seed, smp.pose, false, out);
        const auto t1 = Clock::now();
        t.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
        if (rc == -2) ++limit_misses;
        if (rc != 0) continue;
        KDL::Frame got;
        fk.JntToCart(kytest::kdl_joints(s, su.dof, out), got);
        if (reached(got, smp.frame)) ++ok;
    }
    Stats st = summarise(t, ok);
    st.limit_misses = limit_misses;
    st.other_misses = count - ok - limit_misses;
    return st;
}

template <class Solver>
Stats run_kdl(Setup &su, Solver &solver, bool far, int count) {
    KDL::ChainFkSolverPos_recursive fk(su.chain);
    std::vector<double> t;
    t.reserve(count);
    int ok = 0;
    KDL::JntArray out(su.dof);
    for (int n = 0; n < count; ++n) {
        const Sample &smp = su.samples[n % su.samples.size()];
        const KDL::JntArray seed = far ? su.mid : kytest::kdl_joints(su.s, su.dof, smp.near);
        const auto t0 = Clock::now();
        const int rc = solver.CartToJnt(seed, smp.frame, out);
        const auto t1 = Clock::now();
        t.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
        if (rc < 0) continue;
        KDL::Frame got;
        fk.JntToCart(out, got);
        if (reached(got, smp.frame)) ++ok;
    }
    return summarise(t, ok);
}

std::vector<std::unique_ptr<Setup>> &setups() {
    static std::vector<std::unique_ptr<Setup>> v;
    return v;
}

// Both forward benchmarks cycle over the same 1000 joint vectors, held compactly.
void BM_FkOurs(benchmark::State &st) {
    Setup &su = *setups()[st.range(0)];
    struct Q {
        float q[kMaxJoints];
    };
    std::vector<Q> qs(1000);
    for (size_t k = 0; k < qs.size(); ++k) std::copy(su.samples[k].q, su.samples[k].q + kMaxJoints, qs[k].q);
    size_t i = 0;
    for (auto _ : st) {
        benchmark::DoNotOptimize(fk_flange(su.s, qs[i].q));
        if (++i == qs.size()) i = 0;
    }
}

void BM_FkKdl(benchmark::State &st) {
    Setup &su = *setups()[st.range(0)];
    KDL::ChainFkSolverPos_recursive fk(su.chain);
    std::vector<KDL::JntArray> qs;
    for (size_t k = 0; k < 1000; ++k) qs.push_back(kytest::kdl_joints(su.s, su.dof, su.samples[k].q));
    KDL::Frame f;
    size_t i = 0;
    for (auto _ : st) {
        fk.JntToCart(qs[i], f);
        benchmark::DoNotOptimize(f);
        if (++i == qs.size()) i = 0;
    }
}

void BM_IkOursNear(benchmark::State &st) {
    Setup &su = *setups()[st.range(0)];
    State s = su.s;
    size_t i = 0;
    float out[kMaxJoints];
    for (auto _ : st) {
        const Sample &smp = su.samples[i];
        benchmark::DoNotOptimize(inverse_kinematics(s, smp.near, smp.pose, false, out));
        if (++i == su.samples.size()) i = 0;
    }
}

void BM_IkKdlLmaNear(benchmark::State &st) {
    Setup &su = *setups()[st.range(0)];
    KDL::ChainIkSolverPos_LMA lma(su.chain);
    KDL::JntArray out(su.dof);
    size_t i = 0;
    for (auto _ : st) {
        const Sample &smp = su.samples[i];
        benchmark::DoNotOptimize(lma.CartToJnt(kytest::kdl_joints(su.s, su.dof, smp.near), smp.frame, out));
        if (++i == 1000) i = 0;
    }
}

// Forward kinematics per call over the first 1000 samples, cycled `count` times in total.
double fk_ns(Setup &su, bool ours, int count) {
    KDL::ChainFkSolverPos_recursive fk(su.chain);
    const size_t m = std::min<size_t>(1000, su.samples.size());
    std::vector<KDL::JntArray> kq;
    std::vector<std::array<float, kMaxJoints>> oq(m);
    for (size_t k = 0; k < m; ++k) {
        kq.push_back(kytest::kdl_joints(su.s, su.dof, su.samples[k].q));
        std::copy(su.samples[k].q, su.samples[k].q + kMaxJoints, oq[k].begin());
    }
    float sink = 0;
    KDL::Frame f;
    const auto t0 = Clock::now();
    for (int n = 0; n < count; ++n) {
        const size_t k = n % m;
        if (ours) {
            sink += fk_flange(su.s, oq[k].data()).data[0][3];
        } else {
            fk.JntToCart(kq[k], f);
            sink += static_cast<float>(f.p.x());
        }
    }
    const auto t1 = Clock::now();
    benchmark::DoNotOptimize(sink);
    return std::chrono::duration<double, std::nano>(t1 - t0).count() / count;
}

void summary(int count, int kdl_count) {
    std::printf("\nSummary: %d samples per model for ours and forward kinematics, %d for KDL's "
                "inverse solvers. Times per call/solve.\n\n",
                count, kdl_count);
    std::printf("| Model | FK ours | FK KDL | FK x | seeding | IK ours median / p99 | ok | misses -2 / other | "
                "KDL LMA median / p99 | ok | KDL NR_JL median / p99 | ok | vs LMA x |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (size_t m = 0; m < setups().size(); ++m) {
        Setup &su = *setups()[m];
        const double ours_fk = fk_ns(su, true, count), kdl_fk = fk_ns(su, false, count);
        for (bool far : {false, true}) {
            const Stats o = run_ours(su, far, count);
            KDL::ChainIkSolverPos_LMA lma(su.chain);
            KDL::ChainFkSolverPos_recursive fk(su.chain);
            KDL::ChainIkSolverVel_pinv vel(su.chain);
            KDL::ChainIkSolverPos_NR_JL nrjl(su.chain, su.qmin, su.qmax, fk, vel);
            const Stats l = run_kdl(su, lma, far, kdl_count);
            const Stats r = run_kdl(su, nrjl, far, kdl_count);
            std::printf("| %s | %.0f ns | %.0f ns | %.1f | %s | %.2f / %.2f us | %.3f %% | %d / %d | "
                        "%.1f / %.1f us | %.2f %% | %.1f / %.1f us | %.2f %% | %.0f |\n",
                        kModels[m].name, ours_fk, kdl_fk, kdl_fk / ours_fk,
                        far ? (su.dof == 7 ? "far (traversal)" : "far") : "near", o.median_us,
                        o.p99_us, o.success, o.limit_misses, o.other_misses, l.median_us, l.p99_us,
                        l.success, r.median_us,
                        r.p99_us, r.success, l.median_us / o.median_us);
            std::fflush(stdout);
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    const int count = env_int("KY_BENCH_SAMPLES", 100000);
    const int kdl_count = env_int("KY_BENCH_KDL_SAMPLES", 2000);
    for (const auto &m : kModels) setups().push_back(std::make_unique<Setup>(m, count));
    for (size_t m = 0; m < setups().size(); ++m) {
        const std::string n = kModels[m].name;
        benchmark::RegisterBenchmark(("FK/ours/" + n).c_str(), BM_FkOurs)->Arg(m);
        benchmark::RegisterBenchmark(("FK/kdl/" + n).c_str(), BM_FkKdl)->Arg(m);
        benchmark::RegisterBenchmark(("IK_near/ours/" + n).c_str(), BM_IkOursNear)->Arg(m);
        benchmark::RegisterBenchmark(("IK_near/kdl_lma/" + n).c_str(), BM_IkKdlLmaNear)->Arg(m);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    const char *want_summary = std::getenv("KY_BENCH_SUMMARY");
    if (!want_summary || std::atoi(want_summary) != 0) summary(count, kdl_count);
    return 0;
}
