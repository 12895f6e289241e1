#include "bench/FakeSlipTools.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <utility>

#include "bench/Patience.h"

namespace bench {

FakeSlipTools::FakeSlipTools(std::filesystem::path folder) : folder_(std::move(folder)) {
    std::filesystem::create_directory(folder_ / "bin");
    write("slattach", "");
    write("ifconfig", "");
}

std::string FakeSlipTools::path() const {
    const char* const others = std::getenv("PATH");
    return (folder_ / "bin").string() + (others == nullptr ? "" : ":" + std::string(others));
}

void FakeSlipTools::failIfconfig() const {
    write("ifconfig", "exit 1");
}

void FakeSlipTools::holdIfconfig() const {
    ::mkfifo(gate().c_str(), 0600);
    write("ifconfig", "read line < '" + gate().string() + "'");
}

void FakeSlipTools::release() const {
    std::ofstream(gate()) << "go\n";
}

bool FakeSlipTools::waitForCall(const std::string& call, std::chrono::milliseconds timeout) const {
    return holdsInTime([&] { return calls().find(call + "\n") != std::string::npos; }, timeout);
}

std::string FakeSlipTools::calls() const {
    std::ostringstream text;
    text << std::ifstream(log()).rdbuf();
    return text.str();
}

void FakeSlipTools::write(const std::string& name, const std::string& action) const {
    const auto program = folder_ / "bin" / name;
    std::ofstream(program) << "#!/bin/sh\necho \"" << name << " $*\" >> '" << log().string()
                           << "'\n"
                           << action << "\n";
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
}

}  // namespace bench
