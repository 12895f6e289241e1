// Commands on their way through the server: the input is a record as the topic delivers it. Its
// text is cut into fields and matched, and whatever verb it has is done; none may harm the server
// or what it keeps.
//
// Input: byte 0 chooses the sender, byte 1 a verb that the text begins with; the rest is the text.
// Behind a verb from the list a comma comes first. The server runs without links and topics, so
// that nothing waits: what it sends is lost, what it stores goes into a folder of its own.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "bench/ExampleConfiguration.h"
#include "bench/FakeSlipTools.h"
#include "bench/TemporaryFolder.h"
#include "platform/StringUtils.h"
#include "zephon/CommandVerbs.h"
#include "zephon/ZephonServer.h"

namespace {

using aspn2_msgs::idl::CommandResponse;
using ReturnCode = FACE::RETURN_CODE_TYPE;

constexpr std::size_t choices = 2;  // bytes before the text
constexpr std::array<unsigned char, 4> servers{48, 53, 49, 38};

// Not PNTD_SLIP, which calls the shell and waits; the fuzzer may find it all the same.
constexpr std::array<char const*, 20> verbs{"SYSTEM_MODE_SELECT_LIVE",
                                            "SYSTEM_MODE_SELECT_SIMULATION",
                                            "BITSERVER_PING",
                                            "INIT_SINCGARS",
                                            "INIT_HOTSTART",
                                            "SET_ZEPHON_COM",
                                            "SET_ZEPHON_HOT_START",
                                            "SET_ZEPHON_SUPER_USER",
                                            "SET_ZP_OUTPUT_CONFIG",
                                            "SET_ZEPHON_MESSAGE_OUTPUT",
                                            "QUERY_ZEPHON_COM",
                                            "QUERY_ZEPHON_HOT_START",
                                            "QUERY_ZEPHON_SUPER_USER",
                                            "QUERY_ZP_OUTPUT_CONFIG",
                                            "QUERY_ZEPHON_MESSAGE_OUTPUT",
                                            "START_ZEROIZE",
                                            "START_DESTROY",
                                            "REQUEST_PARTNUMBERS",
                                            "REQUEST_COMPONENT_CBIT",
                                            "REQUEST_CBIT"};

[[noreturn]] void fail(char const* why) {
    std::fprintf(stderr, "%s\n", why);
    std::abort();
}

/// A server that runs with debug texts on, though nobody reads them.
struct RunningServer {
    RunningServer() {
        bench::ExampleConfiguration::Settings settings;
        settings.debug = true;
        std::string const file = bench::ExampleConfiguration(settings).write(folder.path());
        ReturnCode::Value code = ReturnCode::NO_ACTION;
        setenv("PATH", slipTools.path().c_str(), 1);
        server.Configure(file.c_str(), code);
        if (code != ReturnCode::NO_ERROR) {
            fail("the server takes no configuration");
        }
        std::cout.setstate(std::ios::failbit);
        std::cerr.setstate(std::ios::failbit);
        server.Request_State_Transition(ZephonServer::RequestedState::START, code);
        if (code != ReturnCode::NO_ERROR) {
            fail("the server does not start");
        }
        // What the process has one of is made by its first use, and goes after what was made later.
        CommandResponse ping;
        ping.command_response("BITSERVER_PING");
        server.cbCmd(ping);
    }

    bench::TemporaryFolder folder;
    // This machine's own tools stay untouched.
    bench::FakeSlipTools slipTools{folder.path()};
    ZephonServer server;
};

CommandResponse makeRecord(std::uint8_t const* input, std::size_t size) {
    std::string text(input + choices, input + size);
    const std::size_t verb = input[1];
    if (verb < verbs.size()) {
        text = text.empty() ? verbs.at(verb) : verbs.at(verb) + ("," + text);
    }
    CommandResponse record;
    record.header().device_id(0x03000200 | servers.at(input[0] % servers.size()) << 16);
    record.command_response(std::move(text));
    return record;
}

bool isIn(Command const& command, CommandVerb const& row) {
    std::string const& text = command.record.command_response();
    switch (row.match) {
        case CommandVerb::Match::WholeText:
            return text == row.verb;
        case CommandVerb::Match::Contains:
            return text.find(row.verb) != std::string::npos;
        case CommandVerb::Match::FirstField:
            return command.fields.at(0) == row.verb;
    }
    return false;
}

void checkFields(CommandResponse const& record) {
    std::string const& text = record.command_response();
    Command const command(record);
    std::string joined = StringUtils::join(command.fields, ',');
    if (!text.empty() && text.back() == ',') {
        joined += ',';
    }
    if (joined != text) {
        fail("the fields are not the text");
    }
    if (command.key.empty() != (command.fields.size() < 3)) {
        fail("a key does not go with its fields");
    }
    for (unsigned char const server : servers) {
        CommandVerb const* const row = findCommandVerb(server, text);
        if (row != nullptr && !isIn(command, *row)) {
            fail("a verb was found that is none");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* input, std::size_t size) {
    static auto const running = std::make_unique<RunningServer>();
    if (size < choices) {
        return 0;
    }
    CommandResponse const record = makeRecord(input, size);
    checkFields(record);
    running->server.cbCmd(record);
    return 0;
}
