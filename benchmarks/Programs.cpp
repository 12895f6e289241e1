#include "benchmarks/Programs.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <utility>

#include "bench/SharedMemory.h"

namespace benchmarks {
namespace {

constexpr std::chrono::seconds startTimeout{20};
constexpr std::chrono::seconds endTimeout{5};
constexpr char const* readyLine = "ready";

std::unique_ptr<bench::Bench> startOnBench(std::filesystem::path const& program,
                                           Settings const& settings,
                                           std::function<void(bench::Bench&)> const& prepare) {
    bench::Bench::Options options;
    options.server = program;
    options.settings = settings;
    auto bench = std::make_unique<bench::Bench>(options);
    prepare(*bench);
    bench->start();
    return bench;
}

}  // namespace

Settings roadSettings() {
    Settings settings;
    settings.baud = 921600;
    return settings;
}

std::unique_ptr<bench::Bench> startServer(std::filesystem::path const& program,
                                          Settings const& settings,
                                          std::function<void(bench::Bench&)> const& prepare) {
    auto server = startOnBench(program, settings, prepare);
    if (!server->waitUntilRunning(startTimeout)) {
        throw std::runtime_error("the server does not come up\n" + server->report());
    }
    return server;
}

std::unique_ptr<bench::Bench> startSubject(std::filesystem::path const& program,
                                           Settings const& settings,
                                           std::function<void(bench::Bench&)> const& prepare) {
    auto subject = startOnBench(program, settings, prepare);
    if (!subject->server().waitForLine(readyLine, startTimeout)) {
        throw std::runtime_error(program.string() + " does not come up\n" + subject->report());
    }
    return subject;
}

std::unique_ptr<bench::ChildProcess> startProgram(std::string const& name,
                                                  bench::ChildProcess::Options options) {
    auto process =
        std::make_unique<bench::ChildProcess>(bench::programFolder() / name, std::move(options));
    if (!process->waitForLine(readyLine, startTimeout)) {
        throw std::runtime_error(name + " does not come up\n" + process->output());
    }
    return process;
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
    process_ = startProgram(name, options);
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
