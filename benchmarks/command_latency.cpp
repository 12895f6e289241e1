// Latency of a command, from its publication to the callback of its answer: the real server on the
// bench beside the floor program, in alternating blocks of one run. And what a set that writes one
// key takes, beside the rewrite of the settings file alone.

#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <sys/prctl.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "benchmarks/CommandSubject.h"
#include "benchmarks/FileRewrite.h"
#include "benchmarks/Programs.h"

namespace benchmarks {
namespace {

constexpr LatencyAims aims{2, 0};
constexpr std::int64_t warmUpCommands = 50;
constexpr double warmUpRate = 50;
constexpr char const* ping = "BITSERVER_PING";

struct Options {
    std::string server = (bench::programFolder() / "ZephonServer").string();
    std::vector<std::string> queries{ping, "QUERY_ZEPHON_COM,1,COM1"};
    /// By turns, so that each of them changes the file.
    std::vector<std::string> sets{"SET_ZP_OUTPUT_CONFIG,1,COM1,ZEPHON",
                                  "SET_ZP_OUTPUT_CONFIG,1,COM1,CORVANE"};
    double rate = 50;
    double seconds = 20;
    bool json = false;
};

MeasureBlock blocksOf(CommandSubject& subject, std::vector<std::string> const& texts) {
    return [&subject, texts](double rate, std::int64_t count) {
        return subject.measure(texts, rate, count);
    };
}

std::string contentOf(std::filesystem::path const& path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Sets and rewrites by turns of one each, in the folder of the settings file.
nlohmann::json measureSets(CommandSubject& server, bench::Bench& onBench, Options const& options) {
    using File = bench::ExampleConfiguration::File;
    std::filesystem::path const settings =
        onBench.folder().path() / bench::ExampleConfiguration::fileName(File::StoredSettings);
    std::filesystem::path const alone = onBench.folder().path() / "rewrite_alone.xml";
    std::string const content = contentOf(settings);
    auto const count = static_cast<std::int64_t>(options.rate * options.seconds);
    std::vector<double> sets;
    std::vector<double> rewrites;
    for (std::int64_t i = 0; i < count; ++i) {
        auto const& text = options.sets[static_cast<std::size_t>(i) % options.sets.size()];
        auto const sample = server.measure({text}, options.rate, 1);
        if (sample.lost != 0) {
            throw std::runtime_error("no answer to " + text);
        }
        sets.push_back(sample.microseconds.front());
        rewrites.push_back(microseconds([&] { rewriteFile(alone, content); }));
    }
    LatencySummary const set = summarize(sets);
    LatencySummary const rewrite = summarize(rewrites);
    if (!options.json) {
        fmt::print(
            "{} sets of one key\n"
            "  set to answer  p50 {:.0f}  p99 {:.0f} us\n"
            "  rewrite alone  p50 {:.0f}  p99 {:.0f} us\n"
            "  ratio of p50   {:.2f}\n",
            count, set.p50, set.p99, rewrite.p50, rewrite.p99, set.p50 / rewrite.p50);
    }
    return {{"count", count},
            {"set_p50_us", set.p50},
            {"set_p99_us", set.p99},
            {"rewrite_p50_us", rewrite.p50},
            {"rewrite_p99_us", rewrite.p99}};
}

void run(Options const& options) {
    ::prctl(PR_SET_TIMERSLACK, 1UL);
    Settings const settings = roadSettings();
    auto const server = startServer(options.server, settings);
    FloorProcess const floor("command_floor", settings, {});
    auto const subjectOf = [&settings](unsigned domain) {
        return std::make_unique<CommandSubject>(
            FloorSettings{domain, settings.transport, settings.historyDepth});
    };
    auto const serverSubject = subjectOf(server->settings().domain);
    auto const floorSubject = subjectOf(floor.peerOptions().domain);
    for (auto const* subject : {&serverSubject, &floorSubject}) {
        (*subject)->awaitAnswers(ping);
        (*subject)->measure({ping}, warmUpRate, warmUpCommands);
    }

    nlohmann::json rows = nlohmann::json::array();
    for (auto const& query : options.queries) {
        LatencyRow const row =
            compareLatencies(blocksOf(*serverSubject, {query}), blocksOf(*floorSubject, {query}),
                             options.rate, options.seconds);
        if (options.json) {
            rows.push_back(toJson(row));
            rows.back()["command"] = query;
        } else {
            print(fmt::format("{}, {} a second", query, options.rate), row, aims);
        }
    }
    auto const sets = measureSets(*serverSubject, *server, options);
    if (options.json) {
        fmt::print("{}\n", nlohmann::json{{"rows", rows}, {"sets", sets}}.dump(2));
    }
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    benchmarks::Options options;
    CLI::App app("Latency of a command and its answer, beside the floor program");
    app.add_option("--server", options.server, "The server's program")->check(CLI::ExistingFile);
    app.add_option("--query", options.queries, "Commands that are measured, one after the other");
    app.add_option("--set", options.sets, "Commands that write one key, taken by turns");
    app.add_option("--rate", options.rate, "Commands a second")->check(CLI::Range(0.1, 500.0));
    app.add_option("--seconds", options.seconds, "Time for each program and command")
        ->check(CLI::Range(0.1, 86400.0));
    app.add_flag("--json", options.json, "Print JSON at the end, and nothing else");
    CLI11_PARSE(app, argc, argv);
    try {
        benchmarks::run(options);
    } catch (std::exception const& error) {
        std::cerr << "command_latency: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
