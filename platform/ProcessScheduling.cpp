#include "platform/ProcessScheduling.h"

#include <algorithm>
#include <iostream>
#include <sched.h>

namespace {

int orWhenFailed(int answer, int fallback) {
    return answer == -1 ? fallback : answer;
}

}  // namespace

bool okSetRealtimeProcessPriority(int priority) {
    const int lowest = orWhenFailed(::sched_get_priority_min(SCHED_FIFO), 1);
    const int highest = orWhenFailed(::sched_get_priority_max(SCHED_FIFO), 99);
    sched_param parameters{};
    parameters.sched_priority = std::clamp(priority, lowest, highest);
    return ::sched_setscheduler(0, SCHED_FIFO, &parameters) != -1;
}

bool okSetCpuAffinity(unsigned processor) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    const unsigned index = processor - 1;  // 0 wraps round to a number that no set holds
    if (index < CPU_SETSIZE) {
        CPU_SET(index, &processors);
    }
    if (::sched_setaffinity(0, sizeof processors, &processors) == -1) {
        return false;
    }
    if (::sched_getaffinity(0, sizeof processors, &processors) == -1) {
        return false;
    }
    for (unsigned number = 0; number < CPU_SETSIZE; ++number) {
        if (CPU_ISSET(number, &processors)) {
            std::cout << "Has CPU Affinity for CPU" << number << '\n';
        }
    }
    std::cout.flush();
    return true;
}
