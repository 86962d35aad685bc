// ky-sim's body: option parsing, start, the ready line, and the wait for a stop signal.
#include "sim/run.h"

#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <iostream>

#include "sim/simulator.h"

namespace {
void on_stop_signal(int) {}
}  // namespace

int ky::sim::run(int argc, char **argv) {
    Options options;
    options.port = 8080;
    options.bind_address = "0.0.0.0";
    bool help = false, verbose = false;
    std::string error;
    if (!parse_arguments(argc, argv, options, help, verbose, error)) {
        std::cerr << "ky-sim: " << error << "\n";
        return 2;
    }
    if (help) {
        std::cout << usage_text();
        return 0;
    }
    if (verbose) options.log = [](const std::string &line) { std::cerr << "ky-sim: " << line << std::endl; };

    // Block the stop signals in every thread; the calling thread waits for them below. A handler is
    // installed first so that a signal ignored by the parent (background jobs) still arrives.
    signal(SIGINT, on_stop_signal);
    signal(SIGTERM, on_stop_signal);
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    Simulator sim(options);
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
