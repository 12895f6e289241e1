#include "benchmarks/Programs.h"

#include <chrono>
#include <csignal>
#include <stdexcept>

#include "bench/SharedMemory.h"

namespace benchmarks {
namespace {

constexpr std::chrono::seconds startTimeout{20};
constexpr std::chrono::seconds endTimeout{5};

}  // namespace

Settings roadSettings() {
    Settings settings;
    settings.baud = 921600;
    return settings;
}

std::unique_ptr<bench::Bench> startServer(std::filesystem::path const& program,
                                          Settings const& settings) {
    bench::Bench::Options options;
    options.server = program;
    options.settings = settings;
    auto server = std::make_unique<bench::Bench>(options);
    server->start();
    if (!server->waitUntilRunning(startTimeout)) {
        throw std::runtime_error("the server does not come up\n" + server->report());
    }
    return server;
}

FloorProcess::FloorProcess(std::string const& name, Settings const& settings,
                           std::vector<std::string> const& arguments)
    : settings_(settings) {
    settings_.domain = domain_.id();
    // Whoever had the domain before may have been killed.
    bench::removeDomainPorts(static_cast<int>(domain_.id()));
    bench::ChildProcess::Options options;
    options.arguments = {std::to_string(settings_.domain), settings_.transport,
                         std::to_string(settings_.historyDepth)};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    process_ = std::make_unique<bench::ChildProcess>(bench::programFolder() / name, options);
    if (!process_->waitForLine("ready", startTimeout)) {
        throw std::runtime_error(name + " does not come up\n" + process_->output());
    }
}

FloorProcess::~FloorProcess() {
    process_->signal(SIGTERM);
    process_->wait(endTimeout);
    process_.reset();
    bench::removeDomainPorts(static_cast<int>(domain_.id()));
}

bench::TopicPeer::Options FloorProcess::peerOptions() const {
    bench::TopicPeer::Options options;
    options.domain = settings_.domain;
    options.serverTransport = settings_.transport;
    options.historyDepth = settings_.historyDepth;
    return options;
}

std::unique_ptr<bench::TopicPeer> startPeer(bench::TopicPeer::Options peerOptions) {
    auto peer = std::make_unique<bench::TopicPeer>(std::move(peerOptions));
    if (!peer->waitForReaders()) {
        throw std::runtime_error("a peer finds no reader: " + peer->lastFailure() + "\n" +
                                 peer->process().output());
    }
    return peer;
}

}  // namespace benchmarks
