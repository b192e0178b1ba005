// Bitmaps of GDI, with which pictures reach any device: a window, a bitmap, a metafile.
#include "core/report.h"
#include "display/windows_surface.h"

namespace viq {

namespace {

// The device context of the program, or that of the window while the object exists.
struct target_device {
    const windows_display &w;
    HDC context;
    explicit target_device(const windows_display &from)
        : w(from), context(from.device != nullptr ? from.device : GetDC(from.window)) {}
    target_device(const target_device &) = delete;
    target_device &operator=(const target_device &) = delete;
    ~target_device() {
        if (w.device == nullptr && context != nullptr)
            ReleaseDC(w.window, context);
    }
};

BITMAPINFO top_down_bitmap(u32 width, u32 height) {
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = static_cast<LONG>(width);
    info.bmiHeader.biHeight = -static_cast<LONG>(height);
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    return info;
}

// No lines are copied where the device is hidden, which is not a failure.
u32 check_copied(const display &d, bool copied) {
    const DWORD error = GetLastError();
    return copied || error == ERROR_SUCCESS ? success : report_system_error(d, error);
}

// Copies a rectangle of the DIB section to the same place. The lines of the rectangle are passed as
// a bitmap of their own, so that a metafile contains no others.
u32 copy_section(const display &d, HDC to, const rectangle &area) {
    const BITMAPINFO info = top_down_bitmap(d.pixels.width, static_cast<u32>(area.height));
    const DWORD width = static_cast<DWORD>(area.width);
    const DWORD height = static_cast<DWORD>(area.height);
    SetLastError(ERROR_SUCCESS);
    const int lines =
        SetDIBitsToDevice(to, area.x, area.y, width, height, area.x, 0, 0, height,
                          d.pixels.data + area.y * d.pixels.stride, &info, DIB_RGB_COLORS);
    return check_copied(d, lines != 0);
}

u32 make_section(display &d, windows_display &w) {
    const BITMAPINFO info = top_down_bitmap(d.width, d.height);
    void *bits = nullptr;
    w.gdi.section = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (w.gdi.section == nullptr)
        return report(d.function, VIQ_ERR_MEMORY, "");
    d.pixels.data = static_cast<u8 *>(bits);
    d.pixels.stride = std::ptrdiff_t{4} * d.width;
    d.pixels.pixel = bgrx32_pixel;
    return success;
}

u32 make_device_bitmap(display &d, windows_display &w) {
    if (const u32 code = make_section(d, w); is_error(code))
        return code;
    const target_device target(w);
    gdi_bitmaps &gdi = w.gdi;
    gdi.device_memory = CreateCompatibleDC(target.context);
    gdi.device_bitmap = CreateCompatibleBitmap(target.context, static_cast<int>(d.width),
                                               static_cast<int>(d.height));
    if (gdi.device_memory == nullptr || gdi.device_bitmap == nullptr)
        return report(d.function, VIQ_ERR_MEMORY, "");
    gdi.replaced = SelectObject(gdi.device_memory, gdi.device_bitmap);
    return success;
}

void free_bitmaps(windows_display &w) {
    gdi_bitmaps &gdi = w.gdi;
    if (gdi.replaced != nullptr)
        SelectObject(gdi.device_memory, gdi.replaced);
    if (gdi.device_memory != nullptr)
        DeleteDC(gdi.device_memory);
    for (const HBITMAP bitmap : {gdi.device_bitmap, gdi.section})
        if (bitmap != nullptr)
            DeleteObject(bitmap);
    gdi = {};
}

// GDI may still be reading the DIB section.
u32 lock_section(display &, windows_display &) {
    GdiFlush();
    return success;
}

u32 put_section(display &d, windows_display &w, const rectangle &area) {
    if (is_empty(area))
        return success;
    const target_device target(w);
    return copy_section(d, target.context, area);
}

u32 put_device_bitmap(display &d, windows_display &w, const rectangle &area) {
    if (is_empty(area))
        return success;
    if (w.locked)
        if (const u32 code = copy_section(d, w.gdi.device_memory, area); is_error(code))
            return code;
    const target_device target(w);
    SetLastError(ERROR_SUCCESS);
    const bool copied = BitBlt(target.context, area.x, area.y, area.width, area.height,
                               w.gdi.device_memory, area.x, area.y, SRCCOPY) != 0;
    return check_copied(d, copied);
}

} // namespace

constexpr windows_method dib_method = {VIQ_DISPLAY_DIB, make_section, free_bitmaps,
                                       nullptr,         lock_section, put_section};
constexpr windows_method ddb_method = {VIQ_DISPLAY_DDB, make_device_bitmap, free_bitmaps,
                                       nullptr,         lock_section,       put_device_bitmap};

} // namespace viq
