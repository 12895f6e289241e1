// zephonctl takes the other side of TCP.

#include <string>

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
    Zephonctl program(bench, {"send", "--discovery", "50", "BITSERVER_PING"});
    EXPECT_EQ(0, program.status()) << program.process().output() << bench.report();
    EXPECT_EQ("ZephonServer\n", program.output());
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
