#include "bench/UnitModel.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "bench/Patience.h"

namespace bench {
namespace {

// The unit has more than this to say only when a test floods the line.
constexpr std::size_t writePiece = 4096;

FileDescriptor makeEvent() {
    FileDescriptor event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event.valid()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return event;
}

std::string flagText(std::uint16_t flags) {
    constexpr std::array<std::pair<std::uint16_t, const char*>, 6> names{{
        {UnitFrame::linkReady, "ready"},
        {UnitFrame::ackRequest, "ack?"},
        {UnitFrame::ack, "ACK"},
        {UnitFrame::nak, "NAK"},
        {UnitFrame::response, "response"},
        {UnitFrame::reject, "reject"},
    }};
    std::string text;
    for (const auto& [flag, name] : names) {
        if ((flags & flag) != 0) {
            text += std::string(text.empty() ? "" : "+") + name;
        }
    }
    return text.empty() ? "none" : text;
}

}  // namespace

std::vector<std::uint16_t> UnitModel::defaultNoHandshake() {
    return {15054, 5044,  5047,  5048,  5406,  8040, 8080, 8504, 15050, 15051, 27530,
            27531, 15052, 15053, 27552, 30000, 5101, 5103, 5104, 5120,  5121,  5122,
            5123,  5124,  5125,  5126,  5127,  5128, 5134, 5135, 5401,  8015};
}

UnitModel::UnitModel() : UnitModel(Options{}) {}

UnitModel::UnitModel(Options options)
    : options_(std::move(options)),
      wakeEvent_(makeEvent()),
      parser_(
          [this](const UnitFrame& frame, const Bytes& bytes) { onFrame(frame, bytes, readTime_); }),
      devicePath_(terminal_.slavePath()),
      log_(options_.keptFrames) {
    thread_ = std::thread([this] { run(); });
}

UnitModel::~UnitModel() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake();
    thread_.join();
}

std::string UnitModel::devicePath() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return devicePath_;
}

void UnitModel::setReaction(std::uint16_t id, Reaction reaction) {
    const std::lock_guard<std::mutex> lock(mutex_);
    reactions_[id] = reaction;
}

void UnitModel::sendBytes(std::vector<std::uint8_t> bytes) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (connected_) {
            outgoing_.insert(outgoing_.end(), bytes.begin(), bytes.end());
        }
    }
    wake();
}

void UnitModel::sendLater(const UnitFrame& frame, Duration delay) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (connected_) {
            late_.emplace(Clock::now() + delay, frame.encode());
        }
    }
    wake();
}

bool UnitModel::waitUntilSent(Duration timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return waitFor(changed_, lock, timeout, [this] { return outgoing_.empty() && late_.empty(); });
}

void UnitModel::stopReading() {
    const std::lock_guard<std::mutex> lock(mutex_);
    reading_ = false;
    wake();
}

void UnitModel::resumeReading() {
    const std::lock_guard<std::mutex> lock(mutex_);
    reading_ = true;
    wake();
}

void UnitModel::hangUp() {
    changeLine(LineChange::HangUp);
}
void UnitModel::reconnect() {
    changeLine(LineChange::Reconnect);
}

/// Has the model's thread do it: closing the terminal while that thread waits on it would put the
/// hang-up off until the wait is over.
void UnitModel::changeLine(LineChange change) {
    std::unique_lock<std::mutex> lock(mutex_);
    lineChange_ = change;
    wake();
    changed_.wait(lock, [this] { return lineChange_ == LineChange::None; });
}

std::vector<LoggedFrame> UnitModel::frames() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return log_.all();
}

std::vector<LoggedFrame> UnitModel::frames(std::uint16_t id) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return log_.ofId(id);
}

UnitModel::Statistics UnitModel::statistics() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return statistics_;
}

bool UnitModel::waitForFrames(std::size_t count, Duration timeout, const Predicate& wanted) const {
    std::uint64_t next = 0;
    std::size_t seen = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    return waitFor(changed_, lock, timeout, [&] {
        seen += log_.countFrom(next, wanted);
        return seen >= count;
    });
}

bool UnitModel::waitForFrames(std::size_t count, Duration timeout) const {
    return waitForFrames(count, timeout, [](const LoggedFrame&) { return true; });
}

bool UnitModel::waitForFrames(std::uint16_t id, std::size_t count, Duration timeout) const {
    return waitForFrames(count, timeout,
                         [id](const LoggedFrame& entry) { return entry.frame.id == id; });
}

std::string UnitModel::describe(std::size_t most) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const UnitParser::Counters& line = statistics_.line;
    std::string text = std::to_string(line.frames) + " frames in " + std::to_string(line.bytes) +
                       " bytes, " + std::to_string(line.checksumErrors()) + " checksum errors, " +
                       std::to_string(line.skippedBytes) + " bytes outside of frames\n";
    for (const LoggedFrame& entry : log_.last(most)) {
        const UnitFrame& frame = entry.frame;
        text += "  " + std::to_string(frame.id) + ", " + std::to_string(frame.data.size()) +
                " words, " + flagText(frame.flags) + ": " + hexadecimal(entry.bytes) + "\n";
    }
    return text;
}

void UnitModel::wake() const {
    const std::uint64_t one = 1;
    // A full counter is as good a wake-up as any.
    [[maybe_unused]] const ssize_t written = ::write(wakeEvent_.get(), &one, sizeof one);
}

void UnitModel::run() {
    while (true) {
        std::array<pollfd, 2> events{pollfd{wakeEvent_.get(), POLLIN, 0}, pollfd{-1, 0, 0}};
        int timeout = -1;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (stop_) {
                return;
            }
            applyLineChange();
            writeOutgoing();
            events[1].fd = terminal_.descriptor();
            events[1].events =
                static_cast<short>((reading_ ? POLLIN : 0) | (outgoing_.empty() ? 0 : POLLOUT));
            timeout = pollTimeout();
        }
        ::poll(events.data(), events.size(), timeout);
        if (events[0].revents != 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const ssize_t taken = ::read(wakeEvent_.get(), &count, sizeof count);
        }
        if ((events[1].revents & POLLIN) != 0) {
            takeInput();
        }
    }
}

/// Milliseconds to the next late answer, rounded up; -1 for none. Called with the lock held.
int UnitModel::pollTimeout() const {
    if (late_.empty()) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(late_.begin()->first - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

/// Called with the lock held.
void UnitModel::applyLineChange() {
    if (lineChange_ == LineChange::None) {
        return;
    }
    parser_.reset();
    outgoing_.clear();
    late_.clear();
    connected_ = lineChange_ == LineChange::Reconnect;
    if (connected_) {
        terminal_.reopen();
        devicePath_ = terminal_.slavePath();
    } else {
        terminal_.hangUp();
    }
    lineChange_ = LineChange::None;
    changed_.notify_all();
}

/// Called with the lock held.
void UnitModel::writeOutgoing() {
    while (!late_.empty() && late_.begin()->first <= Clock::now()) {
        const Bytes& bytes = late_.begin()->second;
        outgoing_.insert(outgoing_.end(), bytes.begin(), bytes.end());
        late_.erase(late_.begin());
    }
    std::size_t written = 0;
    do {
        const std::size_t size = std::min(writePiece, outgoing_.size());
        if (size > 0 && options_.sending) {
            options_.sending();
        }
        const Bytes piece(outgoing_.begin(), outgoing_.begin() + static_cast<std::ptrdiff_t>(size));
        written = terminal_.write(piece.data(), piece.size());
        outgoing_.erase(outgoing_.begin(),
                        outgoing_.begin() + static_cast<std::ptrdiff_t>(written));
        statistics_.sentBytes += written;
    } while (written > 0);
    if (outgoing_.empty()) {
        changed_.notify_all();
    }
}

void UnitModel::takeInput() {
    std::array<std::uint8_t, 4096> buffer;
    const std::size_t count = terminal_.read(buffer.data(), buffer.size());
    readTime_ = Clock::now();
    parser_.feed(buffer.data(), count);
    const std::lock_guard<std::mutex> lock(mutex_);
    statistics_.line = parser_.counters();
    changed_.notify_all();
}

void UnitModel::onFrame(const UnitFrame& frame, const Bytes& bytes, Clock::time_point lastByte) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queueAnswers(frame);
    }
    LoggedFrame entry{frame, bytes, lastByte};
    if (options_.observer) {
        options_.observer(entry);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    ++statistics_.framesById[frame.id];
    log_.add(std::move(entry));
}

/// Called with the lock held.
Reaction UnitModel::takeReaction(std::uint16_t id) {
    const auto found = reactions_.find(id);
    if (found == reactions_.end()) {
        return options_.reaction;
    }
    const Reaction reaction = found->second;
    if (found->second.count > 0 && --found->second.count == 0) {
        reactions_.erase(found);
    }
    return reaction;
}

/// Called with the lock held.
void UnitModel::queueAnswers(const UnitFrame& frame) {
    if (frame.isHandshake()) {
        return;
    }
    const Reaction reaction = takeReaction(frame.id);
    Bytes all;
    for (const UnitFrame& answer : answersTo(frame, reaction.policy)) {
        Bytes bytes = answer.encode();
        if (reaction.policy == Policy::DamagedBytes) {
            bytes.back() = static_cast<std::uint8_t>(bytes.back() ^ 0x55);
        }
        all.insert(all.end(), bytes.begin(), bytes.end());
    }
    if (!all.empty()) {
        late_.emplace(Clock::now() + reaction.delay, std::move(all));
    }
}

std::vector<UnitFrame> UnitModel::answersTo(const UnitFrame& frame, Policy policy) const {
    const UnitFrame ack = UnitFrame::makeAck(frame.id);
    const UnitFrame response = UnitFrame::makeResponse(frame.id);
    std::vector<UnitFrame> answers;
    if (frame.has(UnitFrame::ackRequest)) {
        answers.push_back(ack);
    }
    switch (policy) {
        case Policy::Standard:
        case Policy::DamagedBytes:
            if (std::find(options_.noHandshake.begin(), options_.noHandshake.end(), frame.id) ==
                options_.noHandshake.end()) {
                answers.push_back(response);
            }
            return answers;
        case Policy::AckOnly:
            return answers;
        case Policy::AckThenResponse:
            return {ack, response};
        case Policy::ResponseThenAck:
            return {response, ack};
        case Policy::ResponseOnly:
            return {response};
        case Policy::Nak:
            return {UnitFrame::makeNak(frame.id)};
        case Policy::Reject:
            answers.push_back(UnitFrame::makeReject(frame.id));
            return answers;
        case Policy::Silence:
            return {};
    }
    return {};
}

}  // namespace bench
