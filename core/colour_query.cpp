// Whether an image or its colourmap holds colour.
#include <algorithm>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/pixel_formats.h"
#include "core/report.h"

using namespace viq;

u32 VIQ_cmap_is_grayscale(u32 hImage) {
    constexpr const char *name = "VIQ_cmap_is_grayscale";
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle(name);
    if (image->colourmap == nullptr)
        return report_no_colourmap(name);
    const auto is_grey = [](const tVIQ_Colour &colour) {
        return colour.red == colour.green && colour.green == colour.blue;
    };
    return std::all_of(image->colourmap, image->colourmap + colour_count(*image), is_grey) ? 1 : 0;
}

u32 VIQ_image_is_colour(u32 hImage) {
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle("VIQ_image_is_colour");
    const pixel_format *format = find_format(image->pixel_format);
    if (format == nullptr || !format->is_colour)
        return 0;
    return format->layout == pixel_layout::palette_index && VIQ_cmap_is_grayscale(hImage) == 1 ? 0
                                                                                               : 1;
}
