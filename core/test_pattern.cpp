// Test pattern: a ramp of the column number, or a fixed pattern for 32-bit pixels.
#include <cstring>

#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "core/strip_driver.h"

using namespace viq;

namespace {

constexpr const char *strip_name = "VIQ_test_pattern_1_strip";

strip_sequence sequence;

u32 fill_strip(const strip_call &call) {
    return VIQ_test_pattern_1_strip(call.in_handle);
}

constexpr strip_transfer<> pattern_transfer = {
    .name = "VIQ_test_pattern",
    .sequence = &sequence,
    .process = fill_strip,
};

u32 pattern_bytes(u32 bits_per_pixel) {
    switch (bits_per_pixel) {
    case 8:
        return 1;
    case 15:
    case 16:
        return 2;
    case 24:
        return 3;
    case 32:
        return 4;
    default:
        return 0;
    }
}

void fill_line(u8 *line, u32 width, u32 bytes) {
    constexpr u8 fixed[] = {0xAA, 0x55, 0xAA, 0x55};
    for (u32 x = 0; x < width; ++x)
        for (u32 byte = 0; byte < bytes; ++byte)
            *line++ = bytes == 4 ? fixed[byte] : static_cast<u8>(x);
}

} // namespace

u32 VIQ_test_pattern(u32 hImage, u16 wMode) {
    return run_transfer(pattern_transfer, hImage, wMode);
}

// Lines stand back to back: the padding at their ends is not skipped.
u32 VIQ_test_pattern_1_strip(u32 hImage) {
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle(strip_name);
    const u32 code = check_image(strip_name, hImage);
    if (is_error(code))
        return code;
    const u32 bytes = pattern_bytes(image->bits_per_pixel);
    const u64 line = u64{image->width} * bytes;
    if (bytes == 0 || line > image->bytes_per_line)
        return report(strip_name, VIQ_ERR_UNSUPPORTED, "Unsupported image format");
    if (!has_lines(*image, image->lines_per_strip))
        return report_no_data(strip_name);
    if (image->lines_per_strip == 0 || line == 0)
        return success;
    const auto line_size = static_cast<std::size_t>(line);
    fill_line(image->data, image->width, bytes);
    for (u32 n = 1; n < image->lines_per_strip; ++n)
        std::memcpy(image->data + n * line_size, image->data, line_size);
    return success;
}
