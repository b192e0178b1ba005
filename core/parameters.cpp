// Numbered parameters, flags, pointers and file names of images.
#include <cstring>
#include <type_traits>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/image_data.h"
#include "core/pixel_formats.h"
#include "core/report.h"
#include "core/subsystem_hooks.h"

using namespace viq;

namespace {

constexpr u32 name_size = sizeof(tVIQ_Image::infilename);
constexpr u32 identification_size = 32;

u32 components_of(const tVIQ_Image &image);

// Calls `visit` with the field of a parameter; false if the parameter is not a field.
template <class Visit> bool visit_field(tVIQ_Image &image, u16 id, Visit visit) {
    switch (id) {
    case VIQ_IMAGE_TYPE:
        visit(image.pixel_format);
        return true;
    case VIQ_WIDTH:
        visit(image.width);
        return true;
    case VIQ_HEIGHT:
        visit(image.height);
        return true;
    case VIQ_PIXEL_DEPTH:
        visit(image.bits_per_pixel);
        return true;
    case VIQ_LINES_PER_STRIP:
        visit(image.lines_per_strip);
        return true;
    case VIQ_BYTES_PER_LINE:
        visit(image.bytes_per_line);
        return true;
    case VIQ_PARAM_16:
        visit(image.param_16);
        return true;
    case VIQ_DATA_WIDTH:
        visit(image.data_width);
        return true;
    case VIQ_PARAM_18:
        visit(image.param_18);
        return true;
    case VIQ_PARAM_19:
        visit(image.param_19);
        return true;
    case VIQ_NUM_COLOURS:
        visit(image.num_colours);
        return true;
    case VIQ_PARAM_23:
        visit(image.param_23);
        return true;
    case VIQ_LINE_ALIGNMENT:
        visit(image.line_alignment);
        return true;
    case VIQ_PARAM_25:
        visit(image.param_25);
        return true;
    default:
        return false;
    }
}

u32 set_name(const char *function, u32 handle, char (tVIQ_Image::*field)[128], const char *name) {
    tVIQ_Image *image = find_image_to_change(handle);
    if (image == nullptr)
        return report_unchangeable(function, handle);
    if (name == nullptr)
        return report_null(function);
    const std::size_t length = std::strlen(name);
    if (length >= name_size)
        return report(function, VIQ_ERR_PARAMETER, "File name too long");
    std::memmove(image->*field, name, length + 1);
    return success;
}

// The record of an image that an error handler must not change, and that it must not change through
// another image either.
bool is_frozen_record(const Tjpeg *record) {
    return record != nullptr && called_by_handler() &&
           some_image_has(*record, [](const image_companion &own) {
               return own.entered_in_report != running_report();
           });
}

template <class Value> Value field_or_zero(u32 handle, Value tVIQ_Image::*field) {
    const tVIQ_Image *image = find_image(handle);
    return image != nullptr ? image->*field : Value{};
}

} // namespace

u32 VIQ_image_set_parameter(u32 hImage, u16 wId, u32 dwValue) {
    constexpr const char *name = "VIQ_image_set_parameter";
    tVIQ_Image *image = find_image_to_change(hImage);
    if (image == nullptr)
        return report_unchangeable(name, hImage);
    if (wId == VIQ_IMAGE_TYPE)
        return set_pixel_format(*image, dwValue);
    if (wId == VIQ_JPEG_PARAM) {
        if (image->jpeg == nullptr)
            return report(name, VIQ_ERR_HANDLE, "JPEG structure does not exist");
        hooks.jpeg_set_data_length(*image, dwValue);
        return success;
    }
    const bool known = visit_field(*image, wId, [dwValue](auto &field) {
        field = static_cast<std::remove_reference_t<decltype(field)>>(dwValue);
    });
    return known ? success : report(name, VIQ_ERR_PARAMETER, "");
}

u32 VIQ_image_get_parameter(u32 hImage, u16 wId) {
    constexpr const char *name = "VIQ_image_get_parameter";
    if (wId == VIQ_LIBRARY_VERSION)
        return library_version();
    tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle(name);
    if (wId == VIQ_COMPONENTS)
        return components_of(*image);
    if (wId == VIQ_JPEG_PARAM) {
        if (image->jpeg == nullptr)
            return report(name, VIQ_ERR_HANDLE, "JPEG structure does not exist");
        return hooks.jpeg_data_length(*image);
    }
    u32 value = 0;
    if (!visit_field(*image, wId, [&value](const auto &field) { value = field; }))
        return report(name, VIQ_ERR_PARAMETER, "Unknown parameter");
    return value;
}

u32 VIQ_image_set_flags(u32 hImage, u32 dwBits, u32 dwOn) {
    constexpr const char *name = "VIQ_image_set_flags";
    const auto apply = [=](tVIQ_Image &image) {
        note_lock(image);
        image.flags = dwOn == 1 ? image.flags | dwBits : image.flags & ~dwBits;
        if (dwOn == 1 && (dwBits & VIQ_FLAG_LOCKED) != 0)
            lock_by_caller(image);
    };
    if (hImage == VIQ_ALL_IMAGES) {
        for_every_image([&](tVIQ_Image &image) {
            if (!is_frozen(image))
                apply(image);
        });
        return success;
    }
    tVIQ_Image *image = find_image_to_change(hImage);
    if (image == nullptr)
        return report_unchangeable(name, hImage);
    apply(*image);
    return success;
}

u32 VIQ_image_get_flags(u32 hImage, u32 dwBits) {
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle("VIQ_image_get_flags");
    return (image->flags & dwBits) != 0 ? 1 : 0;
}

u32 VIQ_image_set_ptr(u32 hImage, u16 wType, void *pValue) {
    constexpr const char *name = "VIQ_image_set_ptr";
    tVIQ_Image *image = find_image_to_change(hImage);
    if (image == nullptr)
        return report_unchangeable(name, hImage);
    switch (wType) {
    case VIQ_PTR_DATA:
        if (image->data != pValue)
            companion(*image).lock = {};
        image->data = static_cast<u8 *>(pValue);
        note_borrowed(*image);
        note_lock(*image);
        return success;
    case VIQ_PTR_CMAP:
        set_colourmap(*image, static_cast<tVIQ_Colour *>(pValue));
        return success;
    case VIQ_PTR_JPEG_DATA:
    case VIQ_PTR_JPEG_DATA2:
        if (image->jpeg == nullptr)
            return report(name, VIQ_ERR_HANDLE, "Not a JPEG image");
        hooks.jpeg_set_data_pointer(*image, wType, pValue);
        return success;
    case VIQ_PTR_IMAGE:
        if (!replace_image(hImage, static_cast<tVIQ_Image *>(pValue)))
            return report(name, VIQ_ERR_MEMORY, "");
        return success;
    case VIQ_PTR_JPEG:
        if (is_frozen_record(static_cast<Tjpeg *>(pValue)))
            return report(name, VIQ_ERR_STATE, "Image in use by the call that reports");
        if (image->jpeg != nullptr)
            hooks.jpeg_note_replaced(*image);
        image->jpeg = static_cast<Tjpeg *>(pValue);
        companion(*image).exposed = true;
        note_borrowed(*image);
        update_seen(*image);
        return success;
    case VIQ_PTR_JPEG_ID:
        if (image->jpeg == nullptr)
            return report(name, VIQ_ERR_HANDLE, "Not a JPEG image");
        if (pValue == nullptr)
            return report_null(name);
        std::memmove(hooks.jpeg_identification(*image), pValue, identification_size);
        return success;
    default:
        return report(name, VIQ_ERR_PARAMETER, "Unrecognized pointer type");
    }
}

void *VIQ_image_get_ptr(u32 hImage, u16 wType) {
    tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return nullptr;
    switch (wType) {
    case VIQ_PTR_DATA:
        return image->data;
    case VIQ_PTR_CMAP:
        return image->colourmap;
    case VIQ_PTR_IMAGE:
        companion(*image).exposed = true;
        return image;
    case VIQ_PTR_JPEG:
        companion(*image).exposed = true;
        return image->jpeg;
    default:
        break;
    }
    if (image->jpeg == nullptr)
        return nullptr;
    switch (wType) {
    case VIQ_PTR_JPEG_DATA:
    case VIQ_PTR_JPEG_DATA2:
        return hooks.jpeg_data_pointer(*image, wType);
    case VIQ_PTR_JPEG_ID:
        return hooks.jpeg_identification(*image);
    default:
        return nullptr;
    }
}

u32 VIQ_image_set_infilename(u32 hImage, const char *pszName) {
    return set_name("VIQ_image_set_infilename", hImage, &tVIQ_Image::infilename, pszName);
}

u32 VIQ_image_set_outfilename(u32 hImage, const char *pszName) {
    return set_name("VIQ_image_set_outfilename", hImage, &tVIQ_Image::outfilename, pszName);
}

char *VIQ_image_get_infilename(u32 hImage) {
    tVIQ_Image *image = find_image(hImage);
    return image != nullptr ? image->infilename : nullptr;
}

char *VIQ_image_get_outfilename(u32 hImage) {
    tVIQ_Image *image = find_image(hImage);
    return image != nullptr ? image->outfilename : nullptr;
}

u32 VIQ_copy_outfilename(u32 hTo, u32 hFrom) {
    const tVIQ_Image *from = find_image(hFrom);
    if (from == nullptr)
        return report_bad_handle("VIQ_copy_outfilename");
    return set_name("VIQ_copy_outfilename", hTo, &tVIQ_Image::outfilename, from->outfilename);
}

u32 VIQ_get_width(u32 hImage) {
    return field_or_zero(hImage, &tVIQ_Image::width);
}

u32 VIQ_get_height(u32 hImage) {
    return field_or_zero(hImage, &tVIQ_Image::height);
}

u32 VIQ_get_bytes_per_line(u32 hImage) {
    return field_or_zero(hImage, &tVIQ_Image::bytes_per_line);
}

u32 VIQ_get_lines_this_strip(u32 hImage) {
    return field_or_zero(hImage, &tVIQ_Image::lines_per_strip);
}

u16 VIQ_get_depth(u32 hImage) {
    return field_or_zero(hImage, &tVIQ_Image::bits_per_pixel);
}

namespace viq {

u32 set_pixel_format(tVIQ_Image &image, u32 format) {
    image.pixel_format = static_cast<u16>(format);
    if (format == 0) {
        image.flags &= ~static_cast<u32>(VIQ_FLAG_DIB);
        return success;
    }
    const pixel_format *row = find_format(format);
    if (row == nullptr)
        return report("VIQ_image_set_parameter", VIQ_ERR_UNSUPPORTED, "Unrecognized image type");
    image.bits_per_pixel = row->bits_per_pixel;
    if (row->data_width != 0)
        image.data_width = row->data_width;
    if (row->layout == pixel_layout::palette_index && image.num_colours == 0)
        image.num_colours = colourmap_size;
    image.flags &= ~static_cast<u32>(VIQ_FLAG_DIB);
    return success;
}

} // namespace viq

namespace {

u32 components_of(const tVIQ_Image &image) {
    const pixel_format *row = find_format(image.pixel_format);
    if (row != nullptr && row->components != 0)
        return row->components;
    return image.bits_per_pixel / 8u;
}

} // namespace
