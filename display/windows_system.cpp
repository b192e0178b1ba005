// The window system of Windows.
#include "core/report.h"
#include "display/display.h"

namespace viq {

namespace {

u32 open_none(display &d, const char *, u32, u32) {
    return report(d.function, VIQ_ERR_UNSUPPORTED, "No display system");
}

u32 bind_none(display &d, void *, void *) {
    return report(d.function, VIQ_ERR_UNSUPPORTED, "No display system");
}

} // namespace

// Without a window there are no calls of the other functions.
const window_system platform_windows = {
    .methods = 1u << VIQ_DISPLAY_DIB | 1u << VIQ_DISPLAY_DDB | 1u << VIQ_DISPLAY_SURFACE,
    .has_vertical_sync = true,
    .open = open_none,
    .bind = bind_none,
    .close = nullptr,
    .set_title = nullptr,
    .prepare = nullptr,
    .lock = nullptr,
    .put = nullptr,
    .pump = nullptr,
};

} // namespace viq
