#pragma once

#include <memory>

#include "bench/Bench.h"
#include "tests/system/RecordInbox.h"

/// The topic Command as the human interface reads it: every command that the server has published,
/// those from before this reader too; but of its requests for part numbers, which come as time
/// passes, only with `PartNumberRequests::Heard`. Any thread.
class CommandReader : public RecordInbox<bench::CommandRecord> {
public:
    enum class PartNumberRequests { PassedOver, Heard };

    explicit CommandReader(bench::Bench const& bench,
                           PartNumberRequests requests = PartNumberRequests::PassedOver) {
        auto options = bench.peerOptions(bench::TopicPeer::Role::HumanInterface);
        options.onCommand = [this, requests](bench::CommandRecord const& command) {
            if (requests == PartNumberRequests::Heard || command.text != "REQUEST_PARTNUMBERS") {
                take(command);
            }
        };
        peer_ = std::make_unique<bench::TopicPeer>(options);
    }

    bench::TopicPeer& peer() { return *peer_; }

private:
    std::unique_ptr<bench::TopicPeer> peer_;  // its thread uses the rest
};
