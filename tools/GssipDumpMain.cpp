// gssip-dump: shows the GSSIP frames in a capture, on a serial line or in queue records.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/GssipInput.h"
#include "tools/GssipQueue.h"
#include "tools/GssipReport.h"
#include "tools/GssipStream.h"

namespace {

using namespace gssipdump;

enum ExitStatus {
    Flawless = 0,
    Flawed = 1,  ///< something in the input was no good frame
    Unusable = 2,
};

enum class Colour { Auto, Always, Never };

bool wantsColour(Colour colour) {
    if (colour != Colour::Auto) {
        return colour == Colour::Always;
    }
    char const* const none = std::getenv("NO_COLOR");
    return ::isatty(STDOUT_FILENO) == 1 && (none == nullptr || *none == '\0');
}

int run(int argc, char** argv) {
    CLI::App app("Shows GSSIP frames: from a file, standard input, a serial line or a queue.",
                 "gssip-dump");
    app.footer(
        "Exit status: 0 all was good frames, 1 not all, 2 wrong usage, or the input or output "
        "failed.");
    InputOptions input;
    ReportOptions report;
    Colour colour = Colour::Auto;
    bool queue = false;
    const std::map<std::string, std::uint16_t> parities{{"none", 0}, {"odd", 1}, {"even", 2}};
    const std::map<std::string, Colour> colours{
        {"auto", Colour::Auto}, {"always", Colour::Always}, {"never", Colour::Never}};
    auto* const file =
        app.add_option("file", input.file, "Capture of raw bytes, - for standard input")
            ->capture_default_str();
    auto* const device =
        app.add_option("-d,--device", input.device, "Serial device to listen on")
            ->excludes(file)
            ->check([](std::string const& name) {
                return name.empty() ? std::string("no device is named") : std::string();
            });
    app.add_option("-b,--baud", input.baud, "Rate of the device in bit/s")
        ->needs(device)
        ->capture_default_str();
    app.add_option("-p,--parity", input.parity, "Parity of the device: none (default), odd, even")
        ->needs(device)
        ->transform(CLI::CheckedTransformer(parities));
    app.add_flag("-q,--queue", queue, "The input is records of a queue device")->excludes(device);
    app.add_flag("-v,--verbose", report.verbose, "Print every field");
    app.add_flag("-j,--json", report.json, "Print JSON, one object a line, with every field");
    app.add_option("--color", colour, "Colours: auto (default), always, never")
        ->transform(CLI::CheckedTransformer(colours));
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? ExitStatus::Flawless : ExitStatus::Unusable;
    }
    report.colour = wantsColour(colour);

    bool flawless = true;
    bool open = true;  // the output
    int writeError = 0;
    const auto flush = [&] {
        if (open && std::fflush(stdout) != 0) {
            writeError = errno;
            open = false;
        }
        return open;
    };
    const Sink show = [&](Sighting const& sighting) {
        if (!open) {
            return;
        }
        Report const shown = reportOf(sighting, report);
        flawless = flawless && shown.flawless;
        if (std::fwrite(shown.text.data(), 1, shown.text.size(), stdout) != shown.text.size()) {
            writeError = errno;
            open = false;
        }
    };
    std::unique_ptr<Finder> finder;
    if (queue) {
        finder = std::make_unique<GssipQueue>(show);
    } else {
        finder = std::make_unique<GssipStream>(show);
    }
    readInput(input, [&](unsigned char const* bytes, std::size_t count) {
        finder->load(bytes, count);
        return flush();  // what came is seen at once
    });
    finder->finish();
    flush();
    if (writeError != 0 && writeError != EPIPE) {  // whoever closes a pipe has seen enough
        throw std::runtime_error("standard output: " + std::generic_category().message(writeError));
    }
    return flawless ? ExitStatus::Flawless : ExitStatus::Flawed;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (std::exception const& error) {
        fmt::print(stderr, "gssip-dump: {}\n", error.what());
        return ExitStatus::Unusable;
    }
}
