// Time from the controller's completion line to the return of a blocking move.
//
// A loopback peer accepts each movej and, once the library waits for the completion, pushes
// {"command":"current_trajectory_state",...}; the push time is taken just before the line is
// written, the end when ky_movej_block returns. The baseline is a raw loopback TCP
// ping-pong of one line, one sample of it before each measured move in the same loop.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cjson/cJSON.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/loopback.h"
#include "ky_api.h"

namespace {

using Clock = std::chrono::steady_clock;

double percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<size_t>(p * static_cast<double>(v.size())))];
}

// The pause between a move's acceptance and its completion push (see Pusher).
constexpr auto kQuiet = std::chrono::milliseconds(2);

// A loopback TCP connection to an echo thread, kept open for the whole run; one call of
// round_trip_us() sends one short line and waits for all of it to come back (-1 when the
// link failed).
class EchoLink {
public:
    EchoLink() {
        listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof addr;
        ::bind(listener_, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
        ::listen(listener_, 1);
        ::getsockname(listener_, reinterpret_cast<sockaddr *>(&addr), &len);
        client_ = ::socket(AF_INET, SOCK_STREAM, 0);
        int one = 1;
        ::setsockopt(client_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        echo_ = std::thread([this] {
            int peer = ::accept(listener_, nullptr, nullptr);
            int on = 1;
            ::setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            char buf[256];
            for (;;) {
                ssize_t n = ::recv(peer, buf, sizeof buf, 0);
                if (n <= 0) break;
                if (::send(peer, buf, static_cast<size_t>(n), MSG_NOSIGNAL) != n) break;
            }
            ::close(peer);
        });
        ::connect(client_, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
    }
    ~EchoLink() {
        ::shutdown(client_, SHUT_RDWR);
        echo_.join();
        ::close(client_);
        ::close(listener_);
    }
    double round_trip_us() {
        static const char line[] = "{\"command\":\"current_trajectory_state\",\"trajectory_state\":true}\r\n";
        char buf[256];
        const auto t0 = Clock::now();
        if (::send(client_, line, sizeof line - 1, MSG_NOSIGNAL) < 0) return -1;
        size_t got = 0;
        while (got < sizeof line - 1) {
            ssize_t n = ::recv(client_, buf, sizeof buf, 0);
            if (n <= 0) return -1;
            got += static_cast<size_t>(n);
        }
        return std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
    }

private:
    int listener_ = -1;
    int client_ = -1;
    std::thread echo_;
};

// A minimal controller on loopback: answers the connection-time queries and movej by
// command name, calls `on_move` for each movej, and pushes lines on request.
class Peer {
public:
    std::function<void()> on_move;

    Peer() {
        listener_ = kybench::listen_loopback(1, &port_);
        replies_ = kybench::identity_replies("[1,1,1,1,1,1]");
        replies_.insert({
            {"movej", R"({"command":"movej","receive_state":true})"},
            // Asked only if the completion line came late: the trajectory is still running.
            {"get_arm_current_trajectory", R"({"command":"arm_current_trajectory","type":"movej","data":[0,0,0,0,0,0]})"},
        });
        reader_ = std::thread([this] { run(); });
    }
    ~Peer() {
        ::shutdown(listener_, SHUT_RDWR);
        if (client_ >= 0) ::shutdown(client_, SHUT_RDWR);
        reader_.join();
        if (client_ >= 0) ::close(client_);
        ::close(listener_);
    }
    int port() const { return port_; }
    void push(const std::string &line) { send_line(line); }

private:
    int listener_ = -1;
    std::atomic<int> client_{-1};
    int port_ = 0;
    std::map<std::string, std::string> replies_;
    std::thread reader_;
    std::mutex send_mutex_;

    void send_line(const std::string &line) {
        std::lock_guard<std::mutex> lock(send_mutex_);
        const std::string bytes = line + "\r\n";
        ssize_t r = ::send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        (void)r;
    }
    void answer(const std::string &line) {
        std::string command;
        if (cJSON *root = cJSON_Parse(line.c_str())) {
            if (const cJSON *c = cJSON_GetObjectItemCaseSensitive(root, "command"); cJSON_IsString(c)) {
                command = c->valuestring;
            }
            cJSON_Delete(root);
        }
        auto it = replies_.find(command);
        if (it != replies_.end()) send_line(it->second);
        if (command == "movej" && on_move) on_move();
    }
    void run() {
        int c = ::accept(listener_, nullptr, nullptr);
        if (c < 0) return;
        int one = 1;
        ::setsockopt(c, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        client_ = c;
        std::string pending;
        char buf[4096];
        for (;;) {
            ssize_t n = ::recv(c, buf, sizeof buf, 0);
            if (n <= 0) return;
            pending.append(buf, static_cast<size_t>(n));
            for (size_t end; (end = pending.find("\r\n")) != std::string::npos;) {
                std::string line = pending.substr(0, end);
                pending.erase(0, end + 2);
                line.erase(0, line.find_first_not_of('\0'));  // the NUL after the previous line
                answer(line);
            }
        }
    }
};

// Pushes the completion line after each accepted move.
struct Pusher {
    Peer &peer;
    std::mutex mutex;
    std::condition_variable cv;
    int accepted = 0;
    bool stop = false;
    std::atomic<int64_t> pushed_ns{0};
    std::thread thread;

    explicit Pusher(Peer &p) : peer(p) {
        thread = std::thread([this] { run(); });
    }
    ~Pusher() {
        {
            std::lock_guard<std::mutex> lock(mutex);
            stop = true;
        }
        cv.notify_all();
        thread.join();
    }
    void on_accept() {
        {
            std::lock_guard<std::mutex> lock(mutex);
            ++accepted;
        }
        cv.notify_all();
    }
    void run() {
        const std::string done =
            R"({"command":"current_trajectory_state","trajectory_state":true,"device":0,"trajectory_connect":0})";
        for (;;) {
            {
                std::unique_lock<std::mutex> lock(mutex);
                cv.wait(lock, [&] { return stop || accepted > 0; });
                if (stop) return;
                --accepted;
            }
            // Let the acceptance reach the library, which then waits for the completion.
            std::this_thread::sleep_for(kQuiet);
            pushed_ns = Clock::now().time_since_epoch().count();
            peer.push(done);
        }
    }
};

void BM_BlockingMoveReturnAfterCompletion(benchmark::State &state) {
    EchoLink echo;
    ky_init(1);
    Peer peer;
    Pusher pusher(peer);
    peer.on_move = [&] { pusher.on_accept(); };
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", peer.port());
    if (robot == nullptr || robot->id != 1) {
        state.SkipWithError("connection to the loopback peer failed");
        ky_destory();
        return;
    }
    const float joints[7] = {0, 10, 20, 30, 40, 50, 0};
    std::vector<double> us, base;
    int failures = 0;
    for (auto _ : state) {
        // One baseline sample per measurement, taken in the same loop and after the same
        // quiet pause that precedes each completion push, so that both see the machine in
        // the same state (a slow phase, or threads woken from the same idle wait).
        std::this_thread::sleep_for(kQuiet);
        const double rtt = echo.round_trip_us();
        if (rtt < 0) {
            ++failures;
        } else {
            base.push_back(rtt);
        }
        int r = ky_movej_block(robot, joints, 20, 0, 0, 1);
        const int64_t end = Clock::now().time_since_epoch().count();
        if (r != 0) ++failures;
        const double latency = static_cast<double>(end - pusher.pushed_ns.load()) / 1000.0;
        us.push_back(latency);
        state.SetIterationTime(latency / 1e6);
    }
    ky_destory();
    const double median = percentile(us, 0.5);
    const double baseline = percentile(base, 0.5);
    state.counters["median_us"] = median;
    state.counters["p99_us"] = percentile(us, 0.99);
    state.counters["baseline_rtt_median_us"] = baseline;
    state.counters["baseline_rtt_p99_us"] = percentile(base, 0.99);
    state.counters["median_over_baseline_rtt"] = baseline > 0 ? median / baseline : 0;
    state.counters["failures"] = failures;
}
BENCHMARK(BM_BlockingMoveReturnAfterCompletion)->Iterations(1000)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
