#include "support/fake_controller.h"

#include <arpa/inet.h>
#include <cjson/cJSON.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace kytest {

struct FakeController::Impl {
    int listen_fd = -1;
    int wake_fd = -1;
    int port = 0;
    std::thread thread;
    std::atomic<bool> stop{false};

    mutable std::mutex mutex;  // guards everything below
    std::condition_variable changed;
    int client_fd = -1;
    std::map<std::string, Responder> scripts;
    std::string received;
    std::string pending;  // bytes of the request being assembled
    std::vector<std::string> requests;
    size_t chunk = 0;
    std::chrono::milliseconds gap{0};
    std::chrono::milliseconds delay{0};
    bool silent = false;
    size_t answered = 0;  // requests whose script ran and whose reply was written

    std::mutex send_mutex;  // one writer at a time on the client socket

    void wake() {
        uint64_t one = 1;
        ssize_t r = ::write(wake_fd, &one, sizeof one);
        (void)r;
    }

    void send_bytes(int fd, const std::string &bytes) {
        size_t piece;
        std::chrono::milliseconds pause;
        {
            std::lock_guard<std::mutex> lock(mutex);
            piece = chunk ? chunk : bytes.size();
            pause = gap;
        }
        std::lock_guard<std::mutex> lock(send_mutex);
        for (size_t off = 0; off < bytes.size(); off += piece) {
            size_t n = std::min(piece, bytes.size() - off);
            size_t done = 0;
            while (done < n) {
                ssize_t w = ::send(fd, bytes.data() + off + done, n - done, MSG_NOSIGNAL);
                if (w <= 0) return;
                done += static_cast<size_t>(w);
            }
            if (off + n < bytes.size() && pause.count() > 0) std::this_thread::sleep_for(pause);
        }
    }

    static std::string command_of(const std::string &line) {
        std::string name;
        if (cJSON *root = cJSON_Parse(line.c_str())) {
            const cJSON *c = cJSON_GetObjectItemCaseSensitive(root, "command");
            if (cJSON_IsString(c)) name = c->valuestring;
            cJSON_Delete(root);
        }
        return name;
    }

    // Splits the received bytes into request lines and answers each.
    void handle_bytes(int fd, const char *data, size_t n) {
        std::vector<std::string> lines;
        {
            std::lock_guard<std::mutex> lock(mutex);
            received.append(data, n);
            pending.append(data, n);
            for (;;) {
                while (!pending.empty() && pending.front() == '\0') pending.erase(0, 1);
                size_t end = pending.find("\r\n");
                if (end == std::string::npos) break;
                lines.push_back(pending.substr(0, end));
                pending.erase(0, end + 2);
            }
            for (const auto &l : lines) requests.push_back(l);
        }
        changed.notify_all();
        for (const auto &line : lines) {
            Responder responder;
            std::chrono::milliseconds wait;
            {
                std::lock_guard<std::mutex> lock(mutex);
                if (silent) continue;
                auto it = scripts.find(command_of(line));
                if (it == scripts.end()) continue;
                responder = it->second;
                wait = delay;
            }
            std::vector<std::string> replies = responder(line);
            if (wait.count() > 0) std::this_thread::sleep_for(wait);
            std::string out;
            for (const auto &r : replies) out += r + "\r\n";
            if (!out.empty()) send_bytes(fd, out);
            {
                std::lock_guard<std::mutex> lock(mutex);
                ++answered;
            }
            changed.notify_all();
        }
    }

    void run() {
        std::vector<char> buf(65536);
        while (!stop.load()) {
            int client;
            {
                std::lock_guard<std::mutex> lock(mutex);
                client = client_fd;
            }
            pollfd fds[3] = {{wake_fd, POLLIN, 0}, {listen_fd, POLLIN, 0}, {client, POLLIN, 0}};
            int n = ::poll(fds, client >= 0 ? 3 : 2, -1);
            if (n < 0) continue;
            if (fds[0].revents) {
                uint64_t v;
                ssize_t r = ::read(wake_fd, &v, sizeof v);
                (void)r;
            }
            if (stop.load()) break;
            if (fds[1].revents & POLLIN) {
                int c = ::accept(listen_fd, nullptr, nullptr);
                if (c >= 0) {
                    int one = 1;
                    ::setsockopt(c, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
                    std::lock_guard<std::mutex> lock(mutex);
                    if (client_fd >= 0) ::close(client_fd);
                    client_fd = c;
                    pending.clear();
                }
                changed.notify_all();
                continue;
            }
            if (client >= 0 && (fds[2].revents & (POLLIN | POLLHUP | POLLERR))) {
                ssize_t r = ::recv(client, buf.data(), buf.size(), 0);
                if (r <= 0) {
                    std::lock_guard<std::mutex> lock(mutex);
                    if (client_fd == client) {
                        ::close(client_fd);
                        client_fd = -1;
                    }
                    continue;
                }
                handle_bytes(client, buf.data(), static_cast<size_t>(r));
            }
        }
    }
};

FakeController::FakeController() : impl_(std::make_unique<Impl>()) {
    Impl &m = *impl_;
    m.listen_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int one = 1;
    ::setsockopt(m.listen_fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    if (::bind(m.listen_fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 || ::listen(m.listen_fd, 8) != 0) {
        throw std::runtime_error("fake controller: cannot listen");
    }
    socklen_t len = sizeof addr;
    ::getsockname(m.listen_fd, reinterpret_cast<sockaddr *>(&addr), &len);
    m.port = ntohs(addr.sin_port);
    m.wake_fd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    m.thread = std::thread([this] { impl_->run(); });
}

FakeController::~FakeController() {
    impl_->stop = true;
    impl_->wake();
    impl_->thread.join();
    if (impl_->client_fd >= 0) ::close(impl_->client_fd);
    ::close(impl_->listen_fd);
    ::close(impl_->wake_fd);
}

int FakeController::port() const { return impl_->port; }

void FakeController::on(const std::string &command, const std::string &line) {
    on(command, [line](const std::string &) { return std::vector<std::string>{line}; });
}

void FakeController::on(const std::string &command, Responder responder) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->scripts[command] = std::move(responder);
}

void FakeController::off(const std::string &command) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->scripts.erase(command);
}

static std::string int_list(int n, int value) {
    std::string s = "[";
    for (int i = 0; i < n; ++i) {
        if (i) s += ',';
        s += std::to_string(value);
    }
    return s + "]";
}

void FakeController::answer_identity(const std::string &product) {
    const int dof = (product.find("7A") != std::string::npos || product.find("7B") != std::string::npos) ? 7 : 6;
    on("get_arm_software_info",
       R"({"command":"arm_software_info","Product_version":")" + product +
           R"(","algorithm_info":{"version":"1.4.7"},"ctrl_info":{"version":"1.2.3","build_time":"2026-11-01 10:00:00"},)"
           R"("dynamic_info":{"model_version":"1.0"},"plan_info":{"version":"1.0","build_time":"2026-11-01"}})");
    on("get_realtime_push",
       R"({"command":"get_realtime_push","cycle":5,"port":8089,"ip":"127.0.0.1","enable":false,)"
       R"("custom":{"joint_speed":false,"lift_state":false,"expand_state":false,"arm_current_status":false},"force_coordinate":0})");
    on("get_current_work_frame", R"({"command":"current_work_frame","frame_name":"World","pose":[0,0,0,0,0,0]})");
    on("get_current_tool_frame",
       R"({"command":"current_tool_frame","tool_name":"Arm_Tip","pose":[0,0,0,0,0,0],"payload":0,"position":[0,0,0]})");
    on("get_install_pose", R"({"command":"install_pose","pose":[0,0,0]})");
    on("get_joint_min_pos", R"({"command":"joint_min_pos","min_pos":)" + int_list(dof, -178000) + "}");
    on("get_joint_max_pos", R"({"command":"joint_max_pos","max_pos":)" + int_list(dof, 178000) + "}");
    on("get_joint_max_acc", R"({"command":"joint_max_acc","joint_acc":)" + int_list(dof, 166666) + "}");
    on("get_joint_max_speed", R"({"command":"joint_max_speed","joint_speed":)" + int_list(dof, 30000) + "}");
}

void FakeController::push(const std::string &line) { push_raw(line + "\r\n"); }

void FakeController::push_raw(const std::string &bytes) {
    wait_for_client(std::chrono::milliseconds(2000));
    int fd;
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        fd = impl_->client_fd;
    }
    if (fd >= 0) impl_->send_bytes(fd, bytes);
}

void FakeController::set_split(size_t chunk, std::chrono::milliseconds gap) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->chunk = chunk;
    impl_->gap = gap;
}

void FakeController::set_delay(std::chrono::milliseconds delay) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->delay = delay;
}

void FakeController::set_silent(bool silent) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->silent = silent;
}

void FakeController::close_client() {
    std::lock_guard<std::mutex> send_lock(impl_->send_mutex);
    std::lock_guard<std::mutex> lock(impl_->mutex);
    if (impl_->client_fd >= 0) {
        ::shutdown(impl_->client_fd, SHUT_RDWR);
    }
}

bool FakeController::wait_for_client(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(impl_->mutex);
    return impl_->changed.wait_for(lock, timeout, [&] { return impl_->client_fd >= 0; });
}

bool FakeController::wait_for_requests(size_t n, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(impl_->mutex);
    return impl_->changed.wait_for(lock, timeout, [&] { return impl_->requests.size() >= n; });
}

size_t FakeController::answers() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->answered;
}

bool FakeController::wait_for_answers(size_t n, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(impl_->mutex);
    return impl_->changed.wait_for(lock, timeout, [&] { return impl_->answered >= n; });
}

std::string FakeController::received() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->received;
}

std::vector<std::string> FakeController::requests() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->requests;
}

std::vector<std::string> FakeController::requests_for(const std::string &command) const {
    std::vector<std::string> out;
    for (const auto &r : requests()) {
        if (Impl::command_of(r) == command) out.push_back(r);
    }
    return out;
}

void FakeController::clear_received() {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->received.clear();
    impl_->requests.clear();
}

}  // namespace kytest
