// What ScenarioRunner does for each step but the expectations.

#include <algorithm>
#include <cmath>

#include "bench/DemoDisplay.h"
#include "bench/ScenarioRunner.h"
#include "bench/StepFailure.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

constexpr const char* exitLine = "has exited. Signal: 15";
constexpr auto stopTimeout = 30s;

}  // namespace

void ScenarioRunner::carryOut(const action::Configure& step) {
    bench_.configuration().set(step.container, step.key, step.value);
}

void ScenarioRunner::carryOut(const action::StartServer& /*step*/) {
    if (bench_.started() && !endJudged_) {
        const auto exit = bench_.server().wait(0ms);
        throw StepFailure(exit ? "the server has ended: " + exit->text()
                               : "the server runs already");
    }
    bench_.start();
    endJudged_ = false;
    // What the server stores, its next start finds.
    bench_.configuration().omit(ExampleConfiguration::File::StoredSettings);
}

void ScenarioRunner::carryOut(const action::StopServer& /*step*/) {
    server();
    const auto exit = bench_.stop(stopTimeout);
    if (!exit) {
        throw StepFailure("the server did not end after SIGTERM");
    }
    if (!exit->ok()) {
        throw StepFailure("the server left with " + exit->text());
    }
    if (server().countLines(exitLine) != 1) {
        throw StepFailure("the server left without its last line");
    }
    endJudged_ = true;
    due_ = Clock::now();
}

void ScenarioRunner::carryOut(const action::Signal& step) {
    if (!server().signal(step.number)) {
        throw StepFailure("the server does not run");
    }
}

void ScenarioRunner::carryOut(const action::HangUp& step) {
    bench_.unit(step.link).hangUp();
}

void ScenarioRunner::carryOut(const action::Reconnect& step) {
    bench_.reconnect(step.link);
}

void ScenarioRunner::carryOut(const action::Publish& step) {
    peers_.publish(step.topic, step.fields, utcOfStep());
}

void ScenarioRunner::carryOut(const action::Stream& step) {
    std::int64_t count = 0;
    if (step.length) {
        const double seconds = std::chrono::duration<double>(*step.length).count();
        count = std::max<std::int64_t>(std::llround(seconds * step.rate), 1);
    }
    peers_.startStream(TopicPeer::Schedule::fromNow(step.rate, count, streamDelay_));
    books_.setRate(step.rate);
}

void ScenarioRunner::carryOut(const action::StopStream& /*step*/) {
    peers_.stopStream();
}

void ScenarioRunner::carryOut(const action::WaitStream& /*step*/) {
    try {
        waitFor(
            [this] {
                if (bench_.started() && !bench_.server().running()) {
                    throw StepFailure("the server has ended");
                }
                peers_.checkAlive();
                return peers_.streamIsOver();
            },
            Clock::time_point::max());
    } catch (const Interruption&) {
        // Who ends an endless stream wants to see how it went.
        books_.seen().resume();
        streamCut_ = true;
        books_.note("the stream is stopped");
        carryOut(action::StopStream{});
        due_ = Clock::now();
    }
}

void ScenarioRunner::carryOut(const action::Send& step) {
    bench_.unit(step.link).sendBytes(step.bytes);
}

void ScenarioRunner::carryOut(const action::Inject& step) {
    if (const auto* const frame = std::get_if<UnitFrame>(&step.content)) {
        peers_.inject(step.queue, *frame, utcOfStep());
    } else {
        peers_.inject(step.queue, std::get<std::vector<std::uint8_t>>(step.content));
    }
}

void ScenarioRunner::carryOut(const action::SetRegister& step) {
    const action::Register& set = step.content;
    bench_.fpga().write(set.interface, set.offset, set.width, set.value);
}

void ScenarioRunner::carryOut(const action::UsePntDevice& step) {
    step.use(bench_.pntDevice());
}

void ScenarioRunner::carryOut(const action::Chapter& step) {
    books_.note("---- " + printable(step.title));
    chapters_.begin(Clock::now());
}

void ScenarioRunner::carryOut(const action::Forget& /*step*/) {
    books_.seen().forget();
}

}  // namespace bench
