// The library's own declarations of X11 are those of the headers. Compiling is the test.
#include <cstddef>

#include "display/x11_abi.h"

// Enumerators of the library, until the headers define macros of the same names.
#define VIQ_X11_CONSTANTS                                                                          \
    ZPixmap, InputOutput, TrueColor, LSBFirst, PropModeReplace, AllocNone, CWBackPixmap,           \
        CWBorderPixel, CWEventMask, CWColormap, VisualIDMask, VisualScreenMask, VisualClassMask,   \
        KeyPressMask, KeyReleaseMask, ButtonPressMask, ButtonReleaseMask, LeaveWindowMask,         \
        PointerMotionMask, ExposureMask, StructureNotifyMask, KeyPress, KeyRelease, ButtonPress,   \
        ButtonRelease, MotionNotify, LeaveNotify, Expose, DestroyNotify, ConfigureNotify,          \
        ClientMessage, ShiftMask, ControlMask, Mod1Mask, Button1Mask, Button2Mask, Button3Mask

namespace {

namespace own {
using namespace viq::x11;
constexpr unsigned long numbers[] = {VIQ_X11_CONSTANTS};
} // namespace own

} // namespace

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>

namespace {

constexpr unsigned long of_headers[] = {VIQ_X11_CONSTANTS};

constexpr bool same_numbers() {
    for (std::size_t n = 0; n < sizeof of_headers / sizeof *of_headers; ++n)
        if (own::numbers[n] != of_headers[n])
            return false;
    return true;
}
static_assert(same_numbers());

#define SAME_SIZE(record) static_assert(sizeof(viq::x11::record) == sizeof(::record))
#define SAME_PLACE(ours, member, theirs, of_theirs)                                                \
    static_assert(offsetof(viq::x11::ours, member) == offsetof(theirs, of_theirs))

SAME_SIZE(XImage);
SAME_PLACE(XImage, data, XImage, data);
SAME_PLACE(XImage, bytes_per_line, XImage, bytes_per_line);
SAME_PLACE(XImage, blue_mask, XImage, blue_mask);
SAME_PLACE(XImage, obdata, XImage, obdata);
SAME_SIZE(XPixmapFormatValues);
SAME_SIZE(XVisualInfo);
SAME_PLACE(XVisualInfo, c_class, XVisualInfo, c_class);
SAME_PLACE(XVisualInfo, blue_mask, XVisualInfo, blue_mask);
SAME_SIZE(XSetWindowAttributes);
SAME_PLACE(XSetWindowAttributes, event_mask, XSetWindowAttributes, event_mask);
SAME_PLACE(XSetWindowAttributes, colormap, XSetWindowAttributes, colormap);
SAME_SIZE(XWindowAttributes);
SAME_PLACE(XWindowAttributes, depth, XWindowAttributes, depth);
SAME_PLACE(XWindowAttributes, visual, XWindowAttributes, visual);
SAME_SIZE(XErrorEvent);
SAME_PLACE(XErrorEvent, error_code, XErrorEvent, error_code);
SAME_SIZE(XAnyEvent);
SAME_SIZE(XConfigureEvent);
SAME_PLACE(XConfigureEvent, width, XConfigureEvent, width);
SAME_SIZE(XClientMessageEvent);
SAME_PLACE(XClientMessageEvent, message_type, XClientMessageEvent, message_type);
SAME_PLACE(XClientMessageEvent, data, XClientMessageEvent, data);
SAME_SIZE(XEvent);
SAME_SIZE(XShmSegmentInfo);
SAME_SIZE(XShmCompletionEvent);
SAME_PLACE(XShmCompletionEvent, shmseg, XShmCompletionEvent, shmseg);
SAME_PLACE(XPointerEvent, time, XKeyEvent, time);
SAME_PLACE(XPointerEvent, x, XKeyEvent, x);
SAME_PLACE(XPointerEvent, x, XCrossingEvent, x);
SAME_PLACE(XPointerEvent, state, XKeyEvent, state);
SAME_PLACE(XPointerEvent, state, XButtonEvent, state);
SAME_PLACE(XPointerEvent, state, XMotionEvent, state);
SAME_PLACE(XPointerEvent, detail, XButtonEvent, button);

} // namespace

int main() {}
