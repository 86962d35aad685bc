// ky-sim: runs the simulated arm controller until SIGINT or SIGTERM.
#include <csignal>
#include <cstdio>
#include <iostream>

#include "sim/simulator.h"

namespace {
void on_stop_signal(int) {}
}  // namespace

int main(int argc, char **argv) {
    ky::sim::Options options;
    options.port = 8080;
    options.bind_address = "0.0.0.0";
    bool help = false, verbose = false;
    std::string error;
    if (!ky::sim::parse_arguments(argc, argv, options, help, verbose, error)) {
        std::cerr << "ky-sim: " << error << "\n";
        return 2;
    }
    if (help) {
        std::cout << ky::sim::usage_text();
        return 0;
    }
    if (verbose) options.log = [](const std::string &line) { std::cerr << "ky-sim: " << line << std::endl; };

    // Block the stop signals in every thread; the main thread waits for them below. A handler is
    // installed first so that a signal ignored by the parent (background jobs) still arrives.
    signal(SIGINT, on_stop_signal);
    signal(SIGTERM, on_stop_signal);
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    ky::sim::Simulator sim(options);
    if (!sim.start()) {
        std::cerr << "ky-sim: " << sim.error() << "\n";
        return 1;
    }
    std::printf("ky-sim ready: %s on %s:%d, realtime push to %s:%d every %d ms\n", options.product_version.c_str(),
                options.bind_address.c_str(), sim.port(), options.push_ip.c_str(), options.push_port,
                options.push_cycle_ms);
    std::fflush(stdout);
    int sig = 0;
    sigwait(&stop_signals, &sig);
    sim.stop();
    return 0;
}
