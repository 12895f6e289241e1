#include "bench/PseudoTerminal.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <system_error>
#include <termios.h>

namespace bench {
namespace {

[[noreturn]] void fail(int error, const char* what) {
    throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

PseudoTerminal::PseudoTerminal() {
    reopen();
}

void PseudoTerminal::reopen() {
    hangUp();
    FileDescriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!master.valid() || ::grantpt(master.get()) != 0 || ::unlockpt(master.get()) != 0) {
        fail(errno, "pseudo-terminal");
    }
    std::array<char, 128> name{};
    if (const int error = ::ptsname_r(master.get(), name.data(), name.size()); error != 0) {
        fail(error, "ptsname");
    }
    FileDescriptor slave(::open(name.data(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    termios settings{};
    if (!slave.valid() || ::tcgetattr(slave.get(), &settings) != 0) {
        fail(errno, name.data());
    }
    ::cfmakeraw(&settings);
    if (::tcsetattr(slave.get(), TCSANOW, &settings) != 0) {
        fail(errno, name.data());
    }
    master_ = std::move(master);
    slave_ = std::move(slave);
    slavePath_ = name.data();
}

void PseudoTerminal::hangUp() {
    master_.reset();
    slave_.reset();
}

std::size_t PseudoTerminal::read(std::uint8_t* buffer, std::size_t size) {
    const ssize_t count = master_.valid() ? ::read(master_.get(), buffer, size) : 0;
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::size_t PseudoTerminal::write(const std::uint8_t* bytes, std::size_t size) {
    const ssize_t count = master_.valid() ? ::write(master_.get(), bytes, size) : 0;
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace bench
