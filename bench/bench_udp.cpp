// UDP realtime state at a 1 ms push cycle: share of datagrams delivered to the state
// callback, and latency from send to callback (median, p99), against a baseline measured
// in the same run: a plain loopback UDP socket read by a thread blocking in recvfrom().
// A second pair compares the cost of parsing one datagram into the state record with the
// bare JSON parse it is built on.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <cjson/cJSON.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ky_api.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

int64_t now_ns() { return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count(); }

// A full 7-joint push with every optional block; the sequence number rides in the first
// joint position (thousandths of a degree).
std::string datagram(int seq) {
    return R"({"arm_current_status":"move_J","joint_status":{"joint_position":[)" + std::to_string(seq) +
           R"(,-2500,90000,0,45000,-12345,1000],"joint_current":[100,200,300,400,500,600,700],)"
           R"("joint_en_flag":[1,1,1,1,1,1,1],"joint_err_code":[0,0,0,0,0,0,0],"joint_temperature":[25000,25100,25200,25300,25400,25500,25600],)"
           R"("joint_voltage":[48000,48000,48000,48000,48000,48000,48000],"joint_speed":[1000,0,0,0,0,0,-500]},)"
           R"("six_force_sensor":{"force":[1000,2000,3000,4000,5000,6000],"zero_force":[0,0,0,0,0,0],"coordinate":0},)"
           R"("lift_state":{"pos":1000,"height":500,"current":10,"err_flag":0,"en_flag":1},)"
           R"("waypoint":{"quat":[707107,0,707107,0],"euler":[1571,-20,3142],"position":[100000,-250000,500000]},)"
           R"("arm_err":0,"sys_err":0})";
}

int free_port() {
    int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    ::bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
    socklen_t len = sizeof a;
    ::getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len);
    ::close(fd);
    return ntohs(a.sin_port);
}

struct Result {
    int sent = 0;
    int delivered = 0;
    double median_us = 0, p99_us = 0;
};

// Receive times by sequence number, written by the receiving thread.
std::vector<std::atomic<int64_t>> *g_recv = nullptr;

void record(int seq) {
    if (g_recv != nullptr && seq >= 0 && seq < static_cast<int>(g_recv->size())) (*g_recv)[seq].store(now_ns());
}

void on_state(ky_realtime_arm_joint_state s) {
    if (s.errCode == 0) record(static_cast<int>(std::lround(s.joint_position[0] * 1000.0f)));
}

// Sends `count` datagrams to 127.0.0.1:port, one per millisecond on an absolute schedule,
// then collects delivery and latency.
Result push_at_1ms(int port, int count) {
    std::vector<std::string> texts;
    texts.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) texts.push_back(datagram(i));
    std::vector<int64_t> sent(static_cast<size_t>(count));
    std::vector<std::atomic<int64_t>> recv(static_cast<size_t>(count));
    for (auto &r : recv) r.store(0);
    g_recv = &recv;

    int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(port));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto next = Clock::now();
    for (int i = 0; i < count; ++i) {
        next += 1ms;
        std::this_thread::sleep_until(next);
        sent[static_cast<size_t>(i)] = now_ns();
        ::sendto(fd, texts[static_cast<size_t>(i)].data(), texts[static_cast<size_t>(i)].size(), 0,
                 reinterpret_cast<sockaddr *>(&to), sizeof to);
    }
    ::close(fd);
    std::this_thread::sleep_for(200ms);  // stragglers
    g_recv = nullptr;

    Result r;
    r.sent = count;
    std::vector<double> lat;
    for (int i = 0; i < count; ++i) {
        const int64_t t = recv[static_cast<size_t>(i)].load();
        if (t == 0) continue;
        ++r.delivered;
        lat.push_back(static_cast<double>(t - sent[static_cast<size_t>(i)]) / 1000.0);
    }
    if (!lat.empty()) {
        std::sort(lat.begin(), lat.end());
        r.median_us = lat[lat.size() / 2];
        r.p99_us = lat[std::min(lat.size() - 1, lat.size() * 99 / 100)];
    }
    return r;
}

// The library in mode 2: the port registered with the receiver, records through the callback.
Result library_run(int count) {
    ky_init(2);
    ky_realtime_arm_state_call_back(on_state);
    const int port = free_port();
    ky_udp_add_port(gUdpHandle, port);
    Result r = push_at_1ms(port, count);
    ky_destory();
    return r;
}

// Baseline: a thread blocking in recvfrom() on a plain socket, reading the sequence number
// with one JSON parse (no record, no callback).
Result baseline_run(int count) {
    const int port = free_port();
    int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    ::bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
    timeval tv{0, 100000};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        std::vector<char> buf(65537);
        while (!stop) {
            const ssize_t n = ::recv(fd, buf.data(), buf.size() - 1, 0);
            if (n <= 0) continue;
            buf[static_cast<size_t>(n)] = '\0';
            cJSON *root = cJSON_Parse(buf.data());
            const cJSON *js = cJSON_GetObjectItem(root, "joint_status");
            const cJSON *pos = cJSON_GetArrayItem(cJSON_GetObjectItem(js, "joint_position"), 0);
            if (pos != nullptr) record(pos->valueint);
            cJSON_Delete(root);
        }
    });
    Result r = push_at_1ms(port, count);
    stop = true;
    reader.join();
    ::close(fd);
    return r;
}

void report(benchmark::State &state, const Result &lib, const Result &base) {
    state.counters["sent"] = lib.sent;
    state.counters["delivered_pct"] = 100.0 * lib.delivered / std::max(1, lib.sent);
    state.counters["lat_median_us"] = lib.median_us;
    state.counters["lat_p99_us"] = lib.p99_us;
    state.counters["base_delivered_pct"] = 100.0 * base.delivered / std::max(1, base.sent);
    state.counters["base_median_us"] = base.median_us;
    state.counters["base_p99_us"] = base.p99_us;
    state.counters["median_ratio"] = base.median_us > 0 ? lib.median_us / base.median_us : 0;
    std::printf("UDP realtime, 1 ms push cycle, %d s: delivered %d/%d (%.2f %%), latency median %.1f us, p99 %.1f us\n"
                "baseline (plain socket, blocking recv + JSON parse), %d s: delivered %d/%d, median %.1f us, p99 %.1f us;"
                " median ratio %.2f\n",
                lib.sent / 1000, lib.delivered, lib.sent, 100.0 * lib.delivered / std::max(1, lib.sent), lib.median_us,
                lib.p99_us, base.sent / 1000, base.delivered, base.sent, base.median_us, base.p99_us,
                base.median_us > 0 ? lib.median_us / base.median_us : 0.0);
}

void BM_UdpRealtime1msFor10s(benchmark::State &state) {
    for (auto _ : state) {
        const auto t0 = Clock::now();
        const Result base = baseline_run(3000);
        const Result lib = library_run(10000);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - t0).count());
        report(state, lib, base);
    }
}
BENCHMARK(BM_UdpRealtime1msFor10s)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);

// Per-datagram parse cost: the state parser against a bare cJSON parse and delete.
void BM_ParseDatagramIntoRecord(benchmark::State &state) {
    const std::string text = datagram(1234);
    ky_realtime_arm_joint_state s;
    for (auto _ : state) {
        benchmark::DoNotOptimize(parse_ky_realtime_arm_joint_state(text.c_str(), &s));
    }
}
BENCHMARK(BM_ParseDatagramIntoRecord);

void BM_BaselineJsonParseOnly(benchmark::State &state) {
    const std::string text = datagram(1234);
    for (auto _ : state) {
        cJSON *root = cJSON_Parse(text.c_str());
        benchmark::DoNotOptimize(root);
        cJSON_Delete(root);
    }
}
BENCHMARK(BM_BaselineJsonParseOnly);

}  // namespace

BENCHMARK_MAIN();
