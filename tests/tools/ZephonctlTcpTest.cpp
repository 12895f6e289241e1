// zephonctl takes the other side of TCP.

#include <memory>
#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "tests/tools/Zephonctl.h"

namespace {

class ZephonctlOverTcp : public testing::TestWithParam<std::string> {};

TEST_P(ZephonctlOverTcp, ReachesTheServer) {
    bench::Bench::Options options;
    options.settings.transport = GetParam();
    bench::Bench bench(options);
    bench.start();
    ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    // The library's discovery over TCP sometimes never ends; a new program then finds the server.
    constexpr int nobodyListens = 3;
    constexpr int tries = 10;
    std::unique_ptr<Zephonctl> program;
    for (int i = 0; i < tries && (!program || program->status() == nobodyListens); ++i) {
        program = std::make_unique<Zephonctl>(
            bench, std::vector<std::string>{"send", "--discovery", "8", "BITSERVER_PING"});
    }
    EXPECT_EQ(0, program->status()) << program->process().output() << bench.report();
    EXPECT_EQ("ZephonServer\n", program->output());
}

INSTANTIATE_TEST_SUITE_P(Sides, ZephonctlOverTcp, testing::Values("TCP_Server", "TCP_Client"),
                         [](auto const& side) { return side.param; });

TEST(ZephonctlOverTcpAlone, SaysThatATcpClientHasOneNeighbour) {
    bench::Bench::Options options;
    options.settings.transport = "TCP_Client";
    bench::Bench bench(options);
    bench.configuration().write(bench.folder().path());
    Zephonctl program(bench, {"send", "--discovery", "1", "BITSERVER_PING"});
    EXPECT_EQ(3, program.status()) << program.process().output();
    EXPECT_THAT(program.errors(), testing::HasSubstr("a TCP client with one neighbour"));
}

}  // namespace
