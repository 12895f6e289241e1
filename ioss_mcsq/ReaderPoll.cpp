#include "ioss_mcsq/ReaderPoll.h"

#include <algorithm>
#include <cerrno>

void ReaderPoll::add(int descriptor) {
    entries_.push_back({descriptor, POLLIN, 0});
}

void ReaderPoll::removeFirst(int descriptor) {
    auto const found = std::find_if(
        entries_.begin(), entries_.end(),
        [descriptor](pollfd const& entry) { return descriptorOf(entry) == descriptor; });
    if (found != entries_.end()) {
        entries_.erase(found);
    }
}

void ReaderPoll::removeAll(int descriptor) {
    entries_.erase(std::remove_if(entries_.begin(), entries_.end(),
                                  [descriptor](pollfd const& entry) {
                                      return descriptorOf(entry) == descriptor;
                                  }),
                   entries_.end());
}

ReaderPoll::Outcome ReaderPoll::wait(std::chrono::milliseconds timeout) {
    ready_.clear();
    if (Clock::now() >= restEnd_) {
        for (pollfd& entry : entries_) {
            entry.fd = descriptorOf(entry);
        }
    }
    int const count = ::poll(entries_.data(), entries_.size(), static_cast<int>(timeout.count()));
    if (count < 0) {
        return errno == EINTR ? Outcome::TIMED_OUT : Outcome::FAILED;
    }
    if (count == 0) {
        return Outcome::TIMED_OUT;
    }
    for (pollfd& entry : entries_) {
        if ((entry.revents & POLLIN) != 0) {
            ready_.push_back(entry.fd);
        }
        if ((entry.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
            entry.fd = ~entry.fd;
            restEnd_ = Clock::now() + rest;
        }
    }
    return Outcome::READY;
}
