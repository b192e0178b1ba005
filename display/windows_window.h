// Windows of a display's own.
//
// Each has a thread that runs its messages: while the user moves or sizes a window, Windows does
// not return to the thread of the window, and a program that shows pictures must not wait for that.
#pragma once

#include <condition_variable>
#include <mutex>

#include "display/display.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace viq {

// The thread of the window fills it, `pump` empties it.
struct window_news {
    static constexpr u32 capacity = 64;
    tVIQ_DisplayEvent events[capacity];
    u32 count = 0;
    bool exposed = false;
};

struct own_window {
    HWND window = nullptr;
    HANDLE thread = nullptr;
    HMODULE module = nullptr; // that contains this code, which stays loaded while the window exists

    // ---- Under the lock
    std::mutex lock;
    std::condition_variable changed;
    bool started = false; // the window exists, or is null because of the error
    DWORD error = ERROR_SUCCESS;
    window_news news;

    // ---- Of the window's thread
    const wchar_t *title = nullptr; // until the window exists
    u32 width = 0;
    u32 height = 0;
    wchar_t class_name[32] = {};
    bool pointer_inside = false;
    i32 wheel_rest[2] = {}; // of steps to the right and away from the user
};

// UTF-16, zero-terminated; empty if memory runs out.
vector<wchar_t> wide_text(const char *utf8);

// Null: the window cannot be created; `error` is the system's code, or ERROR_OUTOFMEMORY.
owned<own_window> open_own_window(const wchar_t *title, u32 width, u32 height, DWORD &error);

// Destroys the window and waits for the end of its thread.
void close_own_window(own_window &);

// What has happened since the last call; waits for it for the given time at most.
window_news take_news(own_window &, u32 milliseconds);

} // namespace viq
