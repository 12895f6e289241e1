#include "bench/ChapterTable.h"

#include <variant>

#include <fmt/format.h>

#include "bench/DemoDisplay.h"

namespace bench {
namespace {

constexpr std::size_t whatWidth = 40;
constexpr std::size_t textWidth = 40;

/// The text on one line of at most `width` characters.
std::string fit(const std::string& text, std::size_t width) {
    const std::string plain = printable(text);
    return plain.size() <= width ? plain : plain.substr(0, width - 3) + "...";
}

const char* stateText(ChapterResult::State state) {
    switch (state) {
        case ChapterResult::State::NotReached:
            return "not reached";
        case ChapterResult::State::Running:
            return "cut short";
        case ChapterResult::State::Passed:
            return "as expected";
        case ChapterResult::State::Failed:
            return "FAILED";
    }
    return "";
}

std::string row(const std::string& what, const std::string& expected, const std::string& seen,
                const std::string& ok) {
    return fmt::format("  {:<{}}  {:<{}}  {:<{}}  {}\n", fit(what, whatWidth), whatWidth,
                       fit(expected, textWidth), textWidth, fit(seen, textWidth), textWidth, ok);
}

}  // namespace

ChapterBook::ChapterBook(const Scenario& scenario) {
    for (const Step& step : scenario.steps) {
        if (const auto* const chapter = std::get_if<action::Chapter>(&step.action)) {
            chapters_.emplace_back();
            chapters_.back().title = chapter->title;
        } else if (!chapters_.empty() && std::holds_alternative<action::Expect>(step.action)) {
            ++chapters_.back().expectations;
        }
    }
}

void ChapterBook::begin(Clock::time_point now) {
    close(now, ChapterResult::State::Passed);
    begun_ = now;
    chapters_.at(next_).state = ChapterResult::State::Running;
    ++next_;
}

void ChapterBook::close(Clock::time_point now, ChapterResult::State state) {
    if (next_ == 0) {
        return;
    }
    ChapterResult& present = chapters_.at(next_ - 1);
    present.took = std::chrono::duration_cast<std::chrono::milliseconds>(now - begun_);
    if (present.state == ChapterResult::State::Running) {
        present.state = state;
    }
}

void ChapterBook::met(const action::Expect& step, const std::string& seen) {
    if (next_ == 0) {
        return;
    }
    ChapterResult& present = chapters_.at(next_ - 1);
    ++present.met;
    if (!step.caption.empty()) {
        present.checks.push_back({step.caption, step.wanted, seen, true});
    }
}

void ChapterBook::fail(const std::string& what, const std::string& expected,
                       const std::string& reason) {
    if (next_ == 0) {
        return;
    }
    ChapterResult& present = chapters_.at(next_ - 1);
    present.state = ChapterResult::State::Failed;
    present.checks.push_back({what, expected, reason.substr(0, reason.find('\n')), false});
}

void ChapterBook::failed(const Step& step, const std::string& reason) {
    const auto* const expected = std::get_if<action::Expect>(&step.action);
    if (expected == nullptr) {
        fail(step.text, "", reason);
    } else {
        fail(expected->caption.empty() ? fmt::format("line {}", step.line) : expected->caption,
             expected->wanted, reason);
    }
}

void ChapterBook::failedAtEnd(const std::string& reason) {
    fail("at the end", "", reason);
}

void ChapterBook::end(Clock::time_point now, bool cut) {
    close(now, cut ? ChapterResult::State::Running : ChapterResult::State::Passed);
}

std::string chapterTable(const std::vector<ChapterResult>& chapters) {
    if (chapters.empty()) {
        return {};
    }
    std::string text = row("what", "expected", "seen", "ok");
    std::size_t passed = 0;
    std::size_t expectations = 0;
    std::size_t met = 0;
    for (const ChapterResult& chapter : chapters) {
        text +=
            fmt::format("\n{}: {}, {} of {} expectations in {:.1f} s\n", printable(chapter.title),
                        stateText(chapter.state), chapter.met, chapter.expectations,
                        std::chrono::duration<double>(chapter.took).count());
        for (const CheckResult& check : chapter.checks) {
            text += row(check.what, check.expected, check.seen, check.ok ? "yes" : "NO");
        }
        passed += chapter.state == ChapterResult::State::Passed ? 1U : 0U;
        expectations += chapter.expectations;
        met += chapter.met;
    }
    return text + fmt::format("\n{} of {} chapters and {} of {} expectations were as expected.\n",
                              passed, chapters.size(), met, expectations);
}

}  // namespace bench
