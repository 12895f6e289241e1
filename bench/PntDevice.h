#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <vector>

#include "bench/FrameLog.h"
#include "bench/PntMessages.h"
#include "bench/UnitModel.h"

namespace bench {

/// The PNT device of the receiver unit, at its own port, link 3: it takes what that unit has got
/// off the line, and answers through it as it is set. At first it is silent, which leaves the line
/// to a test.
///
/// What it does when it answers: at the start of the server it tells the labels of its tests; asked
/// for them it tells its BIT status, its ids, the outcome of a zeroize and its side of the SLIP
/// channel.
///
/// Any thread may call; the mutex is a leaf, and not held around the line.
class PntDevice {
public:
    using Duration = std::chrono::milliseconds;

    enum class Answer { Silent, Fail, Pass };

    /// How the device stands, and how it answers.
    struct State {
        bool answering = false;
        Duration delay{0};  ///< before an answer
        std::vector<pnt::Entry> entries;
        std::vector<pnt::Label> labels;
        pnt::Ids ids;
        Answer zeroize = Answer::Pass;
        Answer slip = Answer::Pass;  ///< its side of the channel opens
    };

    /// How the unit speaks: UnitModel's sendLater.
    using Line = std::function<void(const UnitFrame& frame, Duration delay)>;

    explicit PntDevice(Line line) : line_(std::move(line)) {}

    /// Takes a frame that the unit got off the line. On the unit's thread.
    void take(const LoggedFrame& frame);

    State state() const;
    void change(const std::function<void(State&)>& edit);

    /// Has the device speak unasked, whether it answers or not.
    void send(const UnitFrame& frame) { line_(frame, Duration(0)); }
    void sendBitStatus();
    void sendFaultLabels();
    void sendIds();

private:
    const Line line_;
    mutable std::mutex mutex_;
    State state_;  // guarded by mutex_
};

}  // namespace bench
