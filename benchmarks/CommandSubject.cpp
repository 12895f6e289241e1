#include "benchmarks/CommandSubject.h"

#include <stdexcept>
#include <thread>

namespace benchmarks {
namespace {

using namespace std::chrono_literals;

constexpr std::int32_t controllerDevice = 0x03350200;  // the system controller's commands
constexpr auto answerTimeout = 2s;                     // for the last answers of a block
constexpr auto discoveryStep = 200ms;
constexpr int discoverySteps = 100;

}  // namespace

CommandSubject::CommandSubject(FloorSettings const& settings)
    : listener_(Take{*this}),
      participant_(settings),
      commands_(participant_.publish<Record>("Command")) {
    participant_.subscribe<Record>("Response", listener_);
}

void CommandSubject::publish(std::string const& text) {
    Record command;
    command.header().device_id(controllerDevice);
    command.command_response(text);
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        command.command_identifier(first_ + static_cast<std::int32_t>(exchanges_.size()));
        exchanges_.push_back({Clock::now(), {}, false});
    }
    commands_.write(&command);
}

void CommandSubject::take(Record const& record) {
    auto const now = Clock::now();
    std::lock_guard<std::mutex> const lock(mutex_);
    auto const index = static_cast<std::int64_t>(record.command_identifier()) - first_;
    if (index < 0 || index >= static_cast<std::int64_t>(exchanges_.size())) {
        return;  // of an earlier block
    }
    auto& exchange = exchanges_[static_cast<std::size_t>(index)];
    if (!exchange.isAnswered) {
        exchange.answered = now;
        exchange.isAnswered = true;
        ++answers_;
        answered_.notify_one();
    }
}

bool CommandSubject::waitForAnswers(std::size_t count, Clock::time_point end) {
    std::unique_lock<std::mutex> lock(mutex_);
    return answered_.wait_until(lock, end, [&] { return answers_ >= count; });
}

void CommandSubject::awaitAnswers(std::string const& text) {
    for (int step = 0; step < discoverySteps; ++step) {
        publish(text);
        if (waitForAnswers(1, Clock::now() + discoveryStep)) {
            return;
        }
    }
    throw std::runtime_error("nobody answers " + text);
}

LatencySamples CommandSubject::measure(std::vector<std::string> const& texts, double rate,
                                       std::int64_t count) {
    auto const total = static_cast<std::size_t>(count);
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        first_ += static_cast<std::int32_t>(exchanges_.size());
        exchanges_.clear();
        exchanges_.reserve(total);
        answers_ = 0;
    }
    auto const period =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / rate));
    auto due = Clock::now();
    for (std::size_t i = 0; i < total; ++i) {
        std::this_thread::sleep_until(due);
        publish(texts[i % texts.size()]);
        due += period;
    }
    waitForAnswers(total, Clock::now() + answerTimeout);

    std::lock_guard<std::mutex> const lock(mutex_);
    LatencySamples samples;
    for (auto const& exchange : exchanges_) {
        if (exchange.isAnswered) {
            samples.microseconds.push_back(
                std::chrono::duration<double, std::micro>(exchange.answered - exchange.published)
                    .count());
        }
    }
    samples.lost = total - samples.microseconds.size();
    return samples;
}

}  // namespace benchmarks
