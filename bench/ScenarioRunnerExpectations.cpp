// How ScenarioRunner waits for what a scenario expects.

#include <algorithm>

#include <fmt/format.h>

#include "bench/DemoDisplay.h"
#include "bench/ScenarioRunner.h"
#include "bench/StepFailure.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

std::string describe(const Observation& seen) {
    if (!seen.text.empty()) {
        return "\"" + printable(seen.text) + "\"";
    }
    constexpr std::size_t most = 8;
    std::string text = fmt::format("frame {} flags=0x{:04X}", seen.frame.id, seen.frame.flags);
    for (std::size_t i = 0; i < std::min(most, seen.frame.data.size()); ++i) {
        text += fmt::format(" 0x{:04X}", seen.frame.data[i]);
    }
    return text + (seen.frame.data.size() > most
                       ? fmt::format(" ... ({} words)", seen.frame.data.size())
                       : "");
}

/// The same for the table of the chapters, where there is little room.
std::string brief(const Observation& seen) {
    return seen.text.empty()
               ? fmt::format("frame {}, {} words", seen.frame.id, seen.frame.data.size())
               : printable(seen.text);
}

}  // namespace

void ScenarioRunner::carryOut(const action::Expect& step) {
    const std::string seen = std::visit(
        [this, &step](const auto& wanted) { return expect(wanted, step); }, step.condition);
    chapters_.met(step, seen);
}

std::string ScenarioRunner::expect(const action::Running& /*wanted*/, const action::Expect& step) {
    const auto deadline = Clock::now() + step.within;
    ChildProcess& process = server();
    bool up = false;
    waitFor(
        [&] {
            up = bench_.waitUntilRunning(100ms);
            return up || !process.running();
        },
        deadline);
    if (!up) {
        const auto exit = process.wait(100ms);
        throw StepFailure(exit ? "the server has ended: " + exit->text()
                               : "the server does not tell that it runs");
    }
    peers_.connect(deadline);
    zero_ = Clock::now();
    due_ = zero_;
    return "it does";
}

std::string ScenarioRunner::expect(const action::Exit& wanted, const action::Expect& step) {
    ChildProcess& process = server();
    if (!waitFor([&process] { return process.wait(0ms).has_value(); },
                 Clock::now() + step.within)) {
        throw StepFailure("the server still runs");
    }
    const auto exit = process.wait(0ms);
    if (exit->status != wanted.status || exit->signal != wanted.signal) {
        throw StepFailure("it was " + exit->text());
    }
    endJudged_ = true;
    return exit->text();
}

std::string ScenarioRunner::expect(const action::Solutions& /*wanted*/,
                                   const action::Expect& step) {
    const bool over = waitFor(
        [this] {
            peers_.checkAlive();
            books_.settle();
            return peers_.streamIsOver() && books_.ledger().totals().waiting() == 0;
        },
        Clock::now() + step.within);
    if (!over && !peers_.streamIsOver()) {
        throw StepFailure("the stream is not over");
    }
    books_.finish();
    const auto totals = books_.ledger().totals();
    if (totals.pairs == 0 && streamCut_) {
        throw Interruption();  // who ends it before the first pair has seen nothing fail
    }
    std::uint64_t damaged = bench_.virtualUnits().defects();
    for (unsigned link = 1; link <= Bench::links; ++link) {
        damaged += bench_.unit(link).statistics().line.checksumErrors();
    }
    if (!totals.allRight() || totals.pairs == 0 || damaged > 0) {
        throw StepFailure(fmt::format(
            "of {} pairs {} gave a right frame, {} a wrong one and {} none; {} frames belong to no "
            "pair, {} were damaged",
            totals.pairs, totals.right, totals.wrong, totals.missing, totals.unexplained, damaged));
    }
    return fmt::format("{} of {} pairs right", totals.right, totals.pairs);
}

std::string ScenarioRunner::expect(const action::Register& wanted, const action::Expect& step) {
    const auto read = [this, &wanted] {
        return bench_.fpga().read(wanted.interface, wanted.offset, wanted.width);
    };
    if (!waitFor([&] { return read() == wanted.value; }, Clock::now() + step.within)) {
        throw StepFailure(fmt::format("it holds {} (0x{:X})", read(), read()));
    }
    return fmt::format("{}", wanted.value);
}

std::string ScenarioRunner::expect(const action::Frame& wanted, const action::Expect& step) {
    return expectObservation(
        wanted.source,
        [&wanted](const Observation& seen) {
            const auto& data = seen.frame.data;
            return seen.frame.id == wanted.id &&
                   (!wanted.flags || seen.frame.flags == *wanted.flags) &&
                   data.size() >= wanted.words.size() &&
                   std::equal(wanted.words.begin(), wanted.words.end(), data.begin());
        },
        step);
}

std::string ScenarioRunner::expect(const action::Text& wanted, const action::Expect& step) {
    const std::string seen = expectObservation(
        wanted.source,
        [&wanted](const Observation& other) {
            return other.text.find(wanted.text) != std::string::npos;
        },
        step);
    // From the awaited words on: long lines are cut in the table.
    const std::size_t place = seen.find(printable(wanted.text));
    return place == std::string::npos ? seen : seen.substr(place);
}

std::string ScenarioRunner::expectObservation(const std::string& source,
                                              const ObservationLog::Predicate& wanted,
                                              const action::Expect& step) {
    Observation taken;
    const auto take = [&wanted, &taken](const Observation& seen) {
        const bool same = wanted(seen);
        if (same) {
            taken = seen;
        }
        return same;
    };
    const Outcome outcome = books_.seen().take(source, take, Clock::now() + step.within);
    if (outcome == Outcome::Interrupted) {
        throw Interruption();
    }
    if (outcome == Outcome::Seen && step.absent) {
        throw StepFailure("it came");
    }
    if (outcome == Outcome::TimedOut) {
        peers_.checkAlive();  // else nobody may have listened
    }
    if (const std::size_t dropped = books_.seen().dropped(source); dropped > 0 && step.absent) {
        throw StepFailure(fmt::format(
            "it may have come: the oldest {} are kept no more (\"forget\" makes room)", dropped));
    }
    if (outcome == Outcome::TimedOut && !step.absent) {
        constexpr std::size_t most = 5;
        std::string reason = "it did not come";
        const auto rest = books_.seen().rest(source, most);
        reason += rest.empty() ? "; nothing else did" : "; what came at last:";
        for (const Observation& other : rest) {
            reason += "\n  " + describe(other);
        }
        throw StepFailure(reason);
    }
    due_ = Clock::now();
    return step.absent ? "none" : brief(taken);
}

}  // namespace bench
