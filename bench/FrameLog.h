#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <iterator>
#include <utility>
#include <vector>

namespace bench {

/// Entries in the order in which they came; the oldest leave beyond a limit. Not synchronised: who
/// owns it has the lock.
template <class Entry>
class FrameLog {
public:
    explicit FrameLog(std::size_t kept) : kept_(kept) {}

    void add(Entry entry) {
        entries_.push_back(std::move(entry));
        if (entries_.size() > kept_) {
            entries_.pop_front();
            ++forgotten_;
        }
    }

    std::vector<Entry> all() const { return {entries_.begin(), entries_.end()}; }

    std::vector<Entry> ofId(std::uint16_t id) const {
        std::vector<Entry> result;
        std::copy_if(entries_.begin(), entries_.end(), std::back_inserter(result),
                     [id](const Entry& entry) { return entry.frame.id == id; });
        return result;
    }

    std::vector<Entry> last(std::size_t most) const {
        const auto count = static_cast<std::ptrdiff_t>(std::min(most, entries_.size()));
        return {entries_.end() - count, entries_.end()};
    }

    /// How many entries satisfy the predicate, of those from number `next` on, the first being 0;
    /// `next` moves behind the last. So a wait looks at each entry once.
    template <class Predicate>
    std::size_t countFrom(std::uint64_t& next, const Predicate& wanted) const {
        std::size_t count = 0;
        for (next = std::max(next, forgotten_); next < forgotten_ + entries_.size(); ++next) {
            count += wanted(entries_[next - forgotten_]) ? 1U : 0U;
        }
        return count;
    }

private:
    const std::size_t kept_;
    std::deque<Entry> entries_;
    std::uint64_t forgotten_ = 0;  // entries that have left
};

}  // namespace bench
