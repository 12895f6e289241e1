#include <chrono>
#include <exception>
#include <iostream>
#include <pthread.h>
#include <thread>

#include "messages/TrevoCommands.h"
#include "zephon/ZephonServer.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Also how long a STOP waits for each thread, at most.
constexpr milliseconds periodicRound{100};
constexpr seconds sincgarsDuration{45};
constexpr seconds hotStartDuration{30};

}  // namespace

void ZephonServer::startThreads() {
    stopThreads_ = false;
    periodicThread_ = std::thread([this] { periodicThreadFunction(); });
    pthread_setname_np(periodicThread_.native_handle(), "periodic");
    partNumbersThread_ = std::thread([this] { requestPartNumbersThread(); });
    pthread_setname_np(partNumbersThread_.native_handle(), "part-numbers");
}

void ZephonServer::stopThreads() {
    stopThreads_ = true;
    if (periodicThread_.joinable()) {
        periodicThread_.join();
    }
    if (partNumbersThread_.joinable()) {
        partNumbersThread_.join();
    }
}

void ZephonServer::periodicThreadFunction() {
    while (!stopThreads_) {
        std::this_thread::sleep_for(periodicRound);
        try {
            endSincgars();
            endHotStart();
        } catch (std::exception const& error) {
            reportException("periodicThreadFunction()", error.what());
        } catch (...) {
            reportException("periodicThreadFunction()", "unknown");
        }
    }
}

void ZephonServer::endSincgars() {
    if (!sincgars_.isRunning()) {
        return;
    }
    const platform::MutexLock lock(sincgars_.mutex);
    if (!sincgars_.isOver(clock_(), sincgarsDuration)) {
        return;
    }
    if (config_.debug) {
        std::cout << "SINCGARS RESET\n" << std::flush;
    }
    sendSincgarsCommand(e5001_Command::SincgarsReset);
    sincgars_.end();
}

void ZephonServer::endHotStart() {
    if (!hotStart_.isRunning()) {
        return;
    }
    const platform::MutexLock lock(hotStart_.mutex);
    if (!hotStart_.isOver(clock_(), hotStartDuration)) {
        return;
    }
    if (config_.debug) {
        std::cout << "HotStart RESET\n" << std::flush;
    }
    hotStart_.end();
    // Answered under the lock, so that the next one begins after that. No callback that this
    // publication runs takes the lock.
    generateSendHotStartRspMessage(true);
}
