// Throughput of concurrent get calls: R robots with T calling threads each, every thread
// calling ky_get_joint_max_speed on its robot in a loop, against one loopback controller
// per robot; beside it, in the same run and in alternating rounds, raw TCP ping-pong
// exchanges of the same request and reply bytes at the same concurrency. The counter
// lib_over_raw is library calls per second over raw exchanges per second, the median over
// the pairs of rounds (1.0 means the calls wait on the wire only).
//
// The raw baseline keeps each in-flight exchange what it is for the library: one request
// line and one reply line of the same sizes, with R x T exchanges in flight. Its threads
// each own a connection (R x T connections, T to each controller) rather than sharing one
// per robot: with a shared connection the replies would have to be handed to the thread
// that waits for them, which is the library's own work that the ratio measures, so the
// baseline lets the kernel do that demultiplexing for free. The controllers are the same
// in both halves (one serving thread per robot that polls all of its connections and
// answers each request with its own write), so the server side costs the same per
// exchange, and the calling threads are as many.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <latch>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/loopback.h"
#include "ky_api.h"

namespace {

using Clock = std::chrono::steady_clock;

// The request exactly as the library writes it: the printed object, CR LF and one NUL.
const std::string kRequest = std::string("{\"command\":\"get_joint_max_speed\"}\r\n") + '\0';
const std::map<std::string, std::string> kReplies =
    kybench::identity_replies("[180000,180000,225000,225000,225000,225000]");
const std::string kReply = kReplies.at("get_joint_max_speed");

// One controller on loopback: a listener and one thread that polls it and every accepted
// connection, answering each request line by its "command" value from a table.
class Controller {
public:
    Controller() {
        table_ = kReplies;
        listener_ = kybench::listen_loopback(64, &port_);
        wake_ = ::eventfd(0, EFD_NONBLOCK);
        thread_ = std::thread([this] { run(); });
    }
    ~Controller() {
        stop_ = true;
        uint64_t one = 1;
        ssize_t r = ::write(wake_, &one, sizeof one);
        (void)r;
        thread_.join();
        ::close(wake_);
        ::close(listener_);
    }
    int port() const { return port_; }

private:
    struct Conn {
        int fd;
        std::string pending;
    };

    // Answers every complete line in `c.pending`; false when the connection must close.
    bool answer(Conn &c) {
        for (size_t end; (end = c.pending.find("\r\n")) != std::string::npos;) {
            std::string line = c.pending.substr(0, end);
            c.pending.erase(0, end + 2);
            line.erase(0, line.find_first_not_of('\0'));  // the NUL after the previous line
            size_t k = line.find("\"command\":\"");
            if (k == std::string::npos) continue;
            k += 11;
            auto it = table_.find(line.substr(k, line.find('"', k) - k));
            if (it == table_.end()) continue;
            const std::string out = it->second + "\r\n";
            if (::send(c.fd, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size())) return false;
        }
        return true;
    }

    void run() {
        std::vector<Conn> conns;
        std::vector<pollfd> fds;
        char buf[4096];
        while (!stop_) {
            fds.clear();
            fds.push_back({wake_, POLLIN, 0});
            fds.push_back({listener_, POLLIN, 0});
            for (const Conn &c : conns) fds.push_back({c.fd, POLLIN, 0});
            if (::poll(fds.data(), fds.size(), -1) < 0) continue;
            if (fds[1].revents & POLLIN) {
                int fd = ::accept(listener_, nullptr, nullptr);
                if (fd >= 0) {
                    int one = 1;
                    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
                    conns.push_back({fd, {}});
                }
            }
            // Connections accepted above have no entry in `fds` yet: only the first ones.
            const size_t polled = fds.size() - 2;
            for (size_t i = polled; i-- > 0;) {
                if (!(fds[i + 2].revents & (POLLIN | POLLHUP | POLLERR))) continue;
                Conn &c = conns[i];
                ssize_t n = ::recv(c.fd, buf, sizeof buf, 0);
                bool keep = n > 0;
                if (keep) {
                    c.pending.append(buf, static_cast<size_t>(n));
                    keep = answer(c);
                }
                if (!keep) {
                    ::close(c.fd);
                    conns.erase(conns.begin() + static_cast<std::ptrdiff_t>(i));
                }
            }
        }
        for (const Conn &c : conns) ::close(c.fd);
    }

    std::map<std::string, std::string> table_;
    int listener_ = -1;
    int wake_ = -1;
    int port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

int connect_loopback(int port) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(static_cast<uint16_t>(port));
    if (::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0) {
        ::close(fd);
        return -1;
    }
    int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    return fd;
}

// One raw exchange: the request out, then reads until the reply line's CR LF.
bool raw_exchange(int fd) {
    if (::send(fd, kRequest.data(), kRequest.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(kRequest.size()))
        return false;
    char buf[512];
    size_t got = 0;
    char last[2] = {0, 0};
    for (;;) {
        ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n <= 0) return false;
        got += static_cast<size_t>(n);
        last[0] = n >= 2 ? buf[n - 2] : last[1];
        last[1] = buf[n - 1];
        if (last[0] == '\r' && last[1] == '\n') return got == kReply.size() + 2;
    }
}

// Runs `threads` workers, each doing `calls` calls of `call(worker)`, all released at
// once; returns the wall time from the release until the last worker ends, in seconds,
// and adds failed calls to `failures`.
template <class Call>
double timed_round(int threads, int calls, Call &&call, std::atomic<int> &failures) {
    std::latch ready(threads + 1);
    std::atomic<bool> go{false};
    std::vector<std::thread> workers;
    for (int w = 0; w < threads; ++w) {
        workers.emplace_back([&, w] {
            ready.count_down();
            go.wait(false);
            int failed = 0;
            for (int k = 0; k < calls; ++k)
                if (!call(w)) ++failed;
            failures += failed;
        });
    }
    ready.arrive_and_wait();
    const auto t0 = Clock::now();
    go = true;
    go.notify_all();
    for (auto &t : workers) t.join();
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

// Args: robots, threads per robot, calls per thread and round, pairs of rounds.
void BM_ConcurrentGets(benchmark::State &state) {
    const int robots = static_cast<int>(state.range(0));
    const int per_robot = static_cast<int>(state.range(1));
    const int calls = static_cast<int>(state.range(2));
    const int rounds = static_cast<int>(state.range(3));
    const int threads = robots * per_robot;

    std::vector<std::unique_ptr<Controller>> controllers;
    for (int r = 0; r < robots; ++r) controllers.push_back(std::make_unique<Controller>());

    ky_init(1);
    std::vector<ky_robot_handle *> arms;
    for (int r = 0; r < robots; ++r) {
        ky_robot_handle *arm = ky_create_robot_arm("127.0.0.1", controllers[r]->port());
        if (arm == nullptr || arm->id < 1) {
            state.SkipWithError("a robot did not connect");
            ky_destory();
            return;
        }
        arms.push_back(arm);
    }
    std::vector<int> raw_fds;
    for (int w = 0; w < threads; ++w) raw_fds.push_back(connect_loopback(controllers[w / per_robot]->port()));
    if (std::find(raw_fds.begin(), raw_fds.end(), -1) != raw_fds.end()) {
        state.SkipWithError("a raw connection failed");
        for (int fd : raw_fds)
            if (fd >= 0) ::close(fd);
        ky_destory();
        return;
    }

    auto lib_call = [&](int w) {
        float speed[7];
        return ky_get_joint_max_speed(arms[w / per_robot], speed) == 0;
    };
    auto raw_call = [&](int w) { return raw_exchange(raw_fds[w]); };

    std::atomic<int> lib_failures{0}, raw_failures{0};
    double lib_s = 0, raw_s = 0;
    std::vector<double> ratios;  // per pair of rounds: library rate over raw rate
    for (auto _ : state) {
        // Alternating rounds of equal call counts; the ratio is taken per pair and its
        // median reported, so that a burst of other load on the machine during one round
        // moves one pair, not the result.
        for (int round = 0; round < rounds; ++round) {
            const double raw = timed_round(threads, calls, raw_call, raw_failures);
            const double lib = timed_round(threads, calls, lib_call, lib_failures);
            raw_s += raw;
            lib_s += lib;
            ratios.push_back(raw / lib);
        }
        state.SetIterationTime(lib_s);
    }
    for (int fd : raw_fds) ::close(fd);
    ky_destory();

    std::sort(ratios.begin(), ratios.end());
    const double ratio = ratios[ratios.size() / 2];
    const double total = static_cast<double>(rounds) * threads * calls;
    const double lib_rate = total / lib_s, raw_rate = total / raw_s;
    state.counters["lib_calls_per_s"] = lib_rate;
    state.counters["raw_calls_per_s"] = raw_rate;
    state.counters["lib_over_raw"] = ratio;
    state.counters["lib_over_raw_min"] = ratios.front();
    state.counters["lib_over_raw_max"] = ratios.back();
    state.counters["failures"] = lib_failures + raw_failures;
    std::printf("%d robot(s) x %d thread(s): library %.0f calls/s, raw %.0f exchanges/s, "
                "ratio %.2f (rounds %.2f..%.2f; goal >= 0.8)\n",
                robots, per_robot, lib_rate, raw_rate, ratio, ratios.front(), ratios.back());
}
BENCHMARK(BM_ConcurrentGets)
    ->ArgNames({"robots", "threads", "calls", "rounds"})
    // Short rounds for the single caller, whose rate a moment of other load moves most.
    ->Args({1, 1, 100, 200})
    ->Args({5, 4, 250, 20})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
