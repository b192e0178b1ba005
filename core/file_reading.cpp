#include "core/file_reading.h"

#include "core/context.h"
#include "core/image.h"
#include "core/report.h"

using namespace viq;

namespace {

VIQ_PER_CONTEXT(u32, reading_mode); // VIQ_READING_ORIGINAL at first

} // namespace

u32 VIQ_set_file_reading(u32 dwMode) {
    if (dwMode != VIQ_READING_ORIGINAL && dwMode != VIQ_READING_CONFORMING)
        return report("VIQ_set_file_reading", VIQ_ERR_PARAMETER, "Unknown reading mode");
    *reading_mode = dwMode;
    return success;
}

u32 VIQ_get_file_reading(void) {
    return *reading_mode;
}

u32 VIQ_image_get_file_info(u32 hImage, u16 wId) {
    constexpr const char *name = "VIQ_image_get_file_info";
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle(name);
    const file_facts &facts = companion(*image).facts;
    switch (wId) {
    case VIQ_FILE_INFO_ORIENTATION:
        return facts.orientation;
    case VIQ_FILE_INFO_SAMPLE_BITS:
        return facts.sample_bits;
    case VIQ_FILE_INFO_DROPPED_SAMPLES:
        return facts.dropped_samples;
    default:
        return report(name, VIQ_ERR_PARAMETER, "Unknown parameter");
    }
}

bool viq::reads_conforming() {
    return *reading_mode == VIQ_READING_CONFORMING;
}
