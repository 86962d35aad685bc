// ky-sim: runs the simulated arm controller until SIGINT or SIGTERM.
#include "sim/run.h"

int main(int argc, char **argv) { return ky::sim::run(argc, argv); }
