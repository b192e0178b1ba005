// Display objects and the table of functions by which they use a window system.
//
// A back end knows windows, connections and the memory that the window system reads; it does not
// know images. The common part renders the lines of an image into the surface of the back end
// (display/render.h) and keeps what the window shows.
#pragma once

#include "core/strip_driver.h"
#include "core/types.h"
#include "display/render.h"

namespace viq {

struct window_system;

// The parameters of VIQ_display_set_parameter, by number.
constexpr u32 first_parameter = VIQ_DISPLAY_METHOD;
constexpr u32 parameter_count = VIQ_DISPLAY_WINDOW_HEIGHT - first_parameter + 1;

// Events that wait for VIQ_display_next_event.
struct event_queue {
    static constexpr u32 capacity = 64;
    tVIQ_DisplayEvent events[capacity];
    u32 first;
    u32 count;
};

// The picture that was last shown, to which the positions in the window refer.
struct shown_picture {
    bool valid = false;
    u32 handle = 0;
    const tVIQ_Image *image = nullptr; // to compare addresses with; null: it no longer exists
    strip_geometry geometry = {};
    u16 data_width = 0;
    u32 first_line = 0; // of the last strip
    placement place = {};
};

struct display {
    u32 values[parameter_count]; // set by callers; the read-only ones are not used

    // The public function that is running: the name under which the back end reports.
    const char *function = nullptr;

    // ---- Set by the back end.
    // Null: no window. A back end sets it when it has a window, and resets it in `close`.
    const window_system *system = nullptr;
    void *native = nullptr; // the back end's own record
    bool own_window = false;
    u32 method = 0; // in use, VIQ_DISPLAY_SHARED_MEMORY and others; 0: no surface yet
    u32 width = 0;  // of the window
    u32 height = 0;
    surface pixels; // of `prepare` and `lock`
    bool contents_lost =
        false;            // the surface is new or has lost its pixels; reset by the common part
    bool exposed = false; // parts of the window must be painted again; reset by the common part

    // ---- Used by the common part.
    strip_sequence sequence;
    shown_picture shown;
    renderer render;
    event_queue queue = {};
};

// A window system. Each function that can fail reports the failure under `function` of the display
// and returns its code. If the window or the connection no longer exists, the back end closes what
// is left before it reports: the display has no window then.
struct window_system {
    // VIQ_DISPLAY_... methods of this system, besides VIQ_DISPLAY_BEST, as a set of bits 1 <<
    // method.
    u32 methods;
    bool has_vertical_sync;

    // Opens a window of the display's own and makes it visible. Sets system, native, own_window,
    // width and height; after a failure nothing of it is left.
    u32 (*open)(display &, const char *title, u32 width, u32 height);

    // Does the same for a window of the program; the device may be null.
    u32 (*bind)(display &, void *window, void *device);

    // Closes the own window or releases that of the program, and frees surface and native record.
    // Resets what it has set, so that `system` is null.
    void (*close)(display &);

    u32 (*set_title)(display &, const char *title);

    // Called before pictures are rendered or put. Follows changes of the size of the window and
    // of VIQ_DISPLAY_METHOD, and allocates the surface if its size or method is another one.
    // Sets width, height, method, and in `pixels` size and layout. A new surface is reported by
    // contents_lost. Allocates nothing as long as size and method stay.
    u32 (*prepare)(display &);

    // Waits until the window system no longer reads the surface, and sets pixels.data and
    // pixels.stride, which are valid until `put`. The pixels are those of the last `put`, unless
    // `whole` is set: then the caller writes the whole painted area, and a back end with several
    // buffers can provide another one.
    u32 (*lock)(display &, bool whole);

    // Ends `lock` and copies a rectangle of the surface, inside the window, to the window; nothing
    // is copied if it is empty. Without `lock` before it, copies again.
    u32 (*put)(display &, const rectangle &changed);

    // Waits for events for the given time at most, and processes all that have arrived: appends
    // them with push_event, and sets exposed, width and height. Never waits if an event has been
    // appended. Only for windows of the display's own.
    u32 (*pump)(display &, u32 milliseconds);
};

// The window system of the platform.
extern const window_system platform_windows;

// The one that displays use. Tests set another one; null: that of the platform.
const window_system &current_windows();
void set_window_system(const window_system *system);

// Appends an event, whose positions in the image and state of `inside` the common part adds.
// Merges motions and sizes; if the queue is full, the rules of VIQ_display_next_event apply.
void push_event(display &, const tVIQ_DisplayEvent &event);

inline u32 parameter(const display &d, u16 number) {
    return d.values[number - first_parameter];
}

// Null: no such display in the calling thread's context.
display *find_display(u32 handle);

// ---- Calls of the common part

// Which window a function needs: whether there is one or not, none, one, or one of the display's
// own.
enum class window_need : u8 { any, none, shown, own };

// The display that a public function works on. Null, with the error reported: the call cannot
// continue.
struct display_call {
    display *d = nullptr;
    u32 code = success;
    display_call(const char *function, u32 handle, window_need need);
};

// Closes or releases the window, if there is one.
void close_window(display &);

// The window shows no picture, and no picture is being shown strip by strip.
void forget_picture(display &);

// Paints the window again: what was last shown, or the background. If the picture has to be made
// again and cannot, `lost` is set, and the window has the background.
u32 show_again(display &, bool &lost);

// Where the centre of a pixel of the window is in the image that was last shown.
struct image_position {
    double x, y;
    i64 column, line; // of the pixel that is shown there; 0 outside of the picture
    bool inside;      // the visible part of the picture
};
image_position map_to_image(const display &, i32 x, i32 y);

} // namespace viq
