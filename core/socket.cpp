// TCP connection to one controller.
#include "core/socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "ky_api.h"

ky_socket_handle *ky_socket_handle_init(const char *ip, int port) {
    if (ip == nullptr || port <= 0 || std::strlen(ip) > 20) return nullptr;
    auto *h = new (std::nothrow) ky_socket_handle;
    if (h == nullptr) return nullptr;
    std::memset(h->ip, 0, sizeof h->ip);
    std::strncpy(h->ip, ip, 20);
    h->port = port;
    h->connect = socket_connect;
    h->send = socket_send;
    h->block_send = socket_block_send;
    h->receive = socket_receive;
    h->blocking_receive = socket_blocking_recive;
    h->close = socket_close;
    return h;
}

int ky_socket_handle_destroy(ky_socket_handle *handle) {
    if (handle == nullptr) return 0;
    handle->close(handle);
    delete handle;
    return 0;
}

int socket_connect(ky_socket_handle *handle) {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 1 || fd > 100000) {
        if (fd >= 0) ::close(fd);
        handle->fd = -1;
        return -1;
    }
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = inet_addr(handle->ip);
    addr.sin_port = htons(static_cast<uint16_t>(handle->port));

    // The send time-out also bounds the connect.
    timeval tv{3, 0};
    if (::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv) != 0) {
        std::perror("setsockopt error");
        ::close(fd);
        return -2;
    }
    if (::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
        handle->fd = -1;
        ::close(fd);
        return -3;
    }
    // Every command is one short line, and streamed set-points follow each other every
    // millisecond with no reply in between: without TCP_NODELAY the kernel would hold each
    // line back until the previous one is acknowledged and send them in bunches. A failure
    // only costs latency, so it is not an error.
    int one = 1;
    (void)::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    int flags = ::fcntl(fd, F_GETFL, 0);
    if (flags < 0 || ::fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) {
        std::perror("Error setting non-blocking");
        ::close(fd);
        return -4;
    }
    handle->os_fd = fd;
    handle->fd = fd;
    return fd;
}

int socket_send(ky_socket_handle *handle, const char *buf, int len) {
    if (buf == nullptr || len <= 0) return -1;
    // MSG_NOSIGNAL: a controller that went away must give an error, not kill the host.
    ssize_t n = ::send(handle->fd, buf, static_cast<size_t>(len), MSG_DONTWAIT | MSG_NOSIGNAL);
    return n < 0 ? -2 : 0;
}

int socket_block_send(ky_socket_handle *handle, const char *buf, int len) {
    if (buf == nullptr || len <= 0) return -1;
    // Sends every byte: while the socket buffer is full, waits until it can take more
    // (rather than sleeping 1 ms between attempts), so no part of a command is lost.
    size_t done = 0;
    while (done < static_cast<size_t>(len)) {
        int fd = handle->fd;
        ssize_t n = ::send(fd, buf + done, static_cast<size_t>(len) - done, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n > 0) {
            done += static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd p{fd, POLLOUT, 0};
            if (::poll(&p, 1, 100) < 0 && errno != EINTR) return -2;
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        return -2;
    }
    return 0;
}

int socket_receive(ky_socket_handle *handle, char *buf, int len) {
    if (buf == nullptr || len <= 0) return -1;
    ssize_t n = ::recv(handle->fd, buf, static_cast<size_t>(len), 0);
    if (n < 0) return -2;
    ky_log_debug("buf:is %s\n", buf);
    return static_cast<int>(n);
}

int socket_blocking_recive(ky_socket_handle *handle, char *buf, int len) {
    ssize_t n = ::recv(handle->fd, buf, static_cast<size_t>(len), MSG_DONTWAIT);
    if (n == 0) return -1;
    if (n < 0) return -2;
    return static_cast<int>(n);
}

int socket_close(ky_socket_handle *handle) {
    int fd = handle->os_fd.exchange(-1);
    if (fd >= 0) ::close(fd);
    return 0;
}
