#pragma once

#include <memory>

#include "bench/Bench.h"
#include "tests/system/RecordInbox.h"

/// The event log as another process of the computer reads it: every line that the server has
/// published, those from before this reader too. Any thread.
class EventReader : public RecordInbox<bench::EventRecord> {
public:
    using Event = bench::EventRecord;

    explicit EventReader(bench::Bench const& bench) {
        auto options = bench.peerOptions(bench::TopicPeer::Role::EventLogger);
        options.onEvent = [this](Event const& event) { take(event); };
        peer_ = std::make_unique<bench::TopicPeer>(options);
    }

    bench::TopicPeer& peer() { return *peer_; }

private:
    std::unique_ptr<bench::TopicPeer> peer_;  // its thread uses the rest
};
