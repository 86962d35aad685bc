// libFuzzer entry of the replies target; the body lives in entries.h.
#include <cstdarg>
#include <cstdio>

#include "tests/fuzz/entries.h"

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
    if (const char *problem = kyfuzz::replies(data, size)) {
        std::fprintf(stderr, "fuzz_replies: %s\n", problem);
        __builtin_trap();
    }
    return 0;
}
