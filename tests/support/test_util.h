// Shared helpers of the test suites: log capture, library set-up and tear-down, and a
// robot connected to a fake controller.
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "ky_api.h"
#include "support/fake_controller.h"

namespace kytest {

// Captures every log message (formatted) while alive; restores the default logger after.
class LogCapture {
public:
    explicit LogCapture(uint32_t level = KY_LOG_DEBUG);
    ~LogCapture();
    std::vector<std::string> lines() const;
    bool contains(std::string_view text) const;
    void clear();
};

// Starts the library in `mode` with short time-outs; ky_destory and the default time-outs
// at the end of the scope.
class Library {
public:
    explicit Library(int mode = 1, int out_time = 200, int out_time_max = 300);
    ~Library();
};

// Creates a robot against `fake` after scripting its identity queries.
ky_robot_handle *connect(FakeController &fake, const std::string &product = "KY6A-B");

// A library in mode `Mode` with one robot connected to a fake controller that answers the
// connection-time queries; what the connection sent is cleared before the test starts.
template <int Mode = 1>
class ConnectedTest : public ::testing::Test {
protected:
    Library lib{Mode};
    FakeController fake;
    ky_robot_handle *robot = nullptr;

    void SetUp() override {
        robot = connect(fake);
        ASSERT_NE(robot, nullptr);
        ASSERT_EQ(robot->id, 1);
        fake.clear_received();
    }
};

// Completion lines announced by accepted non-blocking moves of `robot` and not seen yet.
int pending_completions(ky_robot_handle *robot);

// The request line's member `key` printed unformatted (for exact comparisons of one member).
std::string member_of(const std::string &request, const std::string &key);

}  // namespace kytest
