// Receive thread of modes 1 and 2.
#pragma once
#include <cstddef>
#include <mutex>
#include <string>

struct ky_handle;

// The thread's body; returns 0 when `should_exit` is set.
int thread_socket_receive();

namespace ky {
// Cuts `text` (NUL-terminated, modified in place) into lines and files each in the robot's
// reply FIFO.
void split_and_file(ky_handle *handle, char *text, int first_read_len);
// Gathers one robot's reads until the text ends at a line end, then cuts and files it.
class ReadAssembler {
public:
    // Appends one read (NUL bytes left out: a controller that frames its lines like our
    // requests, "\r\n" and a NUL, ends each line in LF as a C string, and the line must
    // count as complete); files the gathered text once it ends in LF.
    void feed(ky_handle *handle, const char *bytes, size_t n);
    // The peer closed: what it sent last still counts as one text.
    void flush(ky_handle *handle);
    void reset() { pending_.clear(); }

private:
    std::string pending_;
    int first_read_ = 0;
};

bool receiver_open_wake();
void receiver_close_wake();
// Guards the registry slots as the receive thread sees them (taken briefly, never across
// a wait), so it never reads a descriptor that a deleted robot closed.
std::mutex &registry_mutex();
}  // namespace ky
