// The lock of what all contexts share.
#pragma once

#include <atomic>

#include "core/context.h"

namespace viq {

// std::mutex has no constant initialisation on every system, and objects that need none can be used
// before the static initialisation of a program has reached them.
struct constant_mutex {
    std::atomic<bool> locked = false;

    void lock() {
        while (locked.exchange(true, std::memory_order_acquire))
            locked.wait(true, std::memory_order_relaxed);
    }
    void unlock() {
        locked.store(false, std::memory_order_release);
        locked.notify_one();
    }
};

// Does nothing while context 0 is the only one: its threads serialise their calls.
struct shared_lock {
    constant_mutex *held;
    explicit shared_lock(constant_mutex &lock) : held(has_contexts() ? &lock : nullptr) {
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
