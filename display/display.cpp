// Display objects, their parameters and their windows.
#include "display/display.h"

#include "core/image.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr u32 last_display = 65535;

struct display_table {
    vector<owned<display>> slots; // by handle - 1; null: free
    ~display_table() {
        for (const owned<display> &d : slots)
            if (d)
                close_window(*d);
    }
};

void end_sequences(display_table &table, const tVIQ_Image *image);

VIQ_PER_CONTEXT(display_table, displays);

// The values of a parameter that callers set, and the initial one.
struct parameter_rule {
    u16 number;
    i32 lowest, highest, initial;
};

constexpr i32 target_limit = 1000000;
constexpr parameter_rule parameter_rules[] = {
    {VIQ_DISPLAY_METHOD, VIQ_DISPLAY_BEST, VIQ_DISPLAY_SHARED_MEMORY, VIQ_DISPLAY_BEST},
    {VIQ_DISPLAY_REGION_X, 0, INT32_MAX, 0},
    {VIQ_DISPLAY_REGION_Y, 0, INT32_MAX, 0},
    {VIQ_DISPLAY_REGION_WIDTH, 0, INT32_MAX, 0},
    {VIQ_DISPLAY_REGION_HEIGHT, 0, INT32_MAX, 0},
    {VIQ_DISPLAY_TARGET_X, -target_limit, target_limit, 0},
    {VIQ_DISPLAY_TARGET_Y, -target_limit, target_limit, 0},
    {VIQ_DISPLAY_TARGET_WIDTH, 0, target_limit, 0},
    {VIQ_DISPLAY_TARGET_HEIGHT, 0, target_limit, 0},
    {VIQ_DISPLAY_FIT, VIQ_DISPLAY_FIT_NONE, VIQ_DISPLAY_FIT_ASPECT, VIQ_DISPLAY_FIT_NONE},
    {VIQ_DISPLAY_ZOOM, VIQ_DISPLAY_NEAREST, VIQ_DISPLAY_BILINEAR, VIQ_DISPLAY_NEAREST},
    {VIQ_DISPLAY_BACKGROUND, 0, 0xFFFFFF, 0},
    {VIQ_DISPLAY_VSYNC, 0, 1, 0},
    {VIQ_DISPLAY_WINDOW, 0, 65536, 0},
    {VIQ_DISPLAY_LEVEL, 0, 65535, 0},
    {VIQ_DISPLAY_MOSAIC, 0, 4, 0},
};

const parameter_rule *find_rule(u16 number);
u32 check_system(const char *function, u16 number, u32 value);
u32 close_after_failure(display &d, u32 code);

constexpr u32 largest_window = 32767;

constinit const window_system *windows_of_tests = nullptr;

} // namespace

u32 VIQ_display_create(void) {
    const char *name = "VIQ_display_create";
    if (called_by_handler())
        return VIQ_ERR_STATE;
    vector<owned<display>> &slots = displays->slots;
    std::size_t n = 0;
    while (n < slots.size() && slots[n])
        ++n;
    if (n == last_display)
        return report(name, VIQ_ERR_NO_HANDLES, "Run out of displays");
    owned<display> created = make_owned<display>();
    if (!created || (n == slots.size() && !try_resize(slots, n + 1)))
        return report(name, VIQ_ERR_MEMORY, "");
    for (const parameter_rule &rule : parameter_rules)
        created->values[rule.number - first_parameter] = static_cast<u32>(rule.initial);
    slots[n] = std::move(created);
    return static_cast<u32>(n + 1);
}

u32 VIQ_display_destroy(u32 hDisplay) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    vector<owned<display>> &slots = displays->slots;
    for (std::size_t n = 0; n < slots.size(); ++n)
        if (slots[n] && (hDisplay == n + 1 || hDisplay == VIQ_ALL_IMAGES)) {
            close_window(*slots[n]);
            slots[n].reset();
        }
    if (hDisplay == VIQ_ALL_IMAGES)
        slots = vector<owned<display>>();
    return success;
}

u32 VIQ_display_set_window(u32 hDisplay, void *pWindow, void *pDevice) {
    const display_call call("VIQ_display_set_window", hDisplay, window_need::none);
    if (call.d == nullptr)
        return call.code;
    if (pWindow == nullptr)
        return report_null(call.d->function);
    forget_picture(*call.d);
    u32 code = current_windows().bind(*call.d, pWindow, pDevice);
    if (!is_error(code))
        code = current_windows().prepare(*call.d);
    return close_after_failure(*call.d, code);
}

u32 VIQ_display_open(u32 hDisplay, const char *pszTitle, u32 dwWidth, u32 dwHeight) {
    const display_call call("VIQ_display_open", hDisplay, window_need::none);
    if (call.d == nullptr)
        return call.code;
    if (pszTitle == nullptr)
        return report_null(call.d->function);
    if (dwWidth < 1 || dwWidth > largest_window || dwHeight < 1 || dwHeight > largest_window)
        return report(call.d->function, VIQ_ERR_PARAMETER, "Window size out of range");
    forget_picture(*call.d);
    u32 code = current_windows().open(*call.d, pszTitle, dwWidth, dwHeight);
    bool lost = false;
    if (!is_error(code))
        code = show_again(*call.d, lost);
    return close_after_failure(*call.d, code);
}

u32 VIQ_display_close(u32 hDisplay) {
    const display_call call("VIQ_display_close", hDisplay, window_need::any);
    if (call.d != nullptr)
        close_window(*call.d);
    return call.code;
}

u32 VIQ_display_set_title(u32 hDisplay, const char *pszTitle) {
    const display_call call("VIQ_display_set_title", hDisplay, window_need::own);
    if (call.d == nullptr)
        return call.code;
    return pszTitle != nullptr ? call.d->system->set_title(*call.d, pszTitle)
                               : report_null(call.d->function);
}

u32 VIQ_display_set_parameter(u32 hDisplay, u16 wParameter, u32 dwValue) {
    const display_call call("VIQ_display_set_parameter", hDisplay, window_need::any);
    if (call.d == nullptr)
        return call.code;
    const char *name = call.d->function;
    const parameter_rule *rule = find_rule(wParameter);
    if (rule == nullptr)
        return report(name, VIQ_ERR_PARAMETER, "Unknown parameter");
    const i32 value = static_cast<i32>(dwValue);
    if (value < rule->lowest || value > rule->highest)
        return report(name, VIQ_ERR_PARAMETER, "Parameter out of range");
    const u32 code = check_system(name, wParameter, dwValue);
    if (!is_error(code))
        call.d->values[wParameter - first_parameter] = dwValue;
    return code;
}

u32 VIQ_display_get_parameter(u32 hDisplay, u16 wParameter, u32 *pdwValue) {
    const char *name = "VIQ_display_get_parameter";
    const display *d = find_display(hDisplay);
    if (d == nullptr)
        return report_bad_handle(name);
    if (pdwValue == nullptr)
        return report_null(name);
    if (find_rule(wParameter) != nullptr)
        *pdwValue = parameter(*d, wParameter);
    else if (wParameter == VIQ_DISPLAY_METHOD_IN_USE)
        *pdwValue = d->method;
    else if (wParameter == VIQ_DISPLAY_WINDOW_WIDTH)
        *pdwValue = d->width;
    else if (wParameter == VIQ_DISPLAY_WINDOW_HEIGHT)
        *pdwValue = d->height;
    else
        return report(name, VIQ_ERR_PARAMETER, "Unknown parameter");
    return success;
}

namespace viq {

const window_system &current_windows() {
    return windows_of_tests != nullptr ? *windows_of_tests : platform_windows;
}

void set_window_system(const window_system *system) {
    windows_of_tests = system;
}

display *find_display(u32 handle) {
    const vector<owned<display>> &slots = displays->slots;
    return handle >= 1 && handle <= slots.size() ? slots[handle - 1].get() : nullptr;
}

display_call::display_call(const char *function, u32 handle, window_need need) {
    display *found = find_display(handle);
    if (called_by_handler())
        code = VIQ_ERR_STATE;
    else if (found == nullptr)
        code = report_bad_handle(function);
    else if (need == window_need::none && found->system != nullptr)
        code = report(function, VIQ_ERR_STATE, "Display has a window already");
    else if ((need == window_need::shown && found->system == nullptr) ||
             (need == window_need::own && (found->system == nullptr || !found->own_window)))
        code = report(function, VIQ_ERR_STATE, "Display has no window");
    else {
        d = found;
        d->function = function;
    }
}

void close_window(display &d) {
    if (d.system != nullptr)
        d.system->close(d);
    forget_picture(d);
    d.queue = {};
}

} // namespace viq

namespace {

// When an image is destroyed, what a window shows of it can no longer be made again.
void end_sequences(display_table &table, const tVIQ_Image *image) {
    for (const owned<display> &d : table.slots)
        if (d) {
            viq::end_sequences(d->sequence, image);
            if (image == nullptr || d->shown.image == image)
                d->shown.image = nullptr;
        }
}

const parameter_rule *find_rule(u16 number) {
    for (const parameter_rule &rule : parameter_rules)
        if (rule.number == number)
            return &rule;
    return nullptr;
}

u32 check_system(const char *function, u16 number, u32 value) {
    const window_system &system = current_windows();
    if (number == VIQ_DISPLAY_VSYNC && value != 0 && !system.has_vertical_sync)
        return report(function, VIQ_ERR_UNSUPPORTED, "No vertical sync");
    if (number == VIQ_DISPLAY_METHOD && value != VIQ_DISPLAY_BEST &&
        (system.methods >> value & 1) == 0)
        return report(function, VIQ_ERR_UNSUPPORTED, "Display method not available");
    return success;
}

// A display that could not open its window has none.
u32 close_after_failure(display &d, u32 code) {
    if (is_error(code))
        close_window(d);
    return code;
}

} // namespace
