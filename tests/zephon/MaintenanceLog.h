#pragma once

#include <memory>
#include <string>
#include <vector>

#include "aspn2_msgs/MaintenanceEvent.h"
#include "bench/Bench.h"
#include "tests/face/ParticipantsApart.h"
#include "tests/face/TypedTransport.h"

/// The topic MaintenanceEvent as another participant reads it, in this process; what was published
/// before counts too.
class MaintenanceLog {
public:
    using Record = aspn2_msgs::idl::MaintenanceEvent;

    explicit MaintenanceLog(bench::Bench const& bench) : transport_(textOf(bench), "Log") {
        EXPECT_EQ(Code::NO_ERROR, transport_.initialize());
        typed_ = std::make_unique<Typed<Record>>(transport_.tss);
        EXPECT_EQ(Code::NO_ERROR,
                  typed_->registerCallback(transport_.connect("MaintenanceEvent"), into(mailbox_)));
    }

    /// The next record; an empty one, and a failure, when none comes in time.
    Record next() {
        auto const received = mailbox_.take();
        EXPECT_TRUE(received.has_value()) << "no maintenance event came";
        return received ? received->record : Record();
    }
    /// The descriptions of the next records.
    std::vector<std::string> next(std::size_t count) {
        std::vector<std::string> descriptions;
        while (descriptions.size() < count) {
            descriptions.emplace_back(next().description().data());
        }
        return descriptions;
    }

private:
    static TransportText textOf(bench::Bench const& bench) {
        TransportText text(bench.domain());
        text.set("BackFillHistory", "true").set("HistoryDepth", "1000");
        text.set("UseTransport", bench.peerOptions().serverTransport);
        text.connections = {
            {"MaintenanceEvent", TransportText::topic("aspn2_msgs::idl::MaintenanceEvent",
                                                      "MaintenanceEventPubSubType")}};
        return text;
    }

    Mailbox<Received<Record>> mailbox_;  // outlives the transport, whose callback fills it
    Transport transport_;
    std::unique_ptr<Typed<Record>> typed_;
};
