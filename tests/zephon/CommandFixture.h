#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/system/ResponseReader.h"
#include "tests/zephon/CommandRecords.h"
#include "tests/zephon/ZephonServerFixture.h"

/// A server in this process that takes commands; its answers are read as another process does.
class CommandFixture : public ZephonServerFixture {
protected:
    /// Expects these answers and no others; ends the row with one more.
    void expectAnswers(std::vector<std::string> expected) {
        const ResponseReader responses(bench);
        auto last = ASPN2::CmdResponse().makeResponse(aspn2_msgs::idl::CommandResponse(), "LAST");
        server->sendResponseMessage(last);
        expected.emplace_back("LAST");
        ASSERT_TRUE(responses.waitFor("LAST")) << responses.report();
        std::vector<std::string> texts;
        for (auto const& response : responses.all()) {
            texts.push_back(response.text);
        }
        EXPECT_EQ(expected, texts);
    }

    /// Ends the topics of the server, which goes on running. The event log, which is the process's,
    /// goes with them: the server that is returned has it then.
    std::unique_ptr<ZephonServer> takeTopicsAway() {
        EXPECT_EQ(ReturnCode::NO_ERROR, disconnect());
        auto reporting = std::make_unique<ZephonServer>();
        ReturnCode::Value code = ReturnCode::IN_PROGRESS;
        reporting->Configure(file.c_str(), code);
        EXPECT_EQ(ReturnCode::NO_ERROR, code);
        reporting->Framework_Connect(file.c_str(), code);
        EXPECT_EQ(ReturnCode::NO_ERROR, code);
        return reporting;
    }
};
