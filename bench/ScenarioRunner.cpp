#include "bench/ScenarioRunner.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "bench/DemoDisplay.h"
#include "bench/StepFailure.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

// Between two looks at what cannot be waited for: the end of a process, the books.
constexpr auto lookEvery = 5ms;

}  // namespace

ScenarioRunner::ScenarioRunner(Scenario scenario, Options options)
    : scenario_(std::move(scenario)),
      streamDelay_(options.streamDelay),
      utcAhead_(std::chrono::system_clock::now().time_since_epoch() -
                Clock::now().time_since_epoch()),
      books_(std::move(options.note)),
      chapters_(scenario_),
      zero_(Clock::now()),
      due_(zero_),
      bench_(benchOptions(std::move(options.bench))),
      peers_(bench_, books_) {}

ScenarioRunner::~ScenarioRunner() = default;

Bench::Options ScenarioRunner::benchOptions(Bench::Options options) {
    for (unsigned link = 1; link <= Bench::links; ++link) {
        auto& unit = options.units.at(link - 1);
        unit.keptFrames = 100;  // a run may last for hours; what is awaited is kept here
        unit.observer = [this, link](const LoggedFrame& frame) { books_.see(link, frame); };
    }
    options.virtualUnits.keptFrames = 100;
    options.virtualUnits.observer = [this](unsigned number, const VirtualFrame& frame) {
        books_.seeVirtual(number, frame);
    };
    options.serverLine = [this](const std::string& line) {
        books_.see(line);
        return false;
    };
    return options;
}

ScenarioRunner::Result ScenarioRunner::run() {
    const Step* present = nullptr;
    Result result = Result::Done;
    try {
        peers_.start(scenario_);
        for (const Step& step : scenario_.steps) {
            present = &step;
            waitUntilDue(step);
            books_.note(fmt::format("line {}: {}", step.line, printable(step.text)));
            std::visit([this](const auto& known) { carryOut(known); }, step.action);
        }
        present = nullptr;
        leave();
    } catch (const StepFailure& reason) {
        result = Result::Failed;
        failure_ = reason.what();
    } catch (const std::out_of_range& reason) {
        result = Result::Failed;
        failure_ = reason.what();
    } catch (const Interruption&) {
        result = Result::Interrupted;
        try {
            present = nullptr;
            leave();
        } catch (const StepFailure& reason) {
            result = Result::Failed;
            failure_ = reason.what();
        }
    }
    if (result == Result::Failed) {
        if (present == nullptr) {
            chapters_.failedAtEnd(failure_);
            failure_ = fmt::format("{}: at the end: {}", scenario_.name, failure_);
        } else {
            chapters_.failed(*present, failure_);
            failure_ = fmt::format("{}:{}: {}: {}", scenario_.name, present->line,
                                   printable(present->text), failure_);
        }
    }
    chapters_.end(Clock::now(), result == Result::Interrupted);
    peers_.end();
    books_.finish();
    return result;
}

/// Steps that follow without a time are due at the same instant, unless they had to wait.
void ScenarioRunner::waitUntilDue(const Step& step) {
    switch (step.start) {
        case Step::Start::Next:
            return;
        case Step::Start::At:
            due_ = zero_ + step.time;
            break;
        case Step::Start::After:
            due_ += step.time;
            break;
    }
    if (books_.seen().pause(due_) == Outcome::Interrupted) {
        throw Interruption();
    }
}

/// Ends what the scenario left running. A server that has ended by itself must have left in order,
/// too.
void ScenarioRunner::leave() {
    books_.seen().resume();
    carryOut(action::StopStream{});
    if (bench_.started() && !endJudged_) {
        carryOut(action::StopServer{});
    }
}

/// Looks again and again; false when the deadline passed.
bool ScenarioRunner::waitFor(const std::function<bool()>& condition, Clock::time_point deadline) {
    while (!condition()) {
        const auto now = Clock::now();
        if (now >= deadline) {
            return false;
        }
        if (books_.seen().pause(std::min(now + lookEvery, deadline)) == Outcome::Interrupted) {
            throw Interruption();
        }
    }
    due_ = Clock::now();
    return true;
}

ChildProcess& ScenarioRunner::server() {
    if (!bench_.started()) {
        throw StepFailure("the server was not started");
    }
    return bench_.server();
}

std::int64_t ScenarioRunner::utcOfStep() const {
    return (due_.time_since_epoch() + utcAhead_).count();
}

RunFigures ScenarioRunner::figures() {
    RunFigures figures = books_.figures();
    figures.transport = bench_.settings().transport;
    for (unsigned link = 1; link <= Bench::links; ++link) {
        figures.links.at(link - 1) = bench_.unit(link).statistics();
    }
    return figures;
}

}  // namespace bench
