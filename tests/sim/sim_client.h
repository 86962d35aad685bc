// Raw protocol peers for the simulator tests: a TCP client that speaks command lines and a UDP
// socket that receives the realtime pushes. No library code is involved.
#pragma once
#include <arpa/inet.h>
#include <cjson/cJSON.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <deque>
#include <memory>
#include <string>

namespace simtest {

using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

inline Json parse(const std::string &text) { return Json(cJSON_Parse(text.c_str()), cJSON_Delete); }

inline const cJSON *member(const Json &j, const char *key) { return cJSON_GetObjectItemCaseSensitive(j.get(), key); }

inline std::string command_of(const std::string &line) {
    Json j = parse(line);
    const cJSON *c = j ? cJSON_GetObjectItemCaseSensitive(j.get(), "command") : nullptr;
    return cJSON_IsString(c) ? c->valuestring : "";
}

class TcpClient {
public:
    // `receive_buffer` > 0 shrinks the socket's receive buffer (a reader that falls behind soon).
    explicit TcpClient(int port, int receive_buffer = 0) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        if (receive_buffer > 0) setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(static_cast<uint16_t>(port));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = connect(fd_, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
    }
    ~TcpClient() { close(fd_); }
    TcpClient(const TcpClient &) = delete;
    TcpClient &operator=(const TcpClient &) = delete;

    bool connected() const { return connected_; }
    // One command as the library sends it: the JSON text, CR LF and a NUL byte.
    void send(const std::string &json) { send_raw(json + std::string("\r\n\0", 3)); }
    void send_raw(const std::string &bytes) {
        const ssize_t n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n > 0) sent_ += static_cast<size_t>(n);
    }
    size_t bytes_sent() const { return sent_; }

    // The next line (without CR LF), from the backlog first; "" after `timeout_ms`.
    std::string line(int timeout_ms = 2000) {
        if (!backlog_.empty()) {
            std::string l = backlog_.front();
            backlog_.pop_front();
            return l;
        }
        return read_line(timeout_ms);
    }
    // The next line whose "command" is `name`; other lines stay in the backlog.
    std::string expect(const std::string &name, int timeout_ms = 2000) {
        for (auto it = backlog_.begin(); it != backlog_.end(); ++it) {
            if (command_of(*it) == name) {
                std::string l = *it;
                backlog_.erase(it);
                return l;
            }
        }
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
            if (left.count() <= 0) return "";
            std::string l = read_line(static_cast<int>(left.count()));
            if (l.empty()) return "";
            if (command_of(l) == name) return l;
            backlog_.push_back(l);
        }
    }
    Json request(const std::string &json, const std::string &reply, int timeout_ms = 2000) {
        send(json);
        return parse(expect(reply, timeout_ms));
    }
    // True when the peer closed the connection within `timeout_ms`.
    bool peer_closed(int timeout_ms) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        while (std::chrono::steady_clock::now() < end) {
            pollfd p{fd_, POLLIN, 0};
            if (poll(&p, 1, 20) > 0) {
                char b[4096];
                const ssize_t n = recv(fd_, b, sizeof b, 0);
                if (n <= 0) return true;
                buf_.append(b, static_cast<size_t>(n));
            }
        }
        return false;
    }
    const std::deque<std::string> &backlog() const { return backlog_; }

private:
    std::string read_line(int timeout_ms) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        for (;;) {
            const size_t pos = buf_.find("\r\n");
            if (pos != std::string::npos) {
                std::string l = buf_.substr(0, pos);
                buf_.erase(0, pos + 2);
                return l;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
            if (left.count() <= 0) return "";
            pollfd p{fd_, POLLIN, 0};
            if (poll(&p, 1, static_cast<int>(left.count())) <= 0) continue;
            char b[4096];
            const ssize_t n = recv(fd_, b, sizeof b, 0);
            if (n <= 0) return "";
            buf_.append(b, static_cast<size_t>(n));
        }
    }

    int fd_ = -1;
    bool connected_ = false;
    size_t sent_ = 0;
    std::string buf_;
    std::deque<std::string> backlog_;
};

class UdpReceiver {
public:
    UdpReceiver() {
        fd_ = socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(fd_, reinterpret_cast<sockaddr *>(&a), sizeof a);
        socklen_t len = sizeof a;
        getsockname(fd_, reinterpret_cast<sockaddr *>(&a), &len);
        port_ = ntohs(a.sin_port);
    }
    ~UdpReceiver() { close(fd_); }
    UdpReceiver(const UdpReceiver &) = delete;
    UdpReceiver &operator=(const UdpReceiver &) = delete;
    int port() const { return port_; }
    // One datagram, "" after `timeout_ms`.
    std::string receive(int timeout_ms = 1000) {
        pollfd p{fd_, POLLIN, 0};
        if (poll(&p, 1, timeout_ms) <= 0) return "";
        char b[65536];
        const ssize_t n = recv(fd_, b, sizeof b, 0);
        return n > 0 ? std::string(b, static_cast<size_t>(n)) : "";
    }
    // Discards everything queued.
    void drain() {
        while (!receive(0).empty()) {
        }
    }

private:
    int fd_ = -1;
    int port_ = 0;
};

}  // namespace simtest
