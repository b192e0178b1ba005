// Windows: the pixels of a window as a bitmap of GDI or a surface of DirectDraw.
#pragma once

#include "display/windows_window.h"

struct IDirectDraw;
struct IDirectDrawClipper;
struct IDirectDrawSurface;

namespace viq {

// Bitmaps of GDI. Pictures are rendered into the DIB section.
struct gdi_bitmaps {
    HBITMAP section = nullptr;
    HBITMAP device_bitmap = nullptr; // DDB: what is copied to the window
    HDC device_memory = nullptr;     // with device_bitmap selected
    HGDIOBJ replaced = nullptr;      // what was selected before
};

struct directdraw_objects {
    HMODULE library = nullptr;
    IDirectDraw *draw = nullptr;
    IDirectDrawSurface *screen = nullptr;
    IDirectDrawClipper *clipper = nullptr;
    IDirectDrawSurface *picture = nullptr; // pictures are rendered into it
};

struct windows_display;

// A way from the pixels of a picture to the window. The functions are those of window_system;
// `free` accepts what a failed `make` has left.
struct windows_method {
    u32 number; // VIQ_DISPLAY_...
    u32 (*make)(display &, windows_display &);
    void (*free)(windows_display &);
    u32 (*restore)(display &,
                   windows_display &); // before pictures are rendered; null: nothing to do
    u32 (*lock)(display &, windows_display &);
    u32 (*put)(display &, windows_display &, const rectangle &);
};

extern const windows_method dib_method, ddb_method, surface_method;

struct windows_display {
    HWND window = nullptr;
    HDC device = nullptr; // of the program; null: the window's own
    owned<own_window> own;
    const windows_method *method = nullptr; // null: no surface
    bool locked = false;                    // the pixels have changed since the last `put`
    gdi_bitmaps gdi;
    directdraw_objects directdraw;
};

inline windows_display &native(const display &d) {
    return *static_cast<windows_display *>(d.native);
}

// Reports a failed call of Windows with the text and the low word of the error number.
u32 report_system_error(const display &, DWORD error);

} // namespace viq
