#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "bench/FrameLog.h"
#include "bench/UnitFrame.h"
#include "bench/UnitModel.h"

namespace bench {

/// The messages around a frame for one virtual unit, 1 to 4, and from one: data word 0 is the
/// unit's number, the rest the inner frame with header and checksums.
constexpr std::uint16_t toVirtualUnit = 27552;
constexpr std::uint16_t fromVirtualUnit = 27553;

/// A wrapper of message `id` around any bytes, of which there must be an even number.
UnitFrame wrapBytes(std::uint16_t id, std::uint16_t unit, const std::vector<std::uint8_t>& inner);

/// A wrapper around a frame with good checksums; it asks for an ACK when the frame does.
UnitFrame wrap(std::uint16_t id, std::uint16_t unit, const UnitFrame& inner);

/// The bytes of the frame that a wrapper holds, good or bad: all of its data behind the number.
std::vector<std::uint8_t> innerBytes(const UnitFrame& wrapper);

/// Message 5044: a status and a text of up to 32 characters. It asks for an ACK.
UnitFrame makeStatus(std::uint16_t status, std::string text);

/// How a virtual unit treats a message of one id.
struct VirtualReaction {
    std::vector<UnitFrame> answers;      ///< each sent in a wrapper of its own
    bool onlyWhenAsked = false;          ///< and only to a message that asks for an ACK
    std::chrono::milliseconds delay{0};  ///< before the first answer
    unsigned count = 0;                  ///< how many messages it holds for; 0 is "for ever"
};

/// A message as a virtual unit got it; `bytes` are those of the inner frame.
struct VirtualFrame : LoggedFrame {
    bool wrapped = false;  ///< for this unit alone, or for all of them
};

/// The four virtual units behind the receiver unit of link 1. They take what that unit has got off
/// the line, and speak through it. A message without a wrapper is seen by all four; one in a
/// wrapper is checked to the last word and goes to its unit.
///
/// By default they answer a command (5001) that asks for an ACK with status 16, and nothing else.
/// Any thread may call; the mutex is a leaf, and not held around the observer and the line.
class VirtualUnits {
public:
    static constexpr unsigned count = 4;
    static constexpr std::uint16_t commandTaken = 16;  ///< the status of the default answer

    using Duration = std::chrono::milliseconds;
    using Predicate = std::function<bool(const VirtualFrame&)>;

    /// How the unit speaks: UnitModel's send and sendLater.
    struct Line {
        std::function<void(const UnitFrame& frame)> send;
        std::function<void(const UnitFrame& frame, Duration delay)> sendLater;
    };

    struct Options {
        std::size_t keptFrames = 50000;  ///< of each unit; older ones leave its log
        /// Called on the unit's thread for each message, before it is logged. Must not call back.
        std::function<void(unsigned unit, const VirtualFrame&)> observer;
    };

    explicit VirtualUnits(Line line);
    VirtualUnits(Line line, Options options);

    /// Takes a frame that the unit got off the line. On the unit's thread.
    void take(const LoggedFrame& frame);

    // All that follows raises std::out_of_range for a unit that is not 1 to 4.

    void setReaction(unsigned unit, std::uint16_t id, VirtualReaction reaction);

    /// Has the unit send a frame, or any even number of bytes in its place.
    void send(unsigned unit, const UnitFrame& inner);
    void sendBytes(unsigned unit, const std::vector<std::uint8_t>& inner);

    std::vector<VirtualFrame> frames(unsigned unit) const;
    std::vector<VirtualFrame> frames(unsigned unit, std::uint16_t id) const;

    /// Waits until `count` logged messages of the unit satisfy the predicate.
    bool waitForFrames(unsigned unit, std::size_t count, Duration timeout,
                       const Predicate& wanted) const;
    bool waitForFrames(unsigned unit, std::uint16_t id, std::size_t count, Duration timeout) const;

    /// Wrappers that no virtual unit could take, and why the first few of them.
    std::uint64_t defects() const;
    bool waitForDefects(std::uint64_t count, Duration timeout) const;
    std::vector<std::string> defectTexts() const;

    /// Defects and, of the last `most` messages of each unit, those for it alone: for the report of
    /// a failed test.
    std::string describe(std::size_t most = 10) const;

private:
    struct Unit {
        FrameLog<VirtualFrame> log;
        std::map<std::uint16_t, VirtualReaction> reactions;
    };

    static VirtualReaction defaultReaction(std::uint16_t id);
    void deliver(unsigned unit, const VirtualFrame& frame);
    void note(const std::string& defect);
    VirtualReaction takeReaction(Unit& unit, std::uint16_t id);

    const Line line_;
    const Options options_;

    mutable std::mutex mutex_;  // guards the rest
    mutable std::condition_variable changed_;
    std::array<Unit, count> units_;
    std::uint64_t defects_ = 0;
    std::vector<std::string> defectTexts_;
};

}  // namespace bench
