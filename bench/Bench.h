#pragma once

#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "bench/ChildProcess.h"
#include "bench/DeviceRoot.h"
#include "bench/DomainLock.h"
#include "bench/ExampleConfiguration.h"
#include "bench/FakeSlipTools.h"
#include "bench/FpgaModel.h"
#include "bench/PntDevice.h"
#include "bench/QueuePeer.h"
#include "bench/TemporaryFolder.h"
#include "bench/TopicPeer.h"
#include "bench/UnitModel.h"
#include "bench/VirtualUnits.h"

namespace bench {

/// The server among all that it meets: a DDS domain and a device root of its own, the FPGA, a unit
/// on each of the three links, a configuration, and the real program in a process of its own.
///
///     Bench bench;
///     bench.start();
///     ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
///     ...
///     const auto exit = bench.stop();
///
/// The destructor ends whatever still runs and leaves nothing behind. One thread uses an object;
/// the thread that makes it must outlive it.
class Bench {
public:
    using Duration = std::chrono::milliseconds;
    static constexpr unsigned links = 3;
    static constexpr unsigned queues = 5;  ///< their ports count from 0

    struct Options {
        std::filesystem::path server = programFolder() / "ZephonServer";
        std::filesystem::path example = ExampleConfiguration::installedFolder();  ///< changed by:
        ExampleConfiguration::Settings settings;  ///< domain, and port unless given, are set here
        std::array<UnitModel::Options, links> units;  ///< `sending` is set here
        VirtualUnits::Options virtualUnits;
        FpgaModel::Options fpga;  ///< `uarts` grows to cover the links
        std::map<std::string, std::string>
            environment;  ///< added to the server's; PATH is set here
        std::function<bool(const std::string& line)> serverLine;  ///< ChildProcess::lineHandler
    };

    Bench();
    explicit Bench(Options options);
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    /// To be changed before start().
    ExampleConfiguration& configuration() { return configuration_; }
    const ExampleConfiguration::Settings& settings() const { return options_.settings; }

    /// The unit on link 1, 2 or 3. Raises std::out_of_range for another number.
    UnitModel& unit(unsigned link) { return *units_.at(link - 1); }

    /// The four virtual units of the unit on link 1. They have got a frame before that unit logs
    /// it.
    VirtualUnits& virtualUnits() { return virtualUnits_; }

    /// The PNT device of the unit on link 3.
    PntDevice& pntDevice() { return pntDevice_; }

    /// The registers, in the regions that the example configuration names. What a unit sends moves
    /// the stamp of the UART whose number is its link's channel.
    FpgaModel& fpga() { return *fpga_; }

    DeviceRoot& devices() { return devices_; }
    const DeviceRoot& devices() const { return devices_; }
    const DomainLock& domain() const { return domain_; }
    TemporaryFolder& folder() { return folder_; }

    /// What the server's commands for the SLIP channel run: no server here touches the machine's
    /// own interfaces.
    const FakeSlipTools& slipTools() const { return slipTools_; }

    /// Puts a new line on a link after UnitModel::hangUp(), where the next open finds it.
    void reconnect(unsigned link);

    /// Writes the configuration and starts the server, anew if it has run before. Raises
    /// std::system_error when the program cannot be run.
    void start();

    /// Waits until the server has told that it runs, and takes signals in an orderly way.
    bool waitUntilRunning(Duration timeout = std::chrono::seconds(30));

    /// Sends SIGTERM and waits for the end; nothing when the server does not end in time.
    std::optional<ChildProcess::Exit> stop(Duration timeout = std::chrono::seconds(30));

    /// The server's process; after start() only.
    ChildProcess& server() { return *server_; }
    bool started() const { return server_ != nullptr; }

    /// The options of a peer that speaks with this server; role and callbacks are the caller's.
    TopicPeer::Options peerOptions(TopicPeer::Role role = TopicPeer::Role::Both) const;

    /// The options of a peer at the far side of the queue devices that the configuration names.
    QueuePeer::Options queuePeerOptions() const;

    /// The server's output and the traffic on all links and to the virtual units, for the report of
    /// a failed test.
    std::string report() const;

private:
    Options options_;
    DomainLock domain_;
    TemporaryFolder folder_;
    FakeSlipTools slipTools_;
    DeviceRoot devices_;
    ExampleConfiguration configuration_;
    std::unique_ptr<FpgaModel> fpga_;  // outlives the units, which stamp their bytes there
    VirtualUnits virtualUnits_;        // outlives the first unit, which hands it its frames
    PntDevice pntDevice_;              // and this one the third
    std::array<std::unique_ptr<UnitModel>, links> units_;
    std::unique_ptr<ChildProcess> server_;
};

}  // namespace bench
