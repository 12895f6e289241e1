#pragma once

#include <memory>

#include "bench/Bench.h"
#include "tests/system/RecordInbox.h"

/// The topic Response as the human interface reads it: every answer that the server has published,
/// those from before this reader too. Any thread.
class ResponseReader : public RecordInbox<bench::ResponseRecord> {
public:
    explicit ResponseReader(bench::Bench const& bench) {
        auto options = bench.peerOptions(bench::TopicPeer::Role::HumanInterface);
        options.onResponse = [this](bench::ResponseRecord const& response) { take(response); };
        peer_ = std::make_unique<bench::TopicPeer>(options);
    }

    /// Publishes commands.
    bench::TopicPeer& peer() { return *peer_; }

private:
    std::unique_ptr<bench::TopicPeer> peer_;  // its thread uses the rest
};
