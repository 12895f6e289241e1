// The three links without the server, which link_load loads and measures.
//
//     link_load_subject CONFIGURATION
//
// CONFIGURATION is the server's top-level file; the file of devices stands beside it. "feed
// SECONDS" on standard input has each link send frames for that long, as fast as its write thread
// takes them, and is answered by "fed", the number of the command, and the frames that each link
// has sent since the start.
// The end of the input ends the program; its last line tells the errors that the links counted.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/ExampleConfiguration.h"
#include "benchmarks/LinkSet.h"

namespace benchmarks {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A link's write queue drops what it has no room for, at 32. So many frames last 20 ms.
constexpr std::uint32_t inFlight = 24;
constexpr auto feedPeriod = 4ms;
constexpr auto drainTimeout = 2s;

void say(std::string const& line) {
    std::cout << line + "\n" << std::flush;
}

bool allWritten(LinkSet const& links) {
    for (unsigned number = 1; number <= LinkSet::count; ++number) {
        if (links.framesWritten(number) != links.framesQueued(number)) {
            return false;
        }
    }
    return true;
}

void topUp(LinkSet& links) {
    for (unsigned number = 1; number <= LinkSet::count; ++number) {
        while (links.framesQueued(number) - links.framesWritten(number) < inFlight) {
            if (!links.queueFrame(number)) {
                throw std::runtime_error("a link's queue is full");
            }
        }
    }
}

void feed(LinkSet& links, double seconds, unsigned run) {
    auto const duration =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    for (auto const end = Clock::now() + duration; Clock::now() < end;) {
        topUp(links);
        std::this_thread::sleep_for(feedPeriod);
    }
    for (auto const end = Clock::now() + drainTimeout; !allWritten(links);) {
        if (Clock::now() > end) {
            throw std::runtime_error("a link lost a frame before the line");
        }
        std::this_thread::sleep_for(1ms);
    }
    std::string answer = "fed " + std::to_string(run) + ":";
    for (unsigned number = 1; number <= LinkSet::count; ++number) {
        answer += " " + std::to_string(links.framesQueued(number));
    }
    say(answer);
}

void run(std::filesystem::path const& configuration) {
    using Configuration = bench::ExampleConfiguration;
    LinkSet links(configuration.parent_path() /
                  Configuration::fileName(Configuration::File::IoDevices));
    unsigned runs = 0;
    say("ready");
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string word;
        double seconds = 0;
        if (!(words >> word >> seconds) || word != "feed") {
            throw std::invalid_argument("unknown command: " + line);
        }
        feed(links, seconds, ++runs);
    }
    say("errors " + std::to_string(links.errors()));
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    try {
        if (argc != 2) {
            throw std::invalid_argument("arguments: CONFIGURATION");
        }
        benchmarks::run(argv[1]);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "link_load_subject: %s\n", error.what());
        return 1;
    }
    return 0;
}
