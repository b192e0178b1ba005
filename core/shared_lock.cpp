// The lock of Windows.
#include "core/shared_lock.h"

#if defined(_WIN32)

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace viq {

static_assert(sizeof(SRWLOCK) == sizeof(void *));

void constant_mutex::lock() {
    AcquireSRWLockExclusive(reinterpret_cast<SRWLOCK *>(&state));
}

void constant_mutex::unlock() {
    ReleaseSRWLockExclusive(reinterpret_cast<SRWLOCK *>(&state));
}

} // namespace viq

#endif
