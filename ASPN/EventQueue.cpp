#include "ASPN/EventQueue.h"

#include <algorithm>
#include <utility>

namespace ASPN2 {

EventQueue::EventQueue(unsigned limit, int configEventType, std::chrono::nanoseconds repeatDuration,
                       Clock clock)
    : limit_(limit),
      configEventType_(configEventType),
      repeatDuration_(repeatDuration),
      clock_(std::move(clock)) {}

bool EventQueue::push_back(int type, std::string text) {
    const platform::MutexLock lock(mutex_);
    if (events_.size() >= limit_) {
        return false;
    }
    appendEvent({0, type, std::move(text)});
    return true;
}

unsigned EventQueue::push_back_config(const std::string& text) {
    const platform::MutexLock lock(mutex_);
    return appendConfig(text, ++lastId_);
}

unsigned EventQueue::push_back_config(const std::string& text, unsigned id) {
    const platform::MutexLock lock(mutex_);
    const auto replaced = findConfig(id);
    if (replaced == configs_.end()) {
        return appendConfig(text, ++lastId_);
    }
    // Behind the old one, which goes last: without memory it stays.
    const auto place = replaced - configs_.begin();
    appendConfig(text, id);
    configs_.erase(configs_.begin() + place);
    return id;
}

void EventQueue::eraseConfig(unsigned id) {
    const platform::MutexLock lock(mutex_);
    const auto item = findConfig(id);
    if (item != configs_.end()) {
        configs_.erase(item);
    }
}

bool EventQueue::pop_front(int& type, std::string& text, std::chrono::nanoseconds wait) {
    const auto deadline = platform::steadyDeadline(wait);
    const platform::MutexLock lock(mutex_);
    repeatConfigs();
    while (events_.empty() && !leftToDrain_ && changed_.waitUntil(mutex_, deadline)) {
    }
    if (events_.empty() || leftToDrain_ == std::size_t{0}) {
        return false;
    }
    if (leftToDrain_) {
        --*leftToDrain_;
    }
    type = events_.front().type;
    text = std::move(events_.front().text);
    events_.pop_front();
    return true;
}

void EventQueue::drain() {
    const platform::MutexLock lock(mutex_);
    leftToDrain_ = events_.size();
    changed_.notifyAll();
}

void EventQueue::resume() {
    const platform::MutexLock lock(mutex_);
    leftToDrain_.reset();
}

std::size_t EventQueue::size() const {
    const platform::MutexLock lock(mutex_);
    return events_.size() + configs_.size();
}

unsigned EventQueue::appendConfig(const std::string& text, unsigned id) {
    EventItem event{id, configEventType_, text};
    configs_.push_back({event, clock_() + repeatDuration_});
    try {
        queueConfig(std::move(event));
    } catch (...) {
        configs_.pop_back();
        throw;
    }
    return id;
}

void EventQueue::queueConfig(EventItem event) {
    if (events_.size() >= limit_) {
        const auto waiting = std::find_if(
            events_.rbegin(), events_.rend(),
            [&event](const EventItem& item) { return item.configId == event.configId; });
        if (waiting != events_.rend()) {
            waiting->text = std::move(event.text);
            return;
        }
    }
    appendEvent(std::move(event));
}

void EventQueue::appendEvent(EventItem event) {
    events_.push_back(std::move(event));
    changed_.notifyOne();
}

std::deque<EventQueue::ConfigItem>::iterator EventQueue::findConfig(unsigned id) {
    return std::find_if(configs_.begin(), configs_.end(),
                        [id](const ConfigItem& config) { return config.event.configId == id; });
}

void EventQueue::repeatConfigs() {
    if (configs_.empty()) {
        return;
    }
    const auto now = clock_();
    // Each comes once, also when its time has passed several times over.
    for (std::size_t count = configs_.size(); count > 0 && configs_.front().nextRepeat <= now;
         --count) {
        // Taken from the front last: without memory for the other places it stays, and is due.
        ConfigItem config = configs_.front();
        config.nextRepeat = now + repeatDuration_;
        appendEvent(config.event);
        configs_.push_back(std::move(config));
        configs_.pop_front();
    }
}

}  // namespace ASPN2
