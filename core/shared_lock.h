// The lock of what all contexts share.
#pragma once

#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define VIQ_KNOWS_SINGLE_THREAD 1
#endif

#include "core/context.h"

namespace viq {

// std::mutex has no constant initialisation on every system, and objects that need none can be used
// before the static initialisation of a program has reached them.
#if defined(_WIN32)
// A lock of the system: without futexes, std::atomic::wait() of GCC 12 can miss the notification.
struct constant_mutex {
    void *state = nullptr; // an SRWLOCK
    void lock();
    void unlock();
};
#else
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
#endif

// False while the calling thread is the only one that can be in the library. Where the system does
// not report how many threads there are, that is as long as context 0 is the only one.
inline bool has_threads() {
#if defined(VIQ_KNOWS_SINGLE_THREAD)
    return __libc_single_threaded == 0;
#else
    return has_contexts();
#endif
}

struct shared_lock {
    constant_mutex *held;
    explicit shared_lock(constant_mutex &lock) : held(has_threads() ? &lock : nullptr) {
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
