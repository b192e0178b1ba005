// Limits for pictures, memory and files.
#include "core/limits.h"

#include <atomic>

#include "core/allocation.h"
#include "core/context.h"
#include "core/file_io.h"
#include "core/report.h"

using namespace viq;

namespace {

VIQ_PER_CONTEXT(limit_values, limits);

bool is_limit(u32 number) {
    return number >= VIQ_LIMIT_PIXELS && number <= VIQ_LIMIT_RATIO;
}

u64 limit_of(u32 number) {
    return limits_set.load(std::memory_order_relaxed) ? (*limits)[number] : 0;
}

// Pictures of an unknown height have the lines of their strip.
u64 pixels_of(const tVIQ_Image &image) {
    const u32 lines = image.height == VIQ_HEIGHT_UNKNOWN ? image.lines_per_strip : image.height;
    return u64{image.width} * lines;
}

} // namespace

u32 VIQ_set_limit(u32 dwLimit, u64 qwValue) {
    if (!is_limit(dwLimit))
        return report("VIQ_set_limit", VIQ_ERR_PARAMETER, "Unknown limit");
    (*limits)[dwLimit] = qwValue;
    limits_set = true;
    watch_memory_limits();
    return success;
}

u32 VIQ_get_limit(u32 dwLimit, u64 *pqwValue) {
    constexpr const char *name = "VIQ_get_limit";
    if (!is_limit(dwLimit))
        return report(name, VIQ_ERR_PARAMETER, "Unknown limit");
    if (pqwValue == nullptr)
        return report_null(name);
    *pqwValue = (*limits)[dwLimit];
    return success;
}

namespace viq {

constinit std::atomic<bool> limits_set = false;

limit_values current_limits() {
    return *limits;
}

void take_limits(const limit_values &from) {
    *limits = from;
}

const char *memory_refusal(u64 size, u64 held) {
    const u64 each = limit_of(VIQ_LIMIT_ALLOCATION);
    if (each != 0 && size > each)
        return "Allocation exceeds VIQ_LIMIT_ALLOCATION";
    const u64 all = limit_of(VIQ_LIMIT_MEMORY);
    if (all != 0 && (held > all || size > all - held))
        return "Memory in use would exceed VIQ_LIMIT_MEMORY";
    return nullptr;
}

u32 check_set_pixel_limit(const tVIQ_Image &image) {
    const u64 most = limit_of(VIQ_LIMIT_PIXELS);
    if (most == 0 || pixels_of(image) <= most)
        return success;
    return report("VIQ_image_check", too_many_pixels, "Image exceeds VIQ_LIMIT_PIXELS");
}

u32 check_file_limit(const char *function, std::FILE *file) {
    const u64 most = limit_of(VIQ_LIMIT_FILE);
    if (most == 0 || file == nullptr || file_size(file) <= most)
        return success;
    return report(function, VIQ_ERR_CORRUPT, "File exceeds VIQ_LIMIT_FILE");
}

u32 check_ratio_limit(const char *function, const tVIQ_Image &image, u64 coded_bytes) {
    const u64 most = limit_of(VIQ_LIMIT_RATIO);
    if (most == 0 || pixels_of(image) / most <= coded_bytes)
        return success;
    return report(function, VIQ_ERR_CORRUPT,
                  "Pixels per byte of coded data exceed VIQ_LIMIT_RATIO");
}

} // namespace viq
