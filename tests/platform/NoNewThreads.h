#pragma once

#include <cstddef>
#include <limits>
#include <pthread.h>
#include <stdexcept>

/// While it lives no thread of this process can be started with the default attributes: their
/// stack would be larger than all memory.
class NoNewThreads {
public:
    NoNewThreads() {
        pthread_attr_t huge;
        if (::pthread_getattr_default_np(&before_) != 0 ||
            ::pthread_getattr_default_np(&huge) != 0) {
            throw std::runtime_error("the default attributes of threads are not known");
        }
        constexpr std::size_t stack = std::numeric_limits<std::size_t>::max() / 4 + 1;
        const bool changed = ::pthread_attr_setstacksize(&huge, stack) == 0 &&
                             ::pthread_setattr_default_np(&huge) == 0;
        ::pthread_attr_destroy(&huge);
        if (!changed) {
            throw std::runtime_error("the default attributes of threads stay as they are");
        }
    }
    ~NoNewThreads() {
        ::pthread_setattr_default_np(&before_);
        ::pthread_attr_destroy(&before_);
    }
    NoNewThreads(NoNewThreads const&) = delete;
    NoNewThreads& operator=(NoNewThreads const&) = delete;

private:
    pthread_attr_t before_{};
};
