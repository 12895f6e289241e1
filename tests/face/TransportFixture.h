#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bench/DomainLock.h"
#include "bench/Patience.h"
#include "face/Listeners.h"
#include "face/MX_Config.h"
#include "face/MX_TSS.h"
#include "tests/face/TestFolder.h"

using Code = FACE::RETURN_CODE_TYPE;

/// Enough for a match over TCP on a busy machine; a test that passes never takes it.
constexpr std::chrono::seconds DEADLINE(20);

/// What callbacks leave for the test's thread.
template <class T>
class Mailbox {
public:
    void put(T item) {
        std::lock_guard<std::mutex> const lock(mutex_);
        items_.push_back(std::move(item));
        came_.notify_all();
    }

    /// The oldest item; none when the time passes first.
    std::optional<T> take(std::chrono::milliseconds timeout = DEADLINE) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!bench::waitFor(came_, lock, timeout, [this] { return !items_.empty(); })) {
            return std::nullopt;
        }
        T item = std::move(items_.front());
        items_.pop_front();
        return item;
    }

    std::size_t size() {
        std::lock_guard<std::mutex> const lock(mutex_);
        return items_.size();
    }

private:
    std::mutex mutex_;
    std::condition_variable came_;
    std::deque<T> items_;
};

/// The text of a configuration; change what a test is about.
struct TransportText {
    explicit TransportText(bench::DomainLock const& domain)
        : settings{{"DomainId", std::to_string(domain.id())},
                   {"HistoryDepth", "10"},
                   {"UseBestEffort", "false"},
                   {"BackFillHistory", "false"},
                   {"UseTransport", "UDP"},
                   {"TcpAddress", "127.0.0.1"},
                   {"TcpPort", std::to_string(domain.tcpPort())}} {}

    TransportText& set(std::string const& key, std::string const& value) {
        for (auto& setting : settings) {
            if (setting.first == key) {
                setting.second = value;
            }
        }
        return *this;
    }

    TransportText& without(std::string const& key) {
        std::vector<std::pair<std::string, std::string>> kept;
        for (auto const& setting : settings) {
            if (setting.first != key) {
                kept.push_back(setting);
            }
        }
        settings = kept;
        return *this;
    }

    std::string xml() const {
        std::string text = "<MX_Configurations>\n" + domainContainer;
        if (domainContainer.empty()) {
            text += "<Domain><Name>FastRtps</Name><Parameters>";
            for (auto const& [key, value] : settings) {
                text += '<' + key + '>' + value + "</" + key + '>';
            }
            text += "</Parameters></Domain>\n";
        }
        for (auto const& [name, parameters] : connections) {
            text += "<Topic_" + name + "><Name>" + name + "</Name><Parameters>" + parameters +
                    "</Parameters></Topic_" + name + ">\n";
        }
        return text + "</MX_Configurations>\n";
    }

    static std::string topic(std::string const& type, std::string const& support) {
        return "<TopicType>" + type + "</TopicType><PubSubType>" + support + "</PubSubType>";
    }

    std::vector<std::pair<std::string, std::string>> settings;
    std::string domainContainer;  // instead of the one made of the settings
    std::vector<std::pair<std::string, std::string>> connections = {
        {"Events", topic("aspn2_msgs::idl::EventLog", "EventLogPubSubType")},
        {"Commands", topic("aspn2_msgs::idl::CommandResponse", "CommandResponsePubSubType")},
        {"MoreEvents", topic("aspn2_msgs::idl::EventLog", "EventLogPubSubType")},
        // One name on the wire for two records.
        {"Disguised", topic("aspn2_msgs::idl::EventLog", "GSSIPPubSubType")},
        {"Renamed", topic("Other::Name", "GSSIPPubSubType")},
        {"NoSuchSupport", topic("aspn2_msgs::idl::EventLog", "eventlogPubSubType")},
        {"WithoutSupport", "<TopicType>aspn2_msgs::idl::EventLog</TopicType>"},
        {"WithoutType", "<PubSubType>EventLogPubSubType</PubSubType>"},
    };
};

/// Passes everything on and counts the handles.
class CountingConfig : public FACE::MX_Config {
public:
    void Open(FACE::String const& name, int& handle, Code::Value& rc) override {
        MX_Config::Open(name, handle, rc);
        ++attempts;
        if (rc == Code::NO_ERROR) {
            ++open;
        }
    }
    void Close(int handle, Code::Value& rc) override {
        MX_Config::Close(handle, rc);
        if (rc == Code::NO_ERROR) {
            --open;
        }
    }

    int attempts = 0;
    int open = 0;
};

/// A transport with its configuration file.
class Transport {
public:
    explicit Transport(TransportText const& text, std::string const& name = "Tester")
        : path(folder.write("config.xml", text.xml())),
          config(std::make_shared<CountingConfig>()),
          tss(std::make_shared<FACE::TSS::MX_TSS>(name)) {
        Code::Value rc = Code::TIMED_OUT;
        tss->Set_Reference("configuration", config, 0, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
    }

    Code::Value initialize() {
        Code::Value rc = Code::TIMED_OUT;
        tss->Initialize(path.c_str(), rc);
        return rc;
    }

    /// The id; the code is checked.
    long long connect(char const* name, Code::Value expected = Code::NO_ERROR) {
        Code::Value rc = Code::TIMED_OUT;
        long long id = 77;
        int direction = 55;
        tss->Create_Connection(name, 0, id, direction, rc);
        EXPECT_EQ(rc, expected) << name;
        EXPECT_EQ(direction, 55);
        return id;
    }

    Code::Value unregisterSender(long long id) {
        Code::Value rc = Code::TIMED_OUT;
        tss->Unregister_Sender(id, rc);
        return rc;
    }

    Code::Value unregisterCallback(long long id) {
        Code::Value rc = Code::TIMED_OUT;
        tss->Unregister_Callback(id, rc);
        return rc;
    }

    FACE::TSS::MX_TSS::Connection_t& at(long long id) {
        return tss->connectionMap_mutex_at(FACE::TSS::MX_TSS::tableKey(id));
    }

    /// Waits until the publisher of the connection has found `count` subscribers.
    bool publisherHas(long long id, std::uint32_t count, std::chrono::seconds timeout = DEADLINE) {
        return bench::holdsInTime([&] { return at(id).publisherListener()->matched() == count; },
                                  timeout);
    }
    bool subscriberHas(long long id, std::uint32_t count, std::chrono::seconds timeout = DEADLINE) {
        return bench::holdsInTime([&] { return at(id).subscriberListener()->matched() == count; },
                                  timeout);
    }

    TestFolder folder;
    std::string path;
    std::shared_ptr<CountingConfig> config;
    std::shared_ptr<FACE::TSS::MX_TSS> tss;
};
