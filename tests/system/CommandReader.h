#pragma once

#include <memory>

#include "bench/Bench.h"
#include "tests/system/RecordInbox.h"

/// The topic Command as the human interface reads it: every command that the server has published,
/// those from before this reader too. Any thread.
class CommandReader : public RecordInbox<bench::CommandRecord> {
public:
    explicit CommandReader(bench::Bench const& bench) {
        auto options = bench.peerOptions(bench::TopicPeer::Role::HumanInterface);
        options.onCommand = [this](bench::CommandRecord const& command) { take(command); };
        peer_ = std::make_unique<bench::TopicPeer>(options);
    }

    bench::TopicPeer& peer() { return *peer_; }

private:
    std::unique_ptr<bench::TopicPeer> peer_;  // its thread uses the rest
};
