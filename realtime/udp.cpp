// Placeholder lifecycle until the realtime receiver lands: mode 2 behaves like mode 1.
#include "realtime/udp.h"

bool ky::udp_start() { return true; }
void ky::udp_stop() {}
int ky::udp_add_port(int) { return -1; }
