// TCP connection to one controller and its table of operations.
#pragma once
#include <atomic>
#include <cstddef>

struct ky_socket_handle;

using ky_socket_op = int (*)(ky_socket_handle *);
using ky_socket_io = int (*)(ky_socket_handle *, const char *, int);
using ky_socket_rd = int (*)(ky_socket_handle *, char *, int);

struct ky_socket_handle {
    // Descriptor as the rest of the library sees it: -1 until connected, after a failed
    // connect, and once the receive thread has seen the peer close.
    std::atomic<int> fd{-1};
    char ip[21] = {};  // dotted-decimal text, at most 20 characters
    int port = 0;
    ky_socket_op connect = nullptr;
    ky_socket_io send = nullptr;
    ky_socket_io block_send = nullptr;
    ky_socket_rd receive = nullptr;
    ky_socket_rd blocking_receive = nullptr;
    ky_socket_op close = nullptr;
    // The descriptor the operating system gave us; closed exactly once, even when `fd`
    // was already set to -1 because the peer went away.
    std::atomic<int> os_fd{-1};
};

ky_socket_handle *ky_socket_handle_init(const char *ip, int port);
int ky_socket_handle_destroy(ky_socket_handle *handle);
int socket_connect(ky_socket_handle *handle);
int socket_send(ky_socket_handle *handle, const char *buf, int len);
int socket_block_send(ky_socket_handle *handle, const char *buf, int len);
int socket_receive(ky_socket_handle *handle, char *buf, int len);
int socket_blocking_recive(ky_socket_handle *handle, char *buf, int len);
int socket_close(ky_socket_handle *handle);
