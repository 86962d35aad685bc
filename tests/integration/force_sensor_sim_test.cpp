// Force sensors against the simulator running in-process: the reading follows the active
// tool's payload and the arm's pose, clearing zeroes it, calibrations block until their report.
#include <gtest/gtest.h>

#include <cmath>
#include <chrono>
#include <cstring>
#include <future>
#include <thread>
#include <vector>

#include "sim/simulator.h"
#include "support/sim_fixture.h"
#include "support/test_util.h"

namespace {

constexpr float kTol = 0.002f;  // wire thousandths plus single-precision rounding

float norm3(const float *v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

template <const char *Product>
class ForceSim : public kytest::SimTest {
protected:
    ForceSim() {
        options.product_version = Product;
        options.force_noise = false;
    }
    // Creates a tool (payload kg, centre of mass on the flange in m) and switches to it.
    void use_payload(const char *name, float kg, float cx, float cy, float cz) {
        ky_frame f{};
        std::strcpy(f.frame_name, name);
        f.pose.quaternion = {1, 0, 0, 0};
        f.payload = kg;
        f.x = cx;
        f.y = cy;
        f.z = cz;
        ASSERT_EQ(ky_set_manual_tool_frame(robot, &f), 0);
        ASSERT_EQ(ky_change_tool_frame(robot, name), 0);
    }
    ky_force_data read() {
        ky_force_data d{};
        EXPECT_EQ(ky_get_force_data(robot, &d), 0);
        return d;
    }
};

char kSixAxis[] = "KY6A-6F";
char kOneAxis[] = "KY6A-ZF";
using SixAxisSim = ForceSim<kSixAxis>;
using OneAxisSim = ForceSim<kOneAxis>;

// The weight of the payload appears in the reading with its full magnitude whatever the pose,
// turns with the flange, and its moment is perpendicular to it and to the centre-of-mass arm.
TEST_F(SixAxisSim, ReadingFollowsPayloadAndPose) {
    const ky_force_data empty = read();
    use_payload("load", 2.0f, 0, 0, 0.1f);
    const float weight = 2.0f * 9.81f;
    std::vector<std::vector<float>> directions;
    for (const std::vector<double> &q : {std::vector<double>{0, 0, 0, 0, 0, 0}, {0, 20, -40, 0, 90, 0},
                                          {30, -10, 50, 45, -60, 90}}) {
        ASSERT_TRUE(sim->set_joints(q));
        const ky_force_data d = read();
        float f[3], m[3];
        for (int i = 0; i < 3; ++i) {
            f[i] = d.force_data[i] - empty.force_data[i];
            m[i] = d.force_data[i + 3] - empty.force_data[i + 3];
        }
        EXPECT_NEAR(norm3(f), weight, 3 * kTol);
        EXPECT_NEAR(f[0] * m[0] + f[1] * m[1] + f[2] * m[2], 0.0f, 0.05f);
        EXPECT_NEAR(m[2], 0.0f, kTol);  // the arm of the moment lies along the flange's z
        EXPECT_LE(norm3(m), 0.1f * weight + 3 * kTol);
        directions.push_back({f[0] / weight, f[1] / weight, f[2] / weight});
    }
    // The second and third poses turn the flange: the weight is seen along other axes.
    for (size_t k = 1; k < directions.size(); ++k) {
        const float dot = directions[0][0] * directions[k][0] + directions[0][1] * directions[k][1] +
                          directions[0][2] * directions[k][2];
        EXPECT_LT(dot, 0.99f) << k;
    }
}

// Clearing takes the present reading as the zero; the zero is then reported in the sensor frame,
// and with the same magnitude in the work and tool frames.
TEST_F(SixAxisSim, ClearingZeroesTheReading) {
    use_payload("load", 1.5f, 0.02f, 0, 0.05f);
    ASSERT_TRUE(sim->set_joints({0, 20, -40, 0, 90, 0}));
    const ky_force_data before = read();
    ASSERT_EQ(ky_clear_force_data(robot), 0);
    const ky_force_data after = read();
    for (int i = 0; i < 6; ++i) {
        EXPECT_NEAR(after.force_data[i], 0.0f, kTol) << i;
        EXPECT_NEAR(after.zero_force_data[i], before.force_data[i], kTol) << i;
        // The tool frame sits on the flange without rotation.
        EXPECT_NEAR(after.tool_zero_force_data[i], after.zero_force_data[i], kTol) << i;
    }
    EXPECT_NEAR(norm3(after.work_zero_force_data), norm3(after.zero_force_data), 3 * kTol);
    EXPECT_NEAR(norm3(after.work_zero_force_data + 3), norm3(after.zero_force_data + 3), 3 * kTol);

    // A heavier payload now reads as the difference only.
    use_payload("heavier", 2.5f, 0.02f, 0, 0.05f);
    EXPECT_NEAR(norm3(read().force_data), 1.0f * 9.81f, 3 * kTol);

    // The one-axis view of the six-axis sensor: Fz and its zero are the z components.
    float fz[4] = {};
    ASSERT_EQ(ky_get_Fz(robot, fz), 0);
    const ky_force_data now = read();
    EXPECT_NEAR(fz[0], now.force_data[2], kTol);
    EXPECT_NEAR(fz[1], now.zero_force_data[2], kTol);
    EXPECT_NEAR(fz[3], now.tool_zero_force_data[2], kTol);
}

// A blocking calibration returns once the controller reports its end: its result (the new
// zero) is there when the call returns; one stopped meanwhile returns 1. The manual form answers only after the fourth pose,
// and refuses a fourth pose without the first three.
TEST_F(SixAxisSim, CalibrationsBlockUntilTheirReport) {
    ASSERT_EQ(ky_clear_force_data(robot), 0);  // zero = bias at no load
    use_payload("load", 1.0f, 0, 0, 0);
    ASSERT_EQ(ky_clear_force_data(robot), 0);  // zero = bias + the payload's weight
    const ky_force_data cleared = read();

    ASSERT_EQ(ky_set_force_sensor(robot, true), 0);
    const ky_force_data calibrated = read();
    // The calibration removed the sensor's bias only: the payload's weight is read again.
    EXPECT_NEAR(norm3(calibrated.force_data), 9.81f, 3 * kTol);
    float moved[3];
    for (int i = 0; i < 3; ++i) moved[i] = calibrated.zero_force_data[i] - cleared.zero_force_data[i];
    EXPECT_NEAR(norm3(moved), 9.81f, 3 * kTol);

    float pose[6] = {0, 10, -20, 0, 30, 0};
    float pose4[6] = {0, 0, 0, 0, 0, 0};
    EXPECT_EQ(ky_manual_set_force(robot, 4, pose4, true), 1);  // poses 1 to 3 missing
    for (int type = 1; type <= 3; ++type) {
        pose[0] = static_cast<float>(10 * type);
        ASSERT_EQ(ky_manual_set_force(robot, type, pose, true), 0);
    }
    ASSERT_EQ(ky_clear_force_data(robot), 0);
    ASSERT_EQ(ky_manual_set_force(robot, 4, pose4, true), 0);
    EXPECT_NEAR(norm3(read().force_data), 9.81f, 3 * kTol);

    // A calibration started without waiting is stopped; the next one can start and finish.
    ASSERT_EQ(ky_set_force_sensor(robot, false), 0);
    EXPECT_EQ(ky_clear_force_data(robot), 1);  // busy calibrating
    ASSERT_EQ(ky_stop_set_force_sensor(robot), 0);
    EXPECT_EQ(ky_set_force_sensor(robot, true), 0);

    // A blocking calibration stopped from another thread returns the stopped report's false.
    auto waiting = std::async(std::launch::async, [this] { return ky_set_force_sensor(robot, true); });
    bool busy = false;
    for (int i = 0; i < 400 && !busy; ++i) {
        busy = ky_clear_force_data(robot) == 1;
        if (!busy) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    ASSERT_TRUE(busy);
    ASSERT_EQ(ky_stop_set_force_sensor(robot), 0);
    EXPECT_EQ(waiting.get(), 1);
}

// A one-axis arm: the library does not ask for Fz (sensor type 1), the six-axis query is
// answered as for a missing sensor, the Fz clearing and calibrations work.
TEST_F(OneAxisSim, OnlyTheFzCommandsAreServed) {
    EXPECT_EQ(robot->force_type, 1);
    const uint64_t sent = sim->commands_received();
    float fz[4] = {-7, -7, -7, -7};
    EXPECT_EQ(ky_get_Fz(robot, fz), -2);
    EXPECT_EQ(sim->commands_received(), sent);
    EXPECT_EQ(fz[0], -7.0f);

    ky_force_data d{};
    EXPECT_EQ(ky_get_force_data(robot, &d), -3);  // {"command":"get_force_data","get_state":false}
    EXPECT_EQ(ky_clear_force_data(robot), 1);
    EXPECT_EQ(ky_set_force_sensor(robot, true), 1);

    EXPECT_EQ(ky_clear_Fz(robot), 0);
    EXPECT_EQ(ky_auto_set_Fz(robot, true), 0);
    float p1[6] = {0, 0, 0, 0, 0, 0}, p2[6] = {0, 0, 0, 0, 90, 0}, bad[6] = {0, 0, 0, 0, 900, 0};
    EXPECT_EQ(ky_manual_set_Fz(robot, p1, p2, true), 0);
    EXPECT_EQ(ky_manual_set_Fz(robot, p1, bad, true), 1);  // outside the joint limits
}

}  // namespace
