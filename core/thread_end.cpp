#include "core/thread_end.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

namespace viq {

#if defined(_WIN32)

// The destructors of thread_local objects run after the memory of such objects has been freed, and
// crash now and then. The system calls the function of a slot before.
namespace {

void WINAPI end_thread(void *function) {
    reinterpret_cast<void (*)()>(function)();
}

struct end_slot {
    DWORD index = FlsAlloc(end_thread);
    end_slot() = default;
    end_slot(const end_slot &) = delete;
    end_slot &operator=(const end_slot &) = delete;
    ~end_slot() {
        if (index != FLS_OUT_OF_INDEXES)
            FlsFree(index);
    }
};

} // namespace

thread_identity this_thread() {
    return GetCurrentThreadId();
}

void call_at_thread_end(void (*function)()) {
    static const end_slot slot;
    if (slot.index != FLS_OUT_OF_INDEXES)
        FlsSetValue(slot.index, reinterpret_cast<void *>(function));
}

#else

thread_identity this_thread() {
    return std::this_thread::get_id();
}

void call_at_thread_end(void (*function)()) {
    struct thread_end {
        void (*call)();
        ~thread_end() { call(); }
    };
    thread_local const thread_end end = {function};
    static_cast<void>(end);
}

#endif

} // namespace viq
