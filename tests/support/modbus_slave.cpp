#include "support/modbus_slave.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>

namespace kytest {

std::unique_ptr<ModbusSlave> ModbusSlave::tcp() {
    std::unique_ptr<ModbusSlave> s(new ModbusSlave);
    s->ctx_ = modbus_new_tcp("127.0.0.1", 0);
    s->map_ = modbus_mapping_new(kBits, kBits, kRegisters, kRegisters);
    if (s->ctx_ == nullptr || s->map_ == nullptr) return nullptr;
    s->listen_fd_ = modbus_tcp_listen(s->ctx_, 4);
    if (s->listen_fd_ < 0) return nullptr;
    sockaddr_in a{};
    socklen_t len = sizeof a;
    getsockname(s->listen_fd_, reinterpret_cast<sockaddr *>(&a), &len);
    s->port_ = ntohs(a.sin_port);
    s->thread_ = std::thread([p = s.get()] { p->serve(); });
    return s;
}

std::unique_ptr<ModbusSlave> ModbusSlave::rtu(int unit) {
    std::unique_ptr<ModbusSlave> s(new ModbusSlave);
    s->rtu_ = true;
    char name[128] = "";
    if (openpty(&s->pty_master_, &s->pty_slave_, name, nullptr, nullptr) != 0) return nullptr;
    // The line is raw from the start; the master's end stays open here as well, so the line
    // never hangs up between the master's closing and reopening it.
    termios t{};
    tcgetattr(s->pty_slave_, &t);
    cfmakeraw(&t);
    tcsetattr(s->pty_slave_, TCSANOW, &t);
    s->path_ = name;
    s->ctx_ = modbus_new_rtu(name, 115200, 'N', 8, 1);
    s->map_ = modbus_mapping_new(kBits, kBits, kRegisters, kRegisters);
    if (s->ctx_ == nullptr || s->map_ == nullptr || modbus_set_slave(s->ctx_, unit) != 0) return nullptr;
    // Served on the terminal's controlling end, without opening the device by name.
    modbus_set_socket(s->ctx_, s->pty_master_);
    s->thread_ = std::thread([p = s.get()] { p->serve(); });
    return s;
}

ModbusSlave::~ModbusSlave() {
    {
        std::lock_guard<std::mutex> lk(m_);
        stop_ = true;
    }
    cv_.notify_all();
    if (thread_.joinable()) thread_.join();
    for (int fd : {listen_fd_, conn_fd_, pty_master_, pty_slave_})
        if (fd >= 0) close(fd);
    if (map_ != nullptr) modbus_mapping_free(map_);
    if (ctx_ != nullptr) modbus_free(ctx_);  // its socket is one of the descriptors above
}

void ModbusSlave::memory(const std::function<void(modbus_mapping_t &)> &f) {
    std::lock_guard<std::mutex> lk(m_);
    f(*map_);
}

void ModbusSlave::set_delay(int ms) {
    std::lock_guard<std::mutex> lk(m_);
    delay_ms_ = ms;
}

bool ModbusSlave::wait_delay(int ms) {
    std::unique_lock<std::mutex> lk(m_);
    if (ms < 0) return !stop_;
    cv_.wait_for(lk, std::chrono::milliseconds(ms), [this] { return stop_; });
    return !stop_;
}

void ModbusSlave::serve() {
    uint8_t query[MODBUS_TCP_MAX_ADU_LENGTH];
    const int header = modbus_get_header_length(ctx_);
    for (;;) {
        {
            std::lock_guard<std::mutex> lk(m_);
            if (stop_) return;
        }
        pollfd fds[2];
        nfds_t n = 0;
        if (listen_fd_ >= 0) fds[n++] = {listen_fd_, POLLIN, 0};
        const int line = rtu_ ? pty_master_ : conn_fd_;
        if (line >= 0) fds[n++] = {line, POLLIN, 0};
        if (poll(fds, n, 20) <= 0) continue;
        if (listen_fd_ >= 0 && (fds[0].revents & POLLIN)) {
            // One master at a time: a new connection replaces the old one.
            const int fd = accept(listen_fd_, nullptr, nullptr);
            if (fd >= 0) {
                if (conn_fd_ >= 0) close(conn_fd_);
                conn_fd_ = fd;
                modbus_set_socket(ctx_, fd);
            }
            continue;
        }
        if (line < 0 || !(fds[n - 1].revents & (POLLIN | POLLHUP | POLLERR))) continue;
        const int rc = modbus_receive(ctx_, query);
        if (rc < 0) {
            if (!rtu_) {  // the master went away
                close(conn_fd_);
                conn_fd_ = -1;
            } else {
                modbus_flush(ctx_);
            }
            continue;
        }
        if (rc == 0) continue;  // addressed to another unit
        last_unit_ = query[header - 1];
        last_function_ = query[header];
        ++requests_;
        int delay = 0;
        {
            std::lock_guard<std::mutex> lk(m_);
            delay = delay_ms_;
        }
        if (delay < 0) continue;
        if (delay > 0 && !wait_delay(delay)) return;
        std::lock_guard<std::mutex> lk(m_);
        modbus_reply(ctx_, query, rc, map_);
    }
}

}  // namespace kytest
