#include "zephon/SlipInterface.h"

#include <chrono>
#include <net/if.h>
#include <thread>

namespace {

constexpr char const* interfaceName = "sl0";
constexpr std::chrono::milliseconds attachTime{500};
constexpr std::chrono::milliseconds lookAgain{10};

std::string attachCommand(PNTDBIT::ePntd_ProgStart start) {
    const std::string baud = start == PNTDBIT::ePntd_ProgStart::normal ? "921600" : "115200";
    return "slattach -s " + baud + " -p slip -L /dev/ttyS5 & \n";
}

std::string addressCommand() {
    return std::string("ifconfig ") + interfaceName +
           " 192.168.200.1 pointopoint 192.168.200.2 mtu 65534 up \n";
}

/// Without this the second command often comes before the first has made the interface.
void awaitInterface() {
    const auto deadline = std::chrono::steady_clock::now() + attachTime;
    while (if_nametoindex(interfaceName) == 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(lookAgain);
    }
}

}  // namespace

bool openSlipInterface(PNTDBIT::ePntd_ProgStart start, RunCommand const& run,
                       TellFailure const& tell) {
    if (run(attachCommand(start)) != 0) {
        tell("an error occurred when opening SLIP.");
        return false;
    }
    awaitInterface();
    if (run(addressCommand()) != 0) {
        tell("an error occurred when ifconfig SLIP.");
        return false;
    }
    return true;
}
