#include "bench/Bench.h"

#include <algorithm>
#include <csignal>
#include <thread>
#include <utility>

#include "bench/Patience.h"
#include "bench/SharedMemory.h"

namespace bench {
namespace {

constexpr const char* runningLine = "ZephonServer started successfully.";

// The last of the handlers that the server installs once it runs.
constexpr int lastHandledSignal = SIGINT;

ExampleConfiguration::Settings complete(ExampleConfiguration::Settings settings,
                                        const DomainLock& domain) {
    settings.domain = domain.id();
    if (settings.port == ExampleConfiguration::Settings{}.port) {
        settings.port = domain.tcpPort();
    }
    return settings;
}

}  // namespace

Bench::Bench() : Bench(Options{}) {}

Bench::Bench(Options options)
    : options_(std::move(options)),
      slipTools_(folder_.path()),
      devices_(folder_.path() / "dev"),
      virtualUnits_(
          {[this](const UnitFrame& frame) { unit(1).send(frame); },
           [this](const UnitFrame& frame, Duration delay) { unit(1).sendLater(frame, delay); }},
          options_.virtualUnits),
      pntDevice_(
          [this](const UnitFrame& frame, Duration delay) { unit(3).sendLater(frame, delay); }) {
    // Whoever had the domain before may have been killed.
    removeDomainPorts(static_cast<int>(domain_.id()));
    options_.settings = complete(options_.settings, domain_);
    configuration_ = ExampleConfiguration(options_.settings, options_.example);
    for (const unsigned channel : options_.settings.channels) {
        options_.fpga.uarts = std::max(options_.fpga.uarts, channel + 1);
    }
    fpga_ = std::make_unique<FpgaModel>(devices_.memoryPath(), configuration_.memoryRegions(),
                                        options_.fpga);
    // What stands behind the units hears after those who were given.
    const auto hearing = [](const auto& first, const auto& second) {
        return [first, second](const LoggedFrame& frame) {
            if (first) {
                first(frame);
            }
            second(frame);
        };
    };
    auto& mainUnit = options_.units.front().observer;
    mainUnit = hearing(mainUnit, [this](const LoggedFrame& frame) { virtualUnits_.take(frame); });
    auto& pntPort = options_.units.back().observer;
    pntPort = hearing(pntPort, [this](const LoggedFrame& frame) { pntDevice_.take(frame); });
    for (unsigned link = 1; link <= links; ++link) {
        const unsigned channel = options_.settings.channels.at(link - 1);
        options_.units.at(link - 1).sending = [this, channel] { fpga_->uartDataArrived(channel); };
        units_.at(link - 1) = std::make_unique<UnitModel>(options_.units.at(link - 1));
        devices_.linkSerial(channel, unit(link).devicePath());
    }
    for (unsigned port = 0; port < queues; ++port) {
        devices_.makeQueue(port);
    }
}

Bench::~Bench() {
    server_.reset();
    removeDomainPorts(static_cast<int>(domain_.id()));
}

void Bench::reconnect(unsigned link) {
    unit(link).reconnect();
    devices_.linkSerial(options_.settings.channels.at(link - 1), unit(link).devicePath());
}

void Bench::start() {
    server_.reset();
    ChildProcess::Options child;
    child.arguments = {configuration_.write(folder_.path()).string()};
    child.environment = options_.environment;
    child.environment.emplace("PATH", slipTools_.path());
    child.environment[DeviceRoot::environmentVariable] = devices_.path().string();
    child.lineHandler = options_.serverLine;
    server_ = std::make_unique<ChildProcess>(options_.server, std::move(child));
}

bool Bench::waitUntilRunning(Duration timeout) {
    // The line comes a moment before the handlers: a SIGTERM in between would just kill it.
    return server_->waitForLine(runningLine, timeout) &&
           holdsInTime(
               [this] { return server_->catches(lastHandledSignal) || !server_->running(); },
               timeout) &&
           server_->running();
}

std::optional<ChildProcess::Exit> Bench::stop(Duration timeout) {
    server_->signal(SIGTERM);
    return server_->wait(timeout);
}

TopicPeer::Options Bench::peerOptions(TopicPeer::Role role) const {
    TopicPeer::Options peer;
    peer.role = role;
    peer.domain = options_.settings.domain;
    peer.serverTransport = options_.settings.transport;
    peer.address = options_.settings.address;
    peer.port = options_.settings.port;
    peer.historyDepth = options_.settings.historyDepth;
    peer.bestEffort = options_.settings.bestEffort;
    return peer;
}

QueuePeer::Options Bench::queuePeerOptions() const {
    QueuePeer::Options peer;
    for (const auto& [name, port] : configuration_.queuePorts()) {
        peer.queues[name] = devices_.queuePath(port);
    }
    return peer;
}

std::string Bench::report() const {
    std::string text = "--- server: ";
    if (server_ == nullptr) {
        text += "not started\n";
    } else {
        const auto exit = server_->wait(Duration(0));
        text += (exit ? exit->text() : "running") + "\n" + server_->output();
    }
    for (unsigned link = 1; link <= links; ++link) {
        text += "--- link " + std::to_string(link) + ": " + units_.at(link - 1)->describe();
    }
    return text + "--- virtual units: " + virtualUnits_.describe();
}

}  // namespace bench
