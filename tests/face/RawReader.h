#pragma once

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <fastrtps/attributes/TopicAttributes.h>
#include <fastrtps/qos/ReaderQos.h>
#include <fastrtps/rtps/RTPSDomain.h>
#include <fastrtps/rtps/attributes/HistoryAttributes.h>
#include <fastrtps/rtps/attributes/RTPSParticipantAttributes.h>
#include <fastrtps/rtps/attributes/ReaderAttributes.h>
#include <fastrtps/rtps/history/ReaderHistory.h>
#include <fastrtps/rtps/participant/RTPSParticipant.h>
#include <fastrtps/rtps/reader/RTPSReader.h>
#include <fastrtps/rtps/reader/ReaderListener.h>

/// A peer that waits on a topic and counts who writes there; it reads nothing.
class RawReader : private eprosima::fastrtps::rtps::ReaderListener {
public:
    RawReader(unsigned domain, std::string const& topic, std::string const& type)
        : history_(eprosima::fastrtps::rtps::HistoryAttributes()) {
        using namespace eprosima::fastrtps;
        rtps::RTPSParticipantAttributes attributes;
        participant_ = rtps::RTPSDomain::createParticipant(domain, attributes);
        if (participant_ == nullptr) {
            throw std::runtime_error("no raw participant");
        }
        rtps::ReaderAttributes reader;
        reader.endpoint.reliabilityKind = rtps::BEST_EFFORT;
        reader.endpoint.topicKind = rtps::NO_KEY;
        reader_ = rtps::RTPSDomain::createRTPSReader(participant_, reader, &history_, this);
        TopicAttributes const topicAttributes(topic.c_str(), type.c_str(), rtps::NO_KEY);
        ReaderQos qos;
        qos.m_reliability.kind = BEST_EFFORT_RELIABILITY_QOS;
        if (reader_ == nullptr || !participant_->registerReader(reader_, topicAttributes, qos)) {
            throw std::runtime_error("no raw reader");
        }
    }
    ~RawReader() override {
        eprosima::fastrtps::rtps::RTPSDomain::removeRTPSReader(reader_);
        eprosima::fastrtps::rtps::RTPSDomain::removeRTPSParticipant(participant_);
    }
    RawReader(RawReader const&) = delete;
    RawReader& operator=(RawReader const&) = delete;

    /// Publishers that it has found. Any thread.
    std::uint32_t matched() const { return matched_; }

private:
    void onReaderMatched(eprosima::fastrtps::rtps::RTPSReader* /*reader*/,
                         eprosima::fastrtps::rtps::MatchingInfo& info) override {
        matched_ += info.status == eprosima::fastrtps::rtps::MATCHED_MATCHING ? 1U : ~0U;
    }

    std::atomic<std::uint32_t> matched_{0};
    eprosima::fastrtps::rtps::ReaderHistory history_;
    eprosima::fastrtps::rtps::RTPSParticipant* participant_ = nullptr;
    eprosima::fastrtps::rtps::RTPSReader* reader_ = nullptr;
};
