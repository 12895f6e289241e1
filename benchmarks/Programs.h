#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "bench/ChildProcess.h"
#include "bench/DomainLock.h"
#include "bench/ExampleConfiguration.h"
#include "bench/TopicPeer.h"

namespace benchmarks {

/// The programs that are measured side by side. They are started with the same settings, each in
/// a DDS domain of its own, and all from the main thread.

using Settings = bench::ExampleConfiguration::Settings;

/// The example's settings but for the rate of the lines: the server rests after each frame for
/// the time that the line needs for it, 12 ms at 115200. At 921600 that is 1.5 ms, so that no
/// frame waits for the one before it.
Settings roadSettings();

/// Where the example configuration has a link's records go: PNTD_MX, for link 2 DT_IN.
constexpr unsigned queueOfLink(unsigned link) {
    return link == 2 ? 4 : 3;
}

/// Starts the server on the bench and waits until it runs. `prepare` is called before, to change
/// the bench. Raises std::runtime_error with the server's output when it does not come up.
std::unique_ptr<bench::Bench> startServer(
    std::filesystem::path const& program, Settings const& settings,
    std::function<void(bench::Bench&)> const& prepare = [](bench::Bench&) {});

/// The same for a program that stands in the server's place and says that it is ready.
std::unique_ptr<bench::Bench> startSubject(std::filesystem::path const& program,
                                           Settings const& settings,
                                           std::function<void(bench::Bench&)> const& prepare);

/// Starts a program of this build and waits until it says that it is ready. Raises
/// std::runtime_error with its output when it does not.
std::unique_ptr<bench::ChildProcess> startProgram(std::string const& name,
                                                  bench::ChildProcess::Options options);

/// A floor program, ended by the destructor. One thread.
class FloorProcess {
public:
    /// Starts the program of this name and waits until its endpoints stand. `arguments` follow
    /// those that tell the transport. Raises std::runtime_error when it does not come up.
    FloorProcess(std::string const& name, Settings const& settings,
                 std::vector<std::string> const& arguments);
    ~FloorProcess();
    FloorProcess(FloorProcess const&) = delete;
    FloorProcess& operator=(FloorProcess const&) = delete;

    bench::ChildProcess& process() { return *process_; }

    /// How a peer joins this program.
    bench::TopicPeer::Options peerOptions() const;

private:
    bench::DomainLock domain_;
    Settings settings_;
    std::unique_ptr<bench::ChildProcess> process_;
};

/// Starts a peer that publishes both records of each pair, and waits until `peerOptions`' program
/// reads them. Raises std::runtime_error when it does not.
std::unique_ptr<bench::TopicPeer> startPeer(bench::TopicPeer::Options peerOptions);

}  // namespace benchmarks
