#include "zephon/LifeCycleCalls.h"

#include <chrono>
#include <thread>

int transactionPollMs = 200;

void callOnceTransactionally(std::function<void(FACE::RETURN_CODE_TYPE::Value&)> const& call,
                             FACE::RETURN_CODE_TYPE::Value& code) {
    code = FACE::RETURN_CODE_TYPE::IN_PROGRESS;
    for (;;) {
        call(code);
        if (code != FACE::RETURN_CODE_TYPE::IN_PROGRESS) {
            return;
        }
        if (transactionPollMs > 0) {
            // Resumes by itself when a signal breaks the sleep.
            std::this_thread::sleep_for(std::chrono::milliseconds(transactionPollMs));
        }
    }
}
