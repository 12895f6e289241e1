#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <thread>

#include "face/ReturnCode.h"
#include "face/String.h"
#include "zephon/LifeCycleCalls.h"
#include "zephon/ZephonServer.h"

namespace {

// Written by the signal handler on whichever thread takes the signal, read by main's loop.
std::atomic<bool> exitFlag{false};
std::atomic<int> exitSignal{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "a signal handler may only touch what needs no lock");

constexpr int exitPollMs = 500;

void SignalHandler(int signal) {
    exitSignal = signal;
    exitFlag = true;
}

/// SIGSEGV, SIGHUP and SIGPIPE keep their default action.
void SetupSignalHandler() {
    for (const int signal :
         {SIGQUIT, SIGILL, SIGABRT, SIGBUS, SIGTERM, SIGTRAP, SIGSYS, SIGFPE, SIGINT}) {
        struct sigaction action = {};
        action.sa_handler = SignalHandler;
        sigemptyset(&action.sa_mask);
        // A fault of our own comes again as soon as the handler returns; the second one must
        // end the process instead of faulting for ever.
        const bool isFault = signal == SIGILL || signal == SIGBUS || signal == SIGFPE;
        action.sa_flags = isFault ? static_cast<int>(SA_RESETHAND) : 0;
        sigaction(signal, &action, nullptr);
    }
}

void check(int line, char const* text, FACE::RETURN_CODE_TYPE::Value code) {
    FACE::Return_Code_Value_No_Error_No_Action("ZephonServerMain.cpp", line, text, code);
}

}  // namespace

int main(int argc, char** argv) {
    // Each line leaves at once, also into a pipe or a journal.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    if (argc != 2) {
        std::cout << "Usage: " << argv[0] << " <top-level-config-file> \n";
        return 1;
    }

    using Code = FACE::RETURN_CODE_TYPE::Value;
    using FACE::LCM::Meridane::RequestedState;
    const FACE::String configFile(argv[1]);
    ZephonServer server;
    Code code = FACE::RETURN_CODE_TYPE::NO_ERROR;

    callOnceTransactionally([&](Code& rc) { server.Initialize(rc); }, code);
    check(__LINE__, "Initialize() failed", code);
    server.Configure(configFile, code);
    check(__LINE__, "Configure() failed", code);
    callOnceTransactionally([&](Code& rc) { server.Framework_Connect(configFile, rc); }, code);
    check(__LINE__, "Framework_Connect() failed", code);
    callOnceTransactionally(
        [&](Code& rc) { server.Request_State_Transition(RequestedState::START, rc); }, code);
    check(__LINE__, "Request_State_Transition(START) failed", code);

    SetupSignalHandler();
    while (!exitFlag) {
        std::this_thread::sleep_for(std::chrono::milliseconds(exitPollMs));
    }

    callOnceTransactionally(
        [&](Code& rc) { server.Request_State_Transition(RequestedState::STOP, rc); }, code);
    check(__LINE__, "Request_State_Transition(STOP) failed", code);
    callOnceTransactionally([&](Code& rc) { server.Framework_Disconnect(rc); }, code);
    check(__LINE__, "Framework_Disconnect() failed", code);
    callOnceTransactionally([&](Code& rc) { server.Finalize(rc); }, code);
    check(__LINE__, "Finalize() failed", code);

    std::cout << "!!!!!! " << argv[0] << " has exited. Signal: " << exitSignal << std::endl;
    return 0;
}
