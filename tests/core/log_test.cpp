// Logger levels, callbacks and the log file.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>

#include "support/test_util.h"

namespace {

TEST(Log, LevelThresholdSelectsMessages) {
    struct Case {
        uint32_t level;
        int expected;  // messages that pass, out of debug, info, warn, error
    } cases[] = {{0, 4}, {1, 3}, {2, 2}, {3, 1}, {4, 0}, {99, 0}};
    for (const auto &c : cases) {
        kytest::LogCapture log(c.level);
        ky_log_debug("d%d\n", 1);
        ky_log_info("i\n");
        ky_log_warn("w\n");
        ky_log_error("e\n");
        EXPECT_EQ(static_cast<int>(log.lines().size()), c.expected) << "level " << c.level;
    }
    // ky_log passes messages below the threshold (the reverse sense).
    kytest::LogCapture log(2);
    ky_log(1, "low\n");
    ky_log(2, "same\n");
    ky_log(3, "high\n");
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0], "low\n");
}

TEST(Log, NullCallbackRestoresTheDefaultAndSecondNameIsTheSame) {
    kytest::LogCapture log;
    ky_log_callback now = ky_set_log_call_back(nullptr, 0);
    EXPECT_NE(now, nullptr);
    testing::internal::CaptureStderr();
    ky_log_debug("to stderr %d", 5);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "to stderr 5");
}

TEST(Log, LogFileLinesCarryTheTimeStamp) {
    char path[] = "/tmp/kylogXXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    ky_set_log_save(path);
    ky_log_debug("first %s\n", "message");
    ky_log_error("second");
    ky_set_log_callback(nullptr, KY_LOG_ERROR);
    std::ifstream in(path);
    std::stringstream all;
    all << in.rdbuf();
    std::remove(path);
    const std::string stamp = R"(\[\d{4}-\d{2}-\d{2} \d{2}_\d{2}_\d{2}\])";
    EXPECT_TRUE(std::regex_search(all.str(), std::regex(stamp + " Begin API Testing.\n"))) << all.str();
    EXPECT_TRUE(std::regex_search(all.str(), std::regex(stamp + ": first message\n\n"))) << all.str();
    EXPECT_TRUE(std::regex_search(all.str(), std::regex(stamp + ": second\n"))) << all.str();
}

TEST(Log, CurrentTimeFormat) {
    EXPECT_TRUE(std::regex_match(ky_get_cur_time(), std::regex(R"(\d{4}-\d{2}-\d{2} \d{2}_\d{2}_\d{2})")));
}

TEST(LogDeathTest, UnopenableLogFileEndsTheProcess) {
    EXPECT_EXIT(ky_set_log_save("/nonexistent-dir/x/y.log"), ::testing::ExitedWithCode(1), "Failed to open log file");
}

}  // namespace
