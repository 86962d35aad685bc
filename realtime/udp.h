// UDP realtime-state receiver of mode 2: its lifecycle as the library core drives it.
#pragma once

namespace ky {
// Creates the receiver (gUdpHandle) and starts the UDP thread. False when the thread
// cannot be started (logged "Error creating thread thread_udp_id: %d\n").
bool udp_start();
// Stops and joins the UDP thread (if it runs) and releases the receiver and its sockets.
void udp_stop();
// Registers `port` for the robot's pushes (ky_udp_add_port on gUdpHandle); no-op without a receiver.
int udp_add_port(int port);
}  // namespace ky
