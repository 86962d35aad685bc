// Replays the saved fuzz inputs through the fuzz targets' own entry functions in the ordinary
// build: every seed of tests/fuzz/corpus/<target>/ and every input that once broke a parser,
// kept in tests/fuzz/regressions/<target>/. An entry reports the property an input broke;
// memory errors show in the sanitizer builds.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/test_util.h"
#include "tests/fuzz/entries.h"

namespace {

namespace fs = std::filesystem;

const fs::path kFuzzDir = fs::path(KY_TESTS_DIR) / "fuzz";

struct Target {
    const char *name;
    const char *(*entry)(const uint8_t *, size_t);
};

const Target kTargets[] = {
    {"receive", kyfuzz::receive},
    {"replies", kyfuzz::replies},
    {"udp_state", kyfuzz::udp_state},
    {"sim_request", kyfuzz::sim_request},
};

std::vector<fs::path> inputs(const std::string &target) {
    std::vector<fs::path> out;
    for (const char *kind : {"corpus", "regressions"}) {
        const fs::path dir = kFuzzDir / kind / target;
        if (!fs::is_directory(dir)) continue;
        for (const auto &e : fs::directory_iterator(dir)) {
            if (e.is_regular_file()) out.push_back(e.path());
        }
    }
    return out;
}

TEST(FuzzRegression, SavedInputsReplayCleanly) {
    kytest::LogCapture quiet(KY_LOG_ERROR);  // most inputs are meant to fail to parse
    for (const Target &t : kTargets) {
        const auto files = inputs(t.name);
        EXPECT_FALSE(files.empty()) << "no saved inputs for " << t.name << " under " << kFuzzDir;
        for (const fs::path &file : files) {
            std::ifstream in(file, std::ios::binary);
            const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            const char *problem = t.entry(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            EXPECT_EQ(problem, nullptr) << t.name << ": " << file.filename() << ": " << (problem ? problem : "");
        }
    }
}

}  // namespace
