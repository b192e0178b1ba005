// Test pattern: a ramp of the column number, or a fixed pattern for 32-bit pixels.
#include <cstring>

#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "core/strip_driver.h"

using namespace viq;

namespace {

constexpr const char *strip_name = "VIQ_test_pattern_1_strip";

VIQ_PER_CONTEXT(strip_sequence, sequence);

u32 fill_strip(const strip_call &call) {
    return VIQ_test_pattern_1_strip(call.in_handle);
}

constexpr strip_transfer<> pattern_transfer = {
    .name = "VIQ_test_pattern",
    .sequence = sequence,
    .process = fill_strip,
};

constexpr u8 pattern_32[] = {0xAA, 0x55, 0xAA, 0x55};
constexpr u64 most_bytes = sizeof pattern_32; // of a pixel

void fill_line(u8 *line, u32 width, u64 bytes) {
    for (u32 x = 0; x < width; ++x)
        for (u64 byte = 0; byte < bytes; ++byte)
            *line++ = bytes == most_bytes ? pattern_32[byte] : static_cast<u8>(x);
}

} // namespace

u32 VIQ_test_pattern(u32 hImage, u16 wMode) {
    return run_transfer(pattern_transfer, hImage, wMode);
}

// The lines are stored without padding, also if the line alignment requires some.
u32 VIQ_test_pattern_1_strip(u32 hImage) {
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle(strip_name);
    if (is_frozen(*image))
        return report_unchangeable(strip_name, hImage);
    const u32 code = check_image(strip_name, hImage);
    if (is_error(code))
        return code;
    const u64 bytes = line_pixel_bytes(image->bits_per_pixel);
    const u64 line = image->width * bytes;
    if (bytes == 0 || bytes > most_bytes || line > image->bytes_per_line)
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
