// Pieces the benchmarks' loopback peers share: a listening socket on an ephemeral port and
// the replies to the queries that ky_create_robot_arm runs, for a six-joint arm.
#pragma once
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kybench {

// A TCP listener on 127.0.0.1 with a port the system picked; *port receives it.
inline int listen_loopback(int backlog, int *port) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    ::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
    ::listen(fd, backlog);
    ::getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len);
    if (port != nullptr) *port = ntohs(addr.sin_port);
    return fd;
}

// Reply lines (without CR LF) by request "command", for the connection-time queries of a
// KY6A arm whose maximum joint speeds read back as `joint_speed`.
inline std::map<std::string, std::string> identity_replies(const std::string &joint_speed) {
    const std::string six = "[-178000,-178000,-178000,-178000,-178000,-178000]";
    return {
        {"get_arm_software_info",
         R"({"command":"arm_software_info","Product_version":"KY6A-B","algorithm_info":{"version":"1"},)"
         R"("ctrl_info":{"version":"1","build_time":"2026-11-01"}})"},
        {"get_realtime_push",
         R"({"command":"get_realtime_push","cycle":5,"port":8089,"ip":"127.0.0.1","enable":false,)"
         R"("custom":{"joint_speed":false,"lift_state":false,"expand_state":false,"arm_current_status":false},)"
         R"("force_coordinate":0})"},
        {"get_current_work_frame", R"({"command":"current_work_frame","frame_name":"World","pose":[0,0,0,0,0,0]})"},
        {"get_current_tool_frame", R"({"command":"current_tool_frame","tool_name":"Arm_Tip","pose":[0,0,0,0,0,0],)"
                                   R"("payload":0,"position":[0,0,0]})"},
        {"get_install_pose", R"({"command":"install_pose","pose":[0,0,0]})"},
        {"get_joint_min_pos", R"({"command":"joint_min_pos","min_pos":)" + six + "}"},
        {"get_joint_max_pos", R"({"command":"joint_max_pos","max_pos":[178000,178000,178000,178000,178000,178000]})"},
        {"get_joint_max_acc", R"({"command":"joint_max_acc","joint_acc":[1,1,1,1,1,1]})"},
        {"get_joint_max_speed", R"({"command":"joint_max_speed","joint_speed":)" + joint_speed + "}"},
    };
}

// A minimal controller on loopback: answers each request line by its "command" value from a
// table (reply lines without CR LF) and silently drains every other line, one thread per
// connection.
class TablePeer {
public:
    explicit TablePeer(std::map<std::string, std::string> replies) : replies_(std::move(replies)) {
        listen_ = listen_loopback(8, &port_);
        thread_ = std::thread([this] { run(); });
    }
    ~TablePeer() {
        ::shutdown(listen_, SHUT_RDWR);
        thread_.join();
        ::close(listen_);
    }
    TablePeer(const TablePeer &) = delete;
    TablePeer &operator=(const TablePeer &) = delete;
    int port() const { return port_; }

private:
    void serve(int fd) {
        int one = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        std::string pending;
        std::vector<char> buf(1 << 16);
        for (;;) {
            ssize_t n = ::recv(fd, buf.data(), buf.size(), 0);
            if (n <= 0) break;
            pending.append(buf.data(), static_cast<size_t>(n));
            size_t start = 0, end;
            while ((end = pending.find("\r\n", start)) != std::string::npos) {
                const size_t k = pending.find("\"command\":\"", start);
                if (k != std::string::npos && k < end) {
                    const size_t name = k + 11;
                    auto it = replies_.find(pending.substr(name, pending.find('"', name) - name));
                    if (it != replies_.end()) {
                        const std::string out = it->second + "\r\n";
                        ::send(fd, out.data(), out.size(), MSG_NOSIGNAL);
                    }
                }
                start = end + 2;
            }
            pending.erase(0, start);
        }
        ::close(fd);
    }
    void run() {
        std::vector<std::thread> clients;
        for (;;) {
            int fd = ::accept(listen_, nullptr, nullptr);
            if (fd < 0) break;
            clients.emplace_back([this, fd] { serve(fd); });
        }
        for (auto &c : clients) c.join();
    }
    std::map<std::string, std::string> replies_;
    int listen_ = -1;
    int port_ = 0;
    std::thread thread_;
};

}  // namespace kybench
