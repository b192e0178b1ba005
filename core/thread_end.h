// What the library knows about threads: which one calls, and when it ends.
#pragma once

#if !defined(_WIN32)
#include <thread>
#endif

namespace viq {

// The value-initialised identity is that of no thread.
#if defined(_WIN32)
using thread_identity = unsigned long;
#else
using thread_identity = std::thread::id;
#endif

thread_identity this_thread();

// Whether the thread_local objects of a thread still exist when it ends. On Windows their memory
// has been freed.
#if defined(_WIN32)
constexpr bool thread_objects_exist_at_end = false;
#else
constexpr bool thread_objects_exist_at_end = true;
#endif

// Calls the function in the calling thread when it ends, once for all calls; it is the same in all
// of them.
void call_at_thread_end(void (*function)());

} // namespace viq
