// Setting, reading and searching the colours of a colourmap.
#include <iterator>

#include "convert/closest_colour.h"
#include "convert/named_colours.h"
#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr u16 named_colour_count = std::size(named_colours);

void set_entry(tVIQ_Colour &entry, u32 red, u32 green, u32 blue) {
    entry.red = static_cast<u8>(red);
    entry.green = static_cast<u8>(green);
    entry.blue = static_cast<u8>(blue);
}

// Null after a report, whose code is stored in `code`.
tVIQ_Image *find_mapped(const char *function, u32 handle, u32 &code);
tVIQ_Colour *find_entry(const char *function, u32 handle, u16 index, u32 &code);

} // namespace

u32 VIQ_cmap_set_type(u32 hImage, u16 wType) {
    constexpr const char *name = "VIQ_cmap_set_type";
    u32 code = success;
    tVIQ_Image *image = find_mapped(name, hImage, code);
    if (image == nullptr)
        return code;
    if (is_frozen(*image))
        return report_unchangeable(name, hImage);
    tVIQ_Colour *map = image->colourmap;
    switch (wType) {
    case VIQ_CMAP_BLACK:
        for (u32 i = 0; i < colourmap_size; ++i)
            set_entry(map[i], 0, 0, 0);
        return success;
    case VIQ_CMAP_NAMED:
        for (u32 i = 0; i < named_colour_count; ++i)
            set_entry(map[i], named_colours[i].red, named_colours[i].green, named_colours[i].blue);
        image->num_colours = named_colour_count;
        return success;
    case VIQ_CMAP_GREY:
        for (u32 i = 0; i < colourmap_size; ++i)
            set_entry(map[i], i, i, i);
        image->num_colours = colourmap_size;
        return success;
    case VIQ_CMAP_CUBE:
        for (u32 i = 0; i < colourmap_size; ++i)
            set_entry(map[i], 32 * (i >> 5) + 31, 32 * (i >> 2 & 7) + 31, 64 * (i & 3) + 31);
        image->num_colours = colourmap_size;
        return success;
    default:
        return report(name, VIQ_ERR_PARAMETER, "Unrecognized colourmap type");
    }
}

u32 VIQ_cmap_set_colour(u32 hImage, u16 wIndex, u16 wColour) {
    constexpr const char *name = "VIQ_cmap_set_colour";
    u32 code = success;
    tVIQ_Colour *entry = find_entry(name, hImage, wIndex, code);
    if (entry == nullptr)
        return code;
    if (is_frozen(*find_image(hImage)))
        return report_unchangeable(name, hImage);
    if (wColour >= named_colour_count)
        return report(name, VIQ_ERR_UNSUPPORTED, "Unrecognised colour");
    const named_colour &colour = named_colours[wColour];
    set_entry(*entry, colour.red, colour.green, colour.blue);
    return success;
}

u32 VIQ_cmap_set_RGB_colour(u32 hImage, u16 wIndex, u8 bRed, u8 bGreen, u8 bBlue) {
    constexpr const char *name = "VIQ_cmap_set_RGB_colour";
    u32 code = success;
    tVIQ_Colour *entry = find_entry(name, hImage, wIndex, code);
    if (entry == nullptr)
        return code;
    if (is_frozen(*find_image(hImage)))
        return report_unchangeable(name, hImage);
    set_entry(*entry, bRed, bGreen, bBlue);
    return success;
}

u32 VIQ_cmap_get_RGB_colour(u32 hImage, u16 wIndex) {
    u32 code = success;
    const tVIQ_Colour *entry = find_entry("VIQ_cmap_get_RGB_colour", hImage, wIndex, code);
    if (entry == nullptr)
        return code;
    return u32{entry->red} << 16 | u32{entry->green} << 8 | entry->blue;
}

u8 VIQ_cmap_find_closest_colour(u32 hImage, u8 bRed, u8 bGreen, u8 bBlue) {
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr || image->colourmap == nullptr)
        return 0;
    return closest_colour(image->colourmap, colour_count(*image), bRed, bGreen, bBlue);
}

namespace {

tVIQ_Image *find_mapped(const char *function, u32 handle, u32 &code) {
    tVIQ_Image *image = find_image(handle);
    if (image == nullptr) {
        code = report_bad_handle(function);
    } else if (image->colourmap == nullptr) {
        code = report_no_colourmap(function);
        image = nullptr;
    }
    return image;
}

// An index equal to the number of colours is accepted.
tVIQ_Colour *find_entry(const char *function, u32 handle, u16 index, u32 &code) {
    tVIQ_Image *image = find_mapped(function, handle, code);
    if (image == nullptr)
        return nullptr;
    if (index > image->num_colours || index > colourmap_size) {
        code = report(function, VIQ_ERR_PARAMETER,
                      "Illegal colourmap index (> max number of colours)");
        return nullptr;
    }
    return &colour_entry(*image, index);
}

} // namespace
