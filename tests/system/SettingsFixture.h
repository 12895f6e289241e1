#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/UnitSettings.h"
#include "tests/system/EventReader.h"
#include "tests/system/QueueFixture.h"
#include "tests/system/ResponseReader.h"

/// The server with its settings file, the unit that it configures, and a neighbour that commands
/// it.
class SettingsFixture : public QueueFixture {
protected:
    using Texts = std::vector<std::string>;
    using File = bench::ExampleConfiguration::File;

    static constexpr std::int64_t humanInterface = bench::CommandRecord::humanInterface;
    static constexpr std::int64_t controller = 53;  // any other server

    /// A server that a sanitizer has something to say about does not leave in order.
    void TearDown() override {
        if (bench.started() && bench.server().running()) {
            stop();
        }
    }

    /// Starts the server with the settings of the example.
    void startServer() {
        ASSERT_NO_FATAL_FAILURE(start());
        answers = std::make_unique<ResponseReader>(bench);
        ASSERT_TRUE(answers->peer().waitForReaders()) << answers->peer().lastFailure();
    }

    /// Starts the server with the settings as it left them.
    void startAgain() {
        bench.configuration().omit(File::StoredSettings);
        ASSERT_NO_FATAL_FAILURE(startServer());
    }
    void restart() {
        ASSERT_NO_FATAL_FAILURE(stop());
        ASSERT_NO_FATAL_FAILURE(startAgain());
    }

    /// Publishes a command; its identifier.
    std::int64_t publish(std::string const& text, std::int64_t sender = controller) {
        bench::CommandRecord command;
        command.header.source = sender;
        command.identifier = ++lastIdentifier_;
        command.text = text;
        EXPECT_TRUE(answers->peer().publish(command)) << answers->peer().lastFailure();
        return command.identifier;
    }

    std::optional<bench::ResponseRecord> waitForAnswer(std::int64_t identifier) const {
        return answers->waitForRecord([identifier](bench::ResponseRecord const& record) {
            return record.identifier == identifier;
        });
    }

    /// Has the server carry out a command; the text of its answer, "no answer" without one. A ping
    /// behind the command ends the wait.
    std::string answerTo(std::string const& text, std::int64_t sender = controller) {
        const auto command = publish(text, sender);
        const auto ping = waitForAnswer(publish("BITSERVER_PING"));
        EXPECT_TRUE(ping) << text << "\n" << answers->report() << bench.report();
        for (auto const& record : answers->all()) {
            if (record.identifier == command) {
                EXPECT_EQ(bench::ResponseRecord::response, record.type);
                EXPECT_EQ(49, record.header.source);
                return record.text;
            }
        }
        return "no answer";
    }

    /// What has come to the unit on link 1 since the last call, in order: settings as their texts,
    /// "ZP2 " before what was wrapped for virtual unit 2. A record that the server copies to the
    /// unit ends the row.
    Texts takeSent() {
        const std::string last = "8080 " + std::to_string(++lastMarker_);
        write("TREVO_MX", {marker, Frame::linkReady, {lastMarker_}}, 39);
        EXPECT_TRUE(bench.unit(1).waitForFrames(1, patience, [&](bench::LoggedFrame const& logged) {
            return textOf(logged.frame) == last;
        })) << bench.report();
        Texts texts;
        // On a busy machine an ACK may come too late, and the link sends a frame once more.
        std::vector<std::uint8_t> before;
        for (auto const& logged : bench.unit(1).frames()) {
            if (logged.bytes != before) {
                texts.push_back(textOf(logged.frame));
            }
            before = logged.bytes;
        }
        texts.erase(std::find(texts.begin(), texts.end(), last), texts.end());
        const std::string first = "8080 " + std::to_string(lastMarker_ - 1);
        const auto begin = std::find(texts.begin(), texts.end(), first);
        return begin == texts.end() ? texts : Texts(std::next(begin), texts.end());
    }

    std::filesystem::path settingsFile() {
        return bench.folder().path() / bench::ExampleConfiguration::fileName(File::StoredSettings);
    }
    std::string settingsText() {
        std::ifstream stream(settingsFile());
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    std::unique_ptr<ResponseReader> answers;

private:
    static constexpr std::uint16_t marker = 8080;

    static std::string settingText(Frame const& frame) {
        std::string defect;
        const auto setting = bench::decodeSetting(frame, &defect);
        return setting ? toText(*setting) : "message " + std::to_string(frame.id) + ": " + defect;
    }
    static std::string textOf(Frame const& frame) {
        if (frame.id == marker) {
            return "8080 " + (frame.data.empty() ? "" : std::to_string(frame.data.front()));
        }
        if (frame.id != bench::toVirtualUnit || frame.data.empty()) {
            return settingText(frame);
        }
        const auto bytes = bench::innerBytes(frame);
        std::string defect;
        const auto inner = bench::decodeFrame(bytes.data(), bytes.size(), &defect);
        return "ZP" + std::to_string(frame.data.front()) + " " +
               (inner ? settingText(*inner) : defect);
    }

    std::int64_t lastIdentifier_ = 1000;
    std::uint16_t lastMarker_ = 0;
};
