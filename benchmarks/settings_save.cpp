// What it costs to store one key: MX_Config's save by way of a sibling, beside the rewrite of the
// file alone (truncate, write, all synchronous), which a loss of power turns into a lost file.
// Both by turns on copies of one file, in a folder on the medium in question.

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/FileRewrite.h"
#include "benchmarks/LatencyStatistics.h"
#include "face/MX_Config.h"

namespace benchmarks {
namespace {

using Code = FACE::RETURN_CODE_TYPE;

constexpr int saves = 500;

void run(std::filesystem::path const& settings, std::filesystem::path const& folder) {
    std::filesystem::path const file = folder / "settings_save.xml";
    std::filesystem::path const alone = folder / "settings_save_alone.xml";
    std::filesystem::copy_file(settings, file, std::filesystem::copy_options::overwrite_existing);

    FACE::MX_Config config;
    Code::Value rc = Code::NO_ERROR;
    int handle = -1;
    config.Initialize(file.c_str(), rc);
    config.Open("ZP1COM1", handle, rc);
    std::array<std::string, 2> values{"19200", "115200"};
    std::vector<double> durable;
    std::vector<double> rewritten;
    for (int i = 0; i < saves; ++i) {
        std::string& value = values[static_cast<std::size_t>(i % 2)];
        int bytes = 0;
        durable.push_back(microseconds([&] {
            config.Write(handle, "transBaud", value.data(), static_cast<int>(value.size()), bytes,
                         rc);
        }));
        if (rc != Code::NO_ERROR) {
            throw std::runtime_error("cannot save " + file.string());
        }
        std::ifstream stream(file);
        std::string const content{std::istreambuf_iterator<char>(stream), {}};
        rewritten.push_back(microseconds([&] { rewriteFile(alone, content); }));
    }
    std::filesystem::remove(file);
    std::filesystem::remove(alone);

    LatencySummary const save = summarize(durable);
    LatencySummary const floor = summarize(rewritten);
    std::cout << std::fixed << std::setprecision(0) << saves << " saves each, microseconds\n"
              << "save by way of a sibling  p50 " << save.p50 << "  p99 " << save.p99 << '\n'
              << "rewrite alone             p50 " << floor.p50 << "  p99 " << floor.p99 << '\n'
              << std::setprecision(2) << "ratio of p50              " << save.p50 / floor.p50
              << '\n';
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: settings_save SETTINGS_FILE FOLDER\n";
        return 2;
    }
    try {
        benchmarks::run(argv[1], argv[2]);
    } catch (std::exception const& error) {
        std::cerr << "settings_save: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
