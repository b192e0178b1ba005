// The lock of what all contexts share.
#pragma once

#include <mutex>

#include "core/context.h"

namespace viq {

// Does nothing while context 0 is the only one: its threads serialise their calls.
struct shared_lock {
    std::mutex *held;
    explicit shared_lock(std::mutex &lock) : held(has_contexts() ? &lock : nullptr) {
        if (held != nullptr)
            held->lock();
    }
    shared_lock(const shared_lock &) = delete;
    shared_lock &operator=(const shared_lock &) = delete;
    ~shared_lock() {
        if (held != nullptr)
            held->unlock();
    }
};

} // namespace viq
