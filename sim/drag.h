// Drag teaching of the simulated arm: while drag teaching is on, the arm goes where a hand moves
// it (in the simulator, a scripted joint path given by Simulator::drag_along) and, when asked,
// records its joints every kDragSample seconds. The last finished recording can be streamed to
// the client as {"point":[...]} lines (save_trajectory), approached (drag_trajectory_origin) and
// replayed at its recorded pace as trajectory type 5.
#pragma once
#include <array>
#include <deque>
#include <string>
#include <vector>

#include "sim/arm_kinematics.h"

namespace ky::sim {

class Arm;

constexpr double kDragSample = 0.01;        // seconds between recorded samples
constexpr double kPointInterval = 0.001;    // seconds between two streamed point lines
constexpr size_t kMaxDragSamples = 60000;   // ten minutes of recording

struct DragState {
    enum Mode { Off, Single, Multi };
    using Sample = std::array<double, kMaxDof>;
    Mode mode = Off;
    bool recording = false;        // this session records
    int grade = 50;                // drag sensitivity, percent
    std::vector<Sample> taking;    // samples of the session under way
    std::vector<Sample> recorded;  // the last finished recording
    double since_sample = 0;
    // The hand: joint points the arm is moved through, one every hand_step seconds.
    std::vector<Sample> hand;
    double hand_step = 0.01, hand_t = 0;
    // Point lines of a save waiting to be streamed, and whether a new save was just asked for
    // (the simulator then streams them to the client that asked).
    std::deque<std::string> pending;
    double emit_credit = 0;
    bool save_requested = false;

    bool active() const { return mode != Off; }
};

// Starts (or changes) drag teaching; false while the arm moves, is unpowered or disabled.
bool drag_start(Arm &arm, DragState::Mode mode, bool record);
// Ends drag teaching; a recording session becomes the recording. Nothing to end is no error.
void drag_stop(Arm &arm);
// Test hook: moves the arm by hand through `path` (degrees), starting from where it stands.
bool drag_hand(Arm &arm, const std::vector<DragState::Sample> &path, double step_s);
// One motion step while drag teaching: the hand's motion and the recording.
void drag_tick(Arm &arm, double dt);
const char *drag_status(const Arm &arm);
// Queues the recording as point lines; the number of points, 0 when nothing is recorded.
int drag_save(Arm &arm);
// Moves to the recording's first sample as a planned joint move; false when refused.
bool drag_origin(Arm &arm);
// Starts the replay; false unless the arm rests at the recording's first sample.
bool drag_replay(Arm &arm);
// Streams due point lines into `out` (one every kPointInterval).
void drag_emit(DragState &d, double dt, std::vector<std::string> &out);

}  // namespace ky::sim
