// UDP realtime-state receiver of mode 2: the lifecycle the library core drives, and
// read-only views of the port table for tests and diagnostics.
#pragma once
#include "ky_api.h"

namespace ky {
// Creates the receiver (gUdpHandle) and starts the UDP thread. False when the thread
// cannot be started (logged "Error creating thread thread_udp_id: %d\n").
bool udp_start();
// Stops and joins the UDP thread (if it runs) and releases the receiver and its sockets.
void udp_stop();
// Registers `port` for the robot's pushes (ky_udp_add_port on gUdpHandle); -1 without a receiver.
int udp_add_port(int port);
// Copy of one entry of `receiver`'s port table, taken under the table's lock.
ky_udp_port_entry udp_entry(ky_udp_handle *receiver, int index);
}  // namespace ky
