#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "bench/Scenario.h"

namespace bench {

/// What became of an expectation that has a row in the table.
struct CheckResult {
    std::string what;
    std::string expected;
    std::string seen;
    bool ok = false;
};

/// What became of a chapter of a scenario.
struct ChapterResult {
    enum class State { NotReached, Running, Passed, Failed };

    std::string title;
    State state = State::NotReached;
    std::size_t expectations = 0;  ///< that the scenario has there
    std::size_t met = 0;
    std::chrono::milliseconds took{0};
    std::vector<CheckResult> checks;  ///< as far as the run has come
};

/// Follows a scenario through its chapters. One thread uses an object.
class ChapterBook {
public:
    using Clock = std::chrono::steady_clock;

    explicit ChapterBook(const Scenario& scenario);

    /// The next chapter begins; the one before has passed.
    void begin(Clock::time_point now);
    /// An expectation was met. `seen` is what met it.
    void met(const action::Expect& step, const std::string& seen);
    /// The present step has failed. Its row says so whether it has a caption or not.
    void failed(const Step& step, const std::string& reason);
    /// The run has failed behind its last step, or where it was interrupted.
    void failedAtEnd(const std::string& reason);
    /// The run is over: the last chapter has passed unless it failed, or was `cut` short.
    void end(Clock::time_point now, bool cut);

    const std::vector<ChapterResult>& results() const { return chapters_; }

private:
    void close(Clock::time_point now, ChapterResult::State state);
    void fail(const std::string& what, const std::string& expected, const std::string& reason);

    std::vector<ChapterResult> chapters_;
    std::size_t next_ = 0;  ///< one more than the present chapter's place; 0: none has begun
    Clock::time_point begun_;
};

/// The table: for each chapter how it went, and below it a row for each expectation with a caption:
/// what, expected, seen, and whether that was as it should. Empty for a scenario without chapters.
std::string chapterTable(const std::vector<ChapterResult>& chapters);

}  // namespace bench
