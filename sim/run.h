// The simulator's command-line program as a function, shared by ky-sim and `ky sim`.
#pragma once

namespace ky::sim {

/** Parses the ky-sim options (argv[0] is the program name), starts the simulator, prints its
 *  "ky-sim ready ..." line and runs until SIGINT or SIGTERM. Returns the exit status: 0 after
 *  a stop signal or --help, 1 when the simulator cannot start, 2 for a usage error. */
int run(int argc, char **argv);

}  // namespace ky::sim
