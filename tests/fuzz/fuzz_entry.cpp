// libFuzzer entry of one target, chosen at compile time (KYFUZZ_TARGET names the body in
// entries.h: receive, replies, udp_state or sim_request).
#include <cstdarg>
#include <cstdio>

#include "tests/fuzz/entries.h"

#define KYFUZZ_STR2(x) #x
#define KYFUZZ_STR(x) KYFUZZ_STR2(x)

namespace {
// Every message is formatted (so a bad argument of a log call shows up) and dropped: parse
// errors are the expected outcome for most inputs.
void format_and_drop(const char *format, va_list args) {
    char buf[512];
    std::vsnprintf(buf, sizeof buf, format, args);
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    ky_set_log_callback(&format_and_drop, KY_LOG_DEBUG);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (const char *problem = kyfuzz::KYFUZZ_TARGET(data, size)) {
        std::fprintf(stderr, "fuzz_" KYFUZZ_STR(KYFUZZ_TARGET) ": %s\n", problem);
        __builtin_trap();
    }
    return 0;
}
