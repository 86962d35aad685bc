// Round trip of one get command through ky_get_data_common against a loopback peer,
// beside a raw TCP ping-pong of the same bytes with the same peer, in the same run.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/loopback.h"
#include "ky_api.h"

namespace {

using Clock = std::chrono::steady_clock;

// Minimal controller: answers each request line by its "command" value from a table.
std::map<std::string, std::string> replies() {
    return {
        {"get_arm_software_info",
         R"({"command":"arm_software_info","Product_version":"KY6A-B","algorithm_info":{"version":"1"},)"
         R"("ctrl_info":{"version":"1","build_time":"2026"}})"},
        {"get_install_pose",
         R"({"command":"install_pose","pose":[0,0,0]})"},
        {"get_realtime_push",
         R"({"command":"get_realtime_push","cycle":5,"port":8089,"ip":"127.0.0.1","enable":false,"custom":{}})"},
        {"get_current_work_frame",
         R"({"command":"current_work_frame","frame_name":"World","pose":[0,0,0,0,0,0]})"},
        {"get_current_tool_frame",
         R"({"command":"current_tool_frame","tool_name":"Arm_Tip","pose":[0,0,0,0,0,0],"payload":0,"position":[0,0,0]})"},
        {"get_joint_min_pos",
         R"({"command":"joint_min_pos","min_pos":[-1,-1,-1,-1,-1,-1]})"},
        {"get_joint_max_pos",
         R"({"command":"joint_max_pos","max_pos":[1,1,1,1,1,1]})"},
        {"get_joint_max_acc",
         R"({"command":"joint_max_acc","joint_acc":[1,1,1,1,1,1]})"},
        {"get_joint_max_speed",
         R"({"command":"joint_max_speed","joint_speed":[1,1,1,1,1,1]})"},
        {"get_collision_stage",
         R"({"command":"get_collision_stage","collision_stage":4})"},
    };
}

kybench::TablePeer &peer() {
    static kybench::TablePeer p(replies());
    return p;
}

std::map<std::string, double> g_medians;

void report(benchmark::State &state, std::vector<double> &us, const char *name) {
    std::sort(us.begin(), us.end());
    double median = us[us.size() / 2];
    double p99 = us[std::min(us.size() - 1, us.size() * 99 / 100)];
    state.counters["median_us"] = median;
    state.counters["p99_us"] = p99;
    g_medians[name] = median;
}

void BM_RawTcpPingPong(benchmark::State &state) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(static_cast<uint16_t>(peer().port()));
    ::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
    int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    const std::string request = std::string("{\"command\":\"get_collision_stage\"}\r\n", 35) + '\0';
    std::vector<double> us;
    char buf[1024];
    for (auto _ : state) {
        auto t0 = Clock::now();
        ::send(fd, request.data(), request.size(), 0);
        std::string got;
        while (got.find("\r\n") == std::string::npos) {
            ssize_t n = ::recv(fd, buf, sizeof buf, 0);
            if (n <= 0) break;
            got.append(buf, static_cast<size_t>(n));
        }
        us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
    }
    ::close(fd);
    report(state, us, "raw");
}

void BM_GetDataCommon(benchmark::State &state) {
    ky_init(1);
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", peer().port());
    if (robot == nullptr || robot->id < 1) {
        state.SkipWithError("robot did not connect");
        ky_destory();
        return;
    }
    std::vector<double> us;
    int value = 0;
    for (auto _ : state) {
        auto t0 = Clock::now();
        int r = ky_get_data_common(robot, &value, "get_collision_stage", "collision_stage");
        us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
        if (r != 0) {
            state.SkipWithError("exchange failed");
            break;
        }
    }
    ky_destory();
    if (!us.empty()) report(state, us, "library");
}

BENCHMARK(BM_RawTcpPingPong)->Iterations(20000)->UseRealTime();
BENCHMARK(BM_GetDataCommon)->Iterations(20000)->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (g_medians.count("raw") && g_medians.count("library")) {
        std::printf("\nget round trip: library median %.1f us, raw TCP median %.1f us, ratio %.2f (goal <= 3)\n",
                    g_medians["library"], g_medians["raw"], g_medians["library"] / g_medians["raw"]);
    }
    return 0;
}
