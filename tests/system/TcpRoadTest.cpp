// The road over TCP: on one computer, and between two network namespaces, two computers in small.

#include <fstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/system/SolutionRoadFixture.h"

namespace {

using bench::Bench;
using bench::TopicPeer;

/// Two namespaces joined by a pair of virtual Ethernet interfaces; gone with the object.
class TwoNamespaces {
public:
    static constexpr char const* serverAddress = "10.231.7.1";

    explicit TwoNamespaces(std::filesystem::path folder) : folder_(std::move(folder)) {
        const std::string id = std::to_string(getpid());
        server_ = "zps" + id;
        peer_ = "zpp" + id;
        for (std::string const& command :
             {"ip netns add " + server_, "ip netns add " + peer_,
              "ip link add vs" + id + " netns " + server_ + " type veth peer name vp" + id +
                  " netns " + peer_,
              "ip -n " + server_ + " addr add 10.231.7.1/24 dev vs" + id,
              "ip -n " + peer_ + " addr add 10.231.7.2/24 dev vp" + id,
              "ip -n " + server_ + " link set vs" + id + " up",
              "ip -n " + peer_ + " link set vp" + id + " up",
              "ip -n " + server_ + " link set lo up", "ip -n " + peer_ + " link set lo up"}) {
            if (!run(command)) {
                return;
            }
        }
        ready_ = true;
    }
    ~TwoNamespaces() {
        static_cast<void>(run("ip netns del " + server_));
        static_cast<void>(run("ip netns del " + peer_));
    }
    TwoNamespaces(TwoNamespaces const&) = delete;
    TwoNamespaces& operator=(TwoNamespaces const&) = delete;

    bool ready() const { return ready_; }
    std::string const& refusal() const { return refusal_; }

    /// A program that runs `program` on the one or the other computer.
    std::filesystem::path onServer(std::filesystem::path const& program) const {
        return wrap(server_, program);
    }
    std::filesystem::path onPeer(std::filesystem::path const& program) const {
        return wrap(peer_, program);
    }

private:
    bool run(std::string const& command) {
        const std::string log = (folder_ / "namespaces.log").string();
        const int status = std::system((command + " > " + log + " 2>&1").c_str());
        if (status == 0) {
            return true;
        }
        std::string reason;
        std::ifstream file(log);
        std::getline(file, reason);
        refusal_ = command + ": " + reason;
        return false;
    }

    std::filesystem::path wrap(std::string const& space,
                               std::filesystem::path const& program) const {
        const auto path = folder_ / (space + "-" + program.filename().string());
        std::ofstream(path) << "#!/bin/sh\nexec ip netns exec " << space << " " << program.string()
                            << " \"$@\"\n";
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }

    std::filesystem::path folder_;
    std::string server_;
    std::string peer_;
    std::string refusal_;
    bool ready_ = false;
};

INSTANTIATE_TEST_SUITE_P(TcpRoad, EveryTransport,
                         testing::Values(Way{"TCP_Server", false, false},
                                         Way{"TCP_Client", false, true}),
                         nameOfWay);

TEST_F(SolutionRoad, CrossesTheNetworkBetweenTwoComputers) {
    bench::TemporaryFolder folder;
    const TwoNamespaces computers(folder.path());
    if (!computers.ready()) {
        GTEST_SKIP() << "This machine forbids network namespaces, so two computers cannot be "
                        "told apart here: "
                     << computers.refusal();
    }
    constexpr std::size_t pairs = 30;
    Bench::Options options;
    options.server = computers.onServer(bench::programFolder() / "ZephonServer");
    options.settings.transport = "TCP_Server";
    options.settings.address = TwoNamespaces::serverAddress;
    options.settings.baud = 921600;
    bench = std::make_unique<Bench>(options);
    bench->start();
    ASSERT_TRUE(bench->waitUntilRunning()) << bench->report();
    auto peerOptions = bench->peerOptions();
    peerOptions.program = computers.onPeer(peerOptions.program);
    connectPeer(peerOptions);
    ASSERT_TRUE(peer->run(TopicPeer::Schedule::fromNow(20, pairs)));
    expectEveryPair(*peer, *peer, pairs);
    stop();
}

}  // namespace
