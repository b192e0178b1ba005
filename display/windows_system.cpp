// The windows of Windows as a window system.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "core/report.h"
#include "display/windows_surface.h"

namespace viq {

namespace {

constexpr const windows_method *methods[] = {&dib_method, &ddb_method, &surface_method};

const windows_method &method_of(const display &d) {
    const u32 wanted = parameter(d, VIQ_DISPLAY_METHOD);
    for (const windows_method *method : methods)
        if (method->number == wanted)
            return *method;
    return dib_method; // the best one: it works with every device and copies once
}

void free_surface(display &d, windows_display &w) {
    if (w.method != nullptr)
        w.method->free(w);
    w.method = nullptr;
    w.locked = false;
    d.method = 0;
    d.pixels = {};
}

// A minimised window keeps its size.
void read_size(display &d, const windows_display &w) {
    RECT area = {};
    if (IsIconic(w.window) || !GetClientRect(w.window, &area))
        return;
    d.width = static_cast<u32>(area.right);
    d.height = static_cast<u32>(area.bottom);
}

void close_display(display &d) {
    windows_display &w = native(d);
    free_surface(d, w);
    if (w.own != nullptr)
        close_own_window(*w.own);
    destroy_owned(&w);
    d.native = nullptr;
    d.system = nullptr;
    d.own_window = d.contents_lost = d.exposed = false;
    d.width = d.height = 0;
}

// Null: memory runs out.
windows_display *attach(display &d) {
    windows_display *w = make_owned<windows_display>().release();
    d.native = w;
    d.system = w != nullptr ? &platform_windows : nullptr;
    return w;
}

u32 report_no_window(const display &d, DWORD error) {
    if (error == ERROR_OUTOFMEMORY || error == ERROR_NOT_ENOUGH_MEMORY)
        return report(d.function, VIQ_ERR_MEMORY, "");
    return report(d.function, VIQ_ERR_UNSUPPORTED, "No display system");
}

u32 open_display(display &d, const char *title, u32 width, u32 height) {
    const vector<wchar_t> wide_title = wide_text(title);
    windows_display *w = attach(d);
    if (w == nullptr || wide_title.empty()) {
        if (w != nullptr)
            close_display(d);
        return report(d.function, VIQ_ERR_MEMORY, "");
    }
    DWORD error = ERROR_SUCCESS;
    w->own = open_own_window(wide_title.data(), width, height, error);
    if (w->own == nullptr) {
        close_display(d);
        return report_no_window(d, error);
    }
    w->window = w->own->window;
    d.own_window = true;
    read_size(d, *w);
    return success;
}

bool is_device(HDC device) {
    const DWORD type = GetObjectType(device);
    return type == OBJ_DC || type == OBJ_MEMDC || type == OBJ_ENHMETADC || type == OBJ_METADC;
}

u32 bind_display(display &d, void *window, void *device) {
    const HWND of_program = static_cast<HWND>(window);
    const HDC context = static_cast<HDC>(device);
    if (!IsWindow(of_program))
        return report(d.function, VIQ_ERR_PARAMETER, "No such window");
    if (context != nullptr && !is_device(context))
        return report(d.function, VIQ_ERR_PARAMETER, "No such device");
    windows_display *w = attach(d);
    if (w == nullptr)
        return report(d.function, VIQ_ERR_MEMORY, "");
    w->window = of_program;
    w->device = context;
    read_size(d, *w);
    return success;
}

u32 set_display_title(display &d, const char *title) {
    const vector<wchar_t> wide_title = wide_text(title);
    if (wide_title.empty())
        return report(d.function, VIQ_ERR_MEMORY, "");
    return SetWindowTextW(native(d).window, wide_title.data())
               ? success
               : report_system_error(d, GetLastError());
}

u32 prepare_surface(display &d) {
    windows_display &w = native(d);
    if (!IsWindow(w.window)) {
        close_display(d);
        return report(d.function, VIQ_ERR_PARAMETER, "No such window");
    }
    read_size(d, w);
    const windows_method &wanted = method_of(d);
    const bool same =
        w.method == &wanted && d.pixels.width == d.width && d.pixels.height == d.height;
    if (same)
        return wanted.restore != nullptr ? wanted.restore(d, w) : success;
    free_surface(d, w);
    d.pixels.width = d.width;
    d.pixels.height = d.height;
    d.pixels.pixel = bgrx32_pixel;
    d.contents_lost = true;
    w.method = &wanted;
    d.method = wanted.number;
    if (d.width == 0 || d.height == 0) // nothing to show; no method has surfaces of this size
        w.method = nullptr;
    const u32 code = w.method != nullptr ? wanted.make(d, w) : success;
    if (is_error(code))
        free_surface(d, w);
    return code;
}

u32 lock_display(display &d, bool) {
    windows_display &w = native(d);
    const u32 code = w.method != nullptr ? w.method->lock(d, w) : success;
    w.locked = !is_error(code);
    return code;
}

u32 put_display(display &d, const rectangle &changed) {
    windows_display &w = native(d);
    const u32 code = w.method != nullptr ? w.method->put(d, w, changed) : success;
    w.locked = false;
    return code;
}

u32 pump_events(display &d, u32 milliseconds) {
    windows_display &w = native(d);
    const window_news news = take_news(*w.own, milliseconds);
    for (u32 n = 0; n < news.count; ++n)
        push_event(d, news.events[n]);
    d.exposed = d.exposed || news.exposed;
    read_size(d, w);
    return success;
}

} // namespace

u32 report_system_error(const display &d, DWORD error) {
    char reason[200];
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, error, 0, reason, sizeof reason, nullptr);
    while (length != 0 && std::isspace(static_cast<u8>(reason[length - 1])))
        --length;
    char text[256] = "Display server: ";
    if (length != 0)
        std::strncat(text, reason, length);
    else
        std::snprintf(text + std::strlen(text), 20, "error 0x%08lx", error);
    return report(d.function, VIQ_ERR_SYSTEM | low_word(error), text);
}

constexpr window_system platform_windows = {
    .methods = 1u << VIQ_DISPLAY_DIB | 1u << VIQ_DISPLAY_DDB | 1u << VIQ_DISPLAY_SURFACE,
    .has_vertical_sync = true,
    .open = open_display,
    .bind = bind_display,
    .close = close_display,
    .set_title = set_display_title,
    .prepare = prepare_surface,
    .lock = lock_display,
    .put = put_display,
    .pump = pump_events,
};

} // namespace viq
