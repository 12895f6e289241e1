#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/FileDescriptor.h"
#include "bench/FrameLog.h"
#include "bench/PseudoTerminal.h"
#include "bench/UnitFrame.h"
#include "bench/UnitParser.h"

namespace bench {

/// How the unit treats a frame of one message id.
enum class Policy {
    Standard,         ///< ACK when asked for, then a response unless the id is exempt from it
    AckOnly,          ///< ACK when asked for, no response
    AckThenResponse,  ///< both, whatever is asked for
    ResponseThenAck,  ///< both, the response first
    ResponseOnly,
    Nak,
    Reject,       ///< ACK when asked for, then a response that rejects
    Silence,      ///< nothing
    DamagedBytes  ///< the standard answers, each with its header checksum spoilt
};

/// A policy, the time that the unit waits before it answers, and how many frames it holds for;
/// afterwards the id is treated by the model's default again. A count of 0 is "for ever".
struct Reaction {
    Policy policy = Policy::Standard;
    std::chrono::milliseconds delay{0};
    unsigned count = 0;
};

/// One frame that the server sent. `lastByte` is taken right after the read that brought the last
/// byte (CLOCK_MONOTONIC, comparable between processes of one machine).
struct LoggedFrame {
    UnitFrame frame;
    std::vector<std::uint8_t> bytes;
    std::chrono::steady_clock::time_point lastByte;
};

/// The receiver unit's side of one serial link, alive on a thread of its own.
///
/// It takes what the server writes to the pseudo-terminal, logs it and answers by policy. All
/// operations may be called from any thread; what touches the line is done by the model's thread.
class UnitModel {
public:
    using Duration = std::chrono::milliseconds;
    using Predicate = std::function<bool(const LoggedFrame&)>;

    struct Options {
        std::vector<std::uint16_t> noHandshake = defaultNoHandshake();
        Reaction reaction;               ///< for ids without one of their own; its count is ignored
        std::size_t keptFrames = 50000;  ///< older frames leave the log, not the counters
        /// Called on the model's thread for each frame, when its answers are queued and before it
        /// is logged. May send, and must not call back otherwise.
        std::function<void(const LoggedFrame&)> observer;
        /// Called on the model's thread whenever it is about to hand bytes to the line, with the
        /// model's lock held. Must not call back.
        std::function<void()> sending;
    };

    struct Statistics {
        UnitParser::Counters line;
        std::map<std::uint16_t, std::uint64_t> framesById;
        std::uint64_t sentBytes = 0;  ///< handed to the line
    };

    /// The message ids that the unit does not answer with a response.
    static std::vector<std::uint16_t> defaultNoHandshake();

    /// Opens the pseudo-terminal and begins to listen. Raises std::system_error.
    UnitModel();
    explicit UnitModel(Options options);
    ~UnitModel();
    UnitModel(const UnitModel&) = delete;
    UnitModel& operator=(const UnitModel&) = delete;

    /// The device that stands for the computer's serial port; another one after reconnect().
    std::string devicePath() const;

    void setReaction(std::uint16_t id, Reaction reaction);

    /// Queues a frame, or any bytes, behind what waits to be sent already.
    void send(const UnitFrame& frame) { sendBytes(frame.encode()); }
    void sendBytes(std::vector<std::uint8_t> bytes);

    /// Queues a frame once the delay is over, behind the answers to what has come so far.
    void sendLater(const UnitFrame& frame, Duration delay);

    /// True once the line has taken all that was queued.
    bool waitUntilSent(Duration timeout) const;

    /// Leaves what the server writes in the terminal, until resumeReading().
    void stopReading();
    void resumeReading();

    /// Takes the line away as a pulled cable does, and puts up a new one. Both return when done.
    void hangUp();
    void reconnect();

    std::vector<LoggedFrame> frames() const;
    std::vector<LoggedFrame> frames(std::uint16_t id) const;
    Statistics statistics() const;

    /// Waits until `count` logged frames satisfy the predicate.
    bool waitForFrames(std::size_t count, Duration timeout, const Predicate& wanted) const;
    bool waitForFrames(std::size_t count, Duration timeout) const;
    bool waitForFrames(std::uint16_t id, std::size_t count, Duration timeout) const;

    /// The last `most` frames as text, for the report of a failed test.
    std::string describe(std::size_t most = 50) const;

private:
    using Clock = std::chrono::steady_clock;
    using Bytes = std::vector<std::uint8_t>;
    enum class LineChange { None, HangUp, Reconnect };

    void run();
    void takeInput();
    void onFrame(const UnitFrame& frame, const Bytes& bytes, Clock::time_point lastByte);
    void queueAnswers(const UnitFrame& frame);
    std::vector<UnitFrame> answersTo(const UnitFrame& frame, Policy policy) const;
    Reaction takeReaction(std::uint16_t id);
    void applyLineChange();
    void writeOutgoing();
    int pollTimeout() const;
    void wake() const;
    void changeLine(LineChange change);

    const Options options_;
    const FileDescriptor wakeEvent_;

    // The model's thread alone.
    PseudoTerminal terminal_;
    UnitParser parser_;
    Clock::time_point readTime_;

    mutable std::mutex mutex_;  // guards the rest; a leaf, and not held around the observer
    mutable std::condition_variable changed_;
    std::string devicePath_;
    std::map<std::uint16_t, Reaction> reactions_;
    std::multimap<Clock::time_point, Bytes> late_;
    std::deque<std::uint8_t> outgoing_;
    FrameLog<LoggedFrame> log_;
    Statistics statistics_;
    LineChange lineChange_ = LineChange::None;
    bool connected_ = true;
    bool reading_ = true;
    bool stop_ = false;

    std::thread thread_;
};

}  // namespace bench
