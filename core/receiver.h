// Receive thread of modes 1 and 2.
#pragma once
#include <mutex>

struct ky_handle;

// The thread's body; returns 0 when `should_exit` is set.
int thread_socket_receive();

namespace ky {
// Cuts `text` (NUL-terminated, modified in place) into lines and files each in the robot's
// reply FIFO.
void split_and_file(ky_handle *handle, char *text, int first_read_len);
bool receiver_open_wake();
void receiver_close_wake();
// Guards the registry slots as the receive thread sees them (taken briefly, never across
// a wait), so it never reads a descriptor that a deleted robot closed.
std::mutex &registry_mutex();
}  // namespace ky
