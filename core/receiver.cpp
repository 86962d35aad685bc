// The receive thread of modes 1 and 2: one thread for all robots. It blocks in poll() on
// every connected robot's socket and on a wake-up descriptor (signalled when a robot is
// added or removed and at shutdown), cuts each robot's byte stream into lines and files
// them in the robot's reply FIFO.
#include "core/receiver.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "core/registry.h"

namespace {

constexpr size_t kReadSize = 20480;
// Bytes kept while waiting for the end of a line; a peer that sends more without a line
// end is broken, and what it sent is discarded rather than held without bound.
constexpr size_t kMaxPending = 1 << 20;

int g_wake_fd = -1;

void drain_wake() {
    uint64_t v;
    while (::read(g_wake_fd, &v, sizeof v) > 0) {
    }
}

}  // namespace

void ky::wake_receiver() {
    if (g_wake_fd >= 0) {
        uint64_t one = 1;
        ssize_t r = ::write(g_wake_fd, &one, sizeof one);
        (void)r;
    }
}

bool ky::receiver_open_wake() {
    if (g_wake_fd < 0) g_wake_fd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    return g_wake_fd >= 0;
}

void ky::receiver_close_wake() {
    if (g_wake_fd >= 0) ::close(g_wake_fd);
    g_wake_fd = -1;
}

void ky::split_and_file(ky_handle *handle, char *text, int first_read_len) {
    // The text handed over always ends at a line end the peer sent (or at its close).
    // Lines end at CR LF; the scan starts at index 5, and the last two bytes of the text
    // end the last line, so text shorter than 7 bytes carries nothing.
    const int len = static_cast<int>(std::strlen(text));
    if (len < 7) return;
    int start = 0;
    for (int j = 5; j <= len - 2; ++j) {
        if ((text[j] == '\r' && text[j + 1] == '\n') || j == len - 2) {
            text[j] = '\0';
            text[j + 1] = '\0';
            ky_log_debug("thread_socket_receive len %d robot_handle: %d message:%s\n", first_read_len,
                         ky::load_field(handle->robot.id), text + start);
            add_str_to_fifo(handle, text + start, j - start);
            start = j + 2;
        }
    }
}

void ky::ReadAssembler::feed(ky_handle *handle, const char *bytes, size_t n) {
    if (pending_.empty()) first_read_ = static_cast<int>(n);
    for (size_t i = 0; i < n; ++i) {
        if (bytes[i] != '\0') pending_.push_back(bytes[i]);
    }
    if (!pending_.empty() && pending_.back() == '\n') {
        flush(handle);
    } else if (pending_.size() > kMaxPending) {
        ky_log_error("[thread_socket_receive] line of more than %zu bytes dropped\n", kMaxPending);
        pending_.clear();
    }
}

void ky::ReadAssembler::flush(ky_handle *handle) {
    if (pending_.empty()) return;
    std::string text = std::move(pending_);
    pending_.clear();
    ky::split_and_file(handle, text.data(), first_read_);
}

int thread_socket_receive() {
    struct Stream {
        ky_handle *owner = nullptr;
        int fd = -1;
        ky::ReadAssembler text;
    };
    std::array<Stream, KY_MAX_ROBOTS> streams;
    std::vector<char> buf(kReadSize + 1);
    std::vector<pollfd> fds;
    std::vector<int> slot_of;

    while (!should_exit.load()) {
        fds.clear();
        slot_of.clear();
        fds.push_back({g_wake_fd, POLLIN, 0});
        slot_of.push_back(-1);
        {
            std::lock_guard<std::mutex> lock(ky::registry_mutex());
            for (int i = 0; i < KY_MAX_ROBOTS; ++i) {
                ky_handle *h = gHandleList[i];
                if (h == nullptr || h->socket == nullptr) continue;
                int fd = h->socket->fd.load();
                if (fd <= 0) continue;
                fds.push_back({fd, POLLIN, 0});
                slot_of.push_back(i);
            }
        }
        int ready = ::poll(fds.data(), fds.size(), -1);
        if (ready < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (fds[0].revents) drain_wake();
        if (should_exit.load()) break;

        for (size_t k = 1; k < fds.size(); ++k) {
            if (!(fds[k].revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL))) continue;
            const int slot = slot_of[k];
            ky_handle *h = nullptr;
            ssize_t n = -1;
            bool closed = false;
            {
                // Read under the registry mutex, and only if the slot still holds the robot
                // whose descriptor was polled: a robot deleted meanwhile may have had its
                // descriptor number reused by a new connection.
                std::lock_guard<std::mutex> lock(ky::registry_mutex());
                h = gHandleList[slot];
                if (h == nullptr || h->socket == nullptr || h->socket->fd.load() != fds[k].fd) continue;
                n = ::recv(fds[k].fd, buf.data(), kReadSize, MSG_DONTWAIT);
                // A reset or broken connection ends it as a close does (it would otherwise
                // report readable forever).
                closed = n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
                if (closed) {
                    ky_log_error("服务器已关闭!\n");
                    ky_log_warn("[thread_socket_receive] robot %d: connection to %s:%d closed by the controller\n",
                                ky::load_field(h->robot.id), h->socket->ip, h->socket->port);
                    h->socket->fd = -1;
                    h->connection = KY_CONNECTION_CLOSED;
                }
            }
            Stream &s = streams[slot];
            if (s.owner != h || s.fd != fds[k].fd) {
                s.owner = h;  // another robot, or a new connection of the same one
                s.fd = fds[k].fd;
                s.text.reset();
            }
            if (closed) {
                s.text.flush(h);
                continue;
            }
            if (n > 0) s.text.feed(h, buf.data(), static_cast<size_t>(n));
        }
    }
    return 0;
}
