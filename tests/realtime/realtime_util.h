// Helpers of the realtime tests: a collector behind the state callback, a UDP sender on
// loopback, free port numbers and datagram texts.
#pragma once
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "ky_api.h"

namespace rttest {

// Every record the state callback received, in order. The callback is process-wide and
// cannot be unset, so every test installs this one and clears it first.
class Collector {
public:
    static void install() {
        ky_realtime_arm_state_call_back(&Collector::callback);
        clear();
    }
    static void clear() {
        std::lock_guard<std::mutex> lock(mutex());
        records().clear();
    }
    static std::vector<ky_realtime_arm_joint_state> got() {
        std::lock_guard<std::mutex> lock(mutex());
        return records();
    }
    static size_t count() {
        std::lock_guard<std::mutex> lock(mutex());
        return records().size();
    }
    // Waits until at least n records arrived.
    static bool wait_for(size_t n, std::chrono::milliseconds timeout = std::chrono::milliseconds(3000)) {
        std::unique_lock<std::mutex> lock(mutex());
        return cv().wait_for(lock, timeout, [n] { return records().size() >= n; });
    }

private:
    static void callback(ky_realtime_arm_joint_state s) {
        std::lock_guard<std::mutex> lock(mutex());
        records().push_back(s);
        cv().notify_all();
    }
    static std::mutex &mutex() {
        static std::mutex m;
        return m;
    }
    static std::condition_variable &cv() {
        static std::condition_variable c;
        return c;
    }
    static std::vector<ky_realtime_arm_joint_state> &records() {
        static std::vector<ky_realtime_arm_joint_state> r;
        return r;
    }
};

// n distinct UDP ports that were free a moment ago.
inline std::vector<int> free_udp_ports(int n) {
    std::vector<int> fds, ports;
    for (int i = 0; i < n; ++i) {
        int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
        socklen_t len = sizeof a;
        ::getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len);
        fds.push_back(fd);
        ports.push_back(ntohs(a.sin_port));
    }
    for (int fd : fds) ::close(fd);
    return ports;
}
inline int free_udp_port() { return free_udp_ports(1)[0]; }

// Sends datagrams to 127.0.0.1:port.
class Sender {
public:
    explicit Sender(int port) : fd_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        to_.sin_family = AF_INET;
        to_.sin_port = htons(static_cast<uint16_t>(port));
        to_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    ~Sender() { ::close(fd_); }
    Sender(const Sender &) = delete;
    Sender &operator=(const Sender &) = delete;
    bool send(const std::string &text) const {
        return ::sendto(fd_, text.data(), text.size(), 0, reinterpret_cast<const sockaddr *>(&to_), sizeof to_) ==
               static_cast<ssize_t>(text.size());
    }

private:
    int fd_;
    sockaddr_in to_{};
};

// A well-formed datagram of a 6-joint arm whose first joint position is `seq` / 1000 degrees.
inline std::string datagram(int seq, int arm_err = 0) {
    return R"({"joint_status":{"joint_position":[)" + std::to_string(seq) +
           R"(,0,0,0,0,0],"joint_current":[1,2,3,4,5,6]},"waypoint":{"quat":[1000000,0,0,0],"euler":[0,0,0],)"
           R"("position":[100000,0,500000]},"arm_err":)" +
           std::to_string(arm_err) + R"(,"sys_err":0})";
}

}  // namespace rttest
