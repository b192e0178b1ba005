#include "core/message_box.h"

#if defined(_WIN32)

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace viq {

u32 show_message_box(const char *text, const char *caption) {
    return static_cast<u32>(MessageBoxA(nullptr, text, caption, MB_OK));
}

} // namespace viq

#else

#include <cstdio>

namespace viq {

// Without a window system the text is written to standard error and flushed.
u32 show_message_box(const char *text, const char *caption) {
    constexpr u32 ok_pressed = 1;
    std::fprintf(stderr, "%s\n%s\n", caption, text);
    std::fflush(stderr);
    return ok_pressed;
}

} // namespace viq

#endif
