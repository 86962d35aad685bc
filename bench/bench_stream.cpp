// Cost of one streamed set-point (ky_movej_canfd) against a loopback peer that drains the
// socket, beside a raw send() of the same bytes on a plain TCP socket to the same peer, in
// the same run; the cost of the per-call scope every exported function opens; and the
// timing jitter of a 1 kHz stream of set-points over 10 s, library against raw send().
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/loopback.h"
#include "core/fifo.h"
#include "core/registry.h"
#include "ky_api.h"

namespace {

using Clock = std::chrono::steady_clock;

// The controller's side: answers the connection-time queries, drains everything else.
kybench::TablePeer &peer() {
    static kybench::TablePeer p(kybench::identity_replies("[180000,180000,180000,180000,180000,180000]"));
    return p;
}

const float kJoints[6] = {10.5f, -20.25f, 30.0f, -40.125f, 50.0f, -60.0f};
// The bytes ky_movej_canfd sends for kJoints, follow false, expand 0.
const std::string kLine = std::string(R"({"command":"movej_canfd","joint":[10500,-20250,30000,-40125,50000,-60000],)"
                                      R"("follow":false,"expand":0})") +
                          std::string("\r\n\0", 3);

// A plain TCP socket to the peer. It first runs the same request-reply exchanges as a
// robot's connection (the connection-time queries): the peer's acknowledgement timing
// depends on whether the connection has been interactive, and the two connections compared
// must start from the same state. TCP_NODELAY as on the library's socket.
int raw_socket() {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(static_cast<uint16_t>(peer().port()));
    if (::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0) {
        ::close(fd);
        return -1;
    }
    char buf[4096];
    for (const auto &[command, reply] : kybench::identity_replies("[0,0,0,0,0,0]")) {
        const std::string request = "{\"command\":\"" + command + "\"}\r\n" + std::string(1, '\0');
        ::send(fd, request.data(), request.size(), MSG_NOSIGNAL);
        std::string got;
        while (got.find("\r\n") == std::string::npos) {
            ssize_t n = ::recv(fd, buf, sizeof buf, 0);
            if (n <= 0) break;
            got.append(buf, static_cast<size_t>(n));
        }
    }
    return fd;
}

// A library in mode 1 with one robot connected to the peer, for the length of a benchmark.
struct Connected {
    ky_robot_handle *robot = nullptr;
    Connected() {
        ky_init(1);
        robot = ky_create_robot_arm("127.0.0.1", peer().port());
        if (robot != nullptr && robot->id < 1) robot = nullptr;
    }
    ~Connected() { ky_destory(); }
};

struct Figures {
    double median = 0, p99 = 0;
};
std::map<std::string, Figures> g_figures;

Figures summarise(std::vector<double> &v) {
    std::sort(v.begin(), v.end());
    return {v[v.size() / 2], v[std::min(v.size() - 1, v.size() * 99 / 100)]};
}


// ------------------------------------------------------------------ cost per call
// Each iteration times one raw send() of the line on a plain socket and one ky_movej_canfd
// call, in alternating order, so both see the same machine state however the load
// changes. The run is cut into rounds; the ratios reported are the median over the rounds
// of each round's library / raw ratio (of the medians, and of the p99s).
//
// The library sets TCP_NODELAY on its socket at connect, so the raw socket gets it too:
// every send carries its segment on both connections and the ratio shows the library's own
// cost. (With Nagle's algorithm on the raw socket, most of its sends would only queue bytes
// and its tail would depend on loopback acknowledgement timing, not on the code.)
constexpr int kRounds = 5;
constexpr int kPerRound = 100000;
struct Ratios {
    std::vector<double> median, p99;
};
Ratios g_ratios;

void BM_MovejCanfdBesideRawSend(benchmark::State &state) {
    int fd = raw_socket();
    Connected arm;
    if (fd < 0 || arm.robot == nullptr) {
        if (fd >= 0) ::close(fd);
        state.SkipWithError("no connection");
        return;
    }
    std::vector<double> raw, lib;
    raw.reserve(static_cast<size_t>(state.max_iterations));
    lib.reserve(static_cast<size_t>(state.max_iterations));
    bool raw_first = true;
    for (auto _ : state) {
        ssize_t n = 0;
        int r = 0;
        auto time_raw = [&] {
            auto t0 = Clock::now();
            n = ::send(fd, kLine.data(), kLine.size(), MSG_NOSIGNAL);
            raw.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
        };
        auto time_lib = [&] {
            auto t0 = Clock::now();
            r = ky_movej_canfd(arm.robot, kJoints, false, 0.0f);
            lib.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
        };
        if (raw_first) {
            time_raw();
            time_lib();
        } else {
            time_lib();
            time_raw();
        }
        raw_first = !raw_first;
        if (n != static_cast<ssize_t>(kLine.size()) || r != 0) {
            state.SkipWithError("send failed");
            break;
        }
    }
    ::close(fd);
    if (raw.size() < static_cast<size_t>(kRounds * kPerRound)) return;
    Ratios &ratios = g_ratios;
    for (int k = 0; k < kRounds; ++k) {
        auto slice = [k](const std::vector<double> &v) {
            return std::vector<double>(v.begin() + k * kPerRound, v.begin() + (k + 1) * kPerRound);
        };
        std::vector<double> rr = slice(raw), lr = slice(lib);
        const Figures fr = summarise(rr), fl = summarise(lr);
        ratios.median.push_back(fl.median / fr.median);
        ratios.p99.push_back(fl.p99 / fr.p99);
    }
    const Figures fr = g_figures["raw"] = summarise(raw);
    const Figures fl = g_figures["library"] = summarise(lib);
    state.counters["lib_median_us"] = fl.median;
    state.counters["lib_p99_us"] = fl.p99;
    state.counters["raw_median_us"] = fr.median;
    state.counters["raw_p99_us"] = fr.p99;
}

// The scope every exported function opens first (a thread-local depth and one atomic load).
void BM_CallScope(benchmark::State &state) {
    for (auto _ : state) {
        ky::CallScope scope;
        benchmark::ClobberMemory();
    }
}

// ------------------------------------------------------------------ 1 kHz stream
std::vector<double> g_jitter_library, g_jitter_raw;

// Calls `send` every millisecond for `seconds` (absolute deadlines) and returns, for each
// call after the first, |interval since the previous call - 1 ms| in microseconds.
std::vector<double> stream_1khz(int seconds, const std::function<bool()> &send) {
    const int calls = seconds * 1000;
    std::vector<Clock::time_point> at;
    at.reserve(static_cast<size_t>(calls));
    timespec next{};
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (int i = 0; i < calls; ++i) {
        next.tv_nsec += 1000000;
        if (next.tv_nsec >= 1000000000) {
            next.tv_nsec -= 1000000000;
            ++next.tv_sec;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
        at.push_back(Clock::now());
        if (!send()) return {};
    }
    std::vector<double> jitter;
    for (size_t i = 1; i < at.size(); ++i) {
        const double interval = std::chrono::duration<double, std::micro>(at[i] - at[i - 1]).count();
        jitter.push_back(std::abs(interval - 1000.0));
    }
    return jitter;
}

void BM_Stream1kHzRaw(benchmark::State &state) {
    int fd = raw_socket();
    for (auto _ : state) {
        g_jitter_raw = stream_1khz(10, [fd] {
            return ::send(fd, kLine.data(), kLine.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(kLine.size());
        });
    }
    if (fd >= 0) ::close(fd);
    if (g_jitter_raw.empty()) state.SkipWithError("send failed");
}

void BM_Stream1kHzLibrary(benchmark::State &state) {
    Connected arm;
    if (arm.robot == nullptr) {
        state.SkipWithError("robot did not connect");
        return;
    }
    for (auto _ : state) {
        g_jitter_library = stream_1khz(10, [&] { return ky_movej_canfd(arm.robot, kJoints, false, 0.0f) == 0; });
    }
    if (g_jitter_library.empty()) state.SkipWithError("ky_movej_canfd failed");
}

BENCHMARK(BM_MovejCanfdBesideRawSend)->Iterations(kRounds * kPerRound)->UseRealTime();
BENCHMARK(BM_CallScope);
BENCHMARK(BM_Stream1kHzRaw)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Stream1kHzLibrary)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (!g_ratios.median.empty()) {
        const Figures lib = g_figures["library"], raw = g_figures["raw"];
        std::printf("\nky_movej_canfd per call: median %.2f us (raw send %.2f us), p99 %.2f us (raw send %.2f us); "
                    "median over %d rounds of the ratios: median %.2f (goal <= 1.5), p99 %.2f (goal <= 2)\n",
                    lib.median, raw.median, lib.p99, raw.p99, kRounds, summarise(g_ratios.median).median,
                    summarise(g_ratios.p99).median);
    }
    if (!g_jitter_library.empty() && !g_jitter_raw.empty()) {
        const Figures lib = summarise(g_jitter_library), raw = summarise(g_jitter_raw);
        std::printf("1 kHz stream for 10 s, |interval - 1 ms|: library median %.1f us, p99 %.1f us, max %.1f us; "
                    "raw send median %.1f us, p99 %.1f us, max %.1f us\n",
                    lib.median, lib.p99, g_jitter_library.back(), raw.median, raw.p99, g_jitter_raw.back());
    }
    return 0;
}
