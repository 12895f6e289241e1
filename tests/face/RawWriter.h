#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <fastrtps/attributes/TopicAttributes.h>
#include <fastrtps/qos/WriterQos.h>
#include <fastrtps/rtps/RTPSDomain.h>
#include <fastrtps/rtps/attributes/HistoryAttributes.h>
#include <fastrtps/rtps/attributes/RTPSParticipantAttributes.h>
#include <fastrtps/rtps/attributes/WriterAttributes.h>
#include <fastrtps/rtps/history/WriterHistory.h>
#include <fastrtps/rtps/participant/RTPSParticipant.h>
#include <fastrtps/rtps/writer/RTPSWriter.h>
#include <fastrtps/rtps/writer/WriterListener.h>

/// A peer that puts on a topic whatever bytes it likes, as nobody's type support would.
class RawWriter : private eprosima::fastrtps::rtps::WriterListener {
public:
    RawWriter(unsigned domain, std::string const& topic, std::string const& type)
        : history_(historyOf(64)) {
        using namespace eprosima::fastrtps;
        rtps::RTPSParticipantAttributes attributes;
        participant_ = rtps::RTPSDomain::createParticipant(domain, attributes);
        if (participant_ == nullptr) {
            throw std::runtime_error("no raw participant");
        }
        rtps::WriterAttributes writer;
        writer.endpoint.reliabilityKind = rtps::RELIABLE;
        writer.endpoint.durabilityKind = rtps::TRANSIENT_LOCAL;
        writer.endpoint.topicKind = rtps::NO_KEY;
        writer_ = rtps::RTPSDomain::createRTPSWriter(participant_, writer, &history_, this);
        TopicAttributes topicAttributes(topic.c_str(), type.c_str(), rtps::NO_KEY);
        WriterQos qos;
        qos.m_reliability.kind = RELIABLE_RELIABILITY_QOS;
        qos.m_durability.kind = TRANSIENT_LOCAL_DURABILITY_QOS;
        if (writer_ == nullptr || !participant_->registerWriter(writer_, topicAttributes, qos)) {
            throw std::runtime_error("no raw writer");
        }
    }
    ~RawWriter() override {
        eprosima::fastrtps::rtps::RTPSDomain::removeRTPSWriter(writer_);
        eprosima::fastrtps::rtps::RTPSDomain::removeRTPSParticipant(participant_);
    }
    RawWriter(RawWriter const&) = delete;
    RawWriter& operator=(RawWriter const&) = delete;

    /// Subscribers that it has found. Any thread.
    std::uint32_t matched() const { return matched_; }

    void write(std::vector<std::uint8_t> const& bytes,
               eprosima::fastrtps::rtps::ChangeKind_t kind = eprosima::fastrtps::rtps::ALIVE) {
        auto const size = static_cast<std::uint32_t>(bytes.size());
        auto* const change =
            writer_->new_change([size] { return size; }, eprosima::fastrtps::rtps::ALIVE);
        if (change == nullptr) {
            throw std::runtime_error("no room for a raw sample");
        }
        std::copy(bytes.begin(), bytes.end(), change->serializedPayload.data);
        change->serializedPayload.length = size;
        change->kind = kind;
        if (!history_.add_change(change)) {
            throw std::runtime_error("a raw sample was not taken");
        }
    }

private:
    static eprosima::fastrtps::rtps::HistoryAttributes historyOf(std::int32_t samples) {
        eprosima::fastrtps::rtps::HistoryAttributes attributes;
        attributes.memoryPolicy = eprosima::fastrtps::rtps::DYNAMIC_RESERVE_MEMORY_MODE;
        attributes.initialReservedCaches = samples;
        return attributes;
    }

    void onWriterMatched(eprosima::fastrtps::rtps::RTPSWriter* /*writer*/,
                         eprosima::fastrtps::rtps::MatchingInfo& info) override {
        matched_ += info.status == eprosima::fastrtps::rtps::MATCHED_MATCHING ? 1U : ~0U;
    }

    std::atomic<std::uint32_t> matched_{0};
    eprosima::fastrtps::rtps::WriterHistory history_;
    eprosima::fastrtps::rtps::RTPSParticipant* participant_ = nullptr;
    eprosima::fastrtps::rtps::RTPSWriter* writer_ = nullptr;
};
