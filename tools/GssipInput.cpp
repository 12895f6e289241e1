#include "tools/GssipInput.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/signalfd.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <vector>

#include "face/SerialSettings.h"

namespace gssipdump {

namespace {

/// What one read of a queue device may give.
constexpr std::size_t largestRead = 131072;

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ > STDIN_FILENO) {
            ::close(number_);
        }
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    int get() const { return number_; }

private:
    int number_;
};

[[noreturn]] void fail(std::string const& name, std::string const& what) {
    throw std::runtime_error(name + ": " + what);
}

[[noreturn]] void fail(std::string const& name) {
    fail(name, std::generic_category().message(errno));
}

int openInput(InputOptions const& options) {
    if (!options.device.empty()) {
        // Without waiting for the carrier of a modem.
        return ::open(options.device.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    }
    if (options.file == "-") {
        // Where it is closed, its number would go to what is opened next.
        return ::fcntl(STDIN_FILENO, F_GETFD) < 0 ? -1 : STDIN_FILENO;
    }
    return ::open(options.file.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
}

/// Sets a serial line up, and puts its settings back at the end.
class LineSettings {
public:
    /// The descriptor must outlive the object.
    LineSettings(int descriptor, InputOptions const& options) : descriptor_(descriptor) {
        if (::tcgetattr(descriptor, &former_) != 0) {
            fail(options.device, "is no serial device");
        }
        termios terminal = former_;
        ::cfmakeraw(&terminal);
        FACE::IOSS::SerialSettings settings;
        settings.baudRate = options.baud;
        settings.parity = options.parity;
        settings.dataBits = 8;
        settings.stopBits = 1;
        auto const refused = FACE::IOSS::ApplySerialSettings(settings, terminal);
        if (!refused.empty()) {
            fail(options.device, refused.front());
        }
        FACE::IOSS::ApplyReadTimeout(-1, terminal);
        if (::tcsetattr(descriptor, TCSANOW, &terminal) != 0) {
            fail(options.device);
        }
    }
    ~LineSettings() { ::tcsetattr(descriptor_, TCSANOW, &former_); }  // in vain when it hung up
    LineSettings(LineSettings const&) = delete;
    LineSettings& operator=(LineSettings const&) = delete;

private:
    int const descriptor_;
    termios former_{};
};

/// Gives a descriptor that is readable once the program is asked to end, in place of its end.
int openSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

}  // namespace

void readInput(InputOptions const& options,
               std::function<bool(unsigned char const* bytes, std::size_t count)> const& take) {
    const bool isLine = !options.device.empty();
    const bool isStandardInput = !isLine && options.file == "-";
    std::string const name =
        isLine ? options.device : (isStandardInput ? "standard input" : options.file);
    // Before the signals are held back: a named pipe is open once it has a writer.
    const Descriptor input(openInput(options));
    if (input.get() < 0) {
        fail(name);
    }
    // Another reader may take what poll saw, and no signal would end a read that then waits.
    // Standard input is shared with others, whose reads would change too.
    if (!isStandardInput && ::fcntl(input.get(), F_SETFL, O_NONBLOCK) != 0) {
        fail(name);
    }
    const Descriptor signals(openSignals());
    std::optional<LineSettings> settings;
    if (isLine) {
        settings.emplace(input.get(), options);
    }
    std::vector<unsigned char> bytes(largestRead);
    std::array<pollfd, 2> waited{{{input.get(), POLLIN, 0}, {signals.get(), POLLIN, 0}}};
    for (;;) {
        if (::poll(waited.data(), waited.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(name);
        }
        if (waited[1].revents != 0) {
            return;
        }
        const ssize_t count = ::read(input.get(), bytes.data(), bytes.size());
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (count < 0 && !(isLine && errno == EIO)) {
            fail(name);
        }
        if (count <= 0 || !take(bytes.data(), static_cast<std::size_t>(count))) {
            return;  // the end, or the line hung up
        }
    }
}

}  // namespace gssipdump
