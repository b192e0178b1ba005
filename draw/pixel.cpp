// Drawing single pixels into YUV 4:2:2 images.
#include <iterator>

#include "core/lines.h"
#include "core/report.h"

using namespace viq;

namespace {

// The chroma bytes follow the luma of the even and of the odd pixel of a pair.
struct pixel_colour {
    u8 luma, first_chroma, second_chroma;
};

constexpr pixel_colour colours[] = {{0, 128, 128},  {47, 212, 100}, {149, 72, 58},
                                    {174, 156, 44}, {86, 100, 212}, {112, 184, 198},
                                    {215, 44, 142}, {255, 128, 128}};

} // namespace

u32 VIQ_DrawPixel(u32 hImage, u16 wColour, u32 x, u32 y) {
    constexpr const char *name = "VIQ_DrawPixel";
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle(name);
    if (is_frozen(*image))
        return report_unchangeable(name, hImage);
    if (image->pixel_format != VIQ_YUV422)
        return report(name, VIQ_ERR_PARAMETER | 1, "Unknown or unsupported pixel format");
    if (wColour >= std::size(colours))
        return report(name, VIQ_ERR_PARAMETER, "Unrecognised colour");
    const u32 code = check_image(name, hImage);
    if (is_error(code))
        return code;
    if (!has_lines(*image, image->lines_per_strip))
        return report_no_data(name);
    // Byte offsets. Lines count from the bottom; the luma of the next pixel is painted as well.
    const u64 luma = (u64{image->height} - y - 1) * image->bytes_per_line + 2 * u64{x};
    const u64 pair = luma - x % 2 * 2;
    const u64 strip = strip_size(*image, image->lines_per_strip);
    if (y >= image->height || luma + 3 > strip || pair + 4 > strip)
        return report(name, VIQ_ERR_PARAMETER, "Pixel outside the image");
    const pixel_colour &colour = colours[wColour];
    image->data[static_cast<std::size_t>(luma)] = colour.luma;
    image->data[static_cast<std::size_t>(luma + 2)] = colour.luma;
    image->data[static_cast<std::size_t>(pair + 1)] = colour.first_chroma;
    image->data[static_cast<std::size_t>(pair + 3)] = colour.second_chroma;
    return success;
}
