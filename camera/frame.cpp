// Camera frames: their layouts, and the conversion between frames and images.
#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <limits>

#include "camera/frame_rows.h"
#include "core/lines.h"
#include "core/report.h"
#include "core/strip_driver.h"

using namespace viq;

namespace {

// A frame in the memory of the caller.
struct frame_memory {
    const u8 *data;
    u64 size;
    u32 code, width, height, stride;
    u32 image;                            // that the frame is converted to or from
    const frame_layout *layout = nullptr; // of the code, once it has been checked
    bool operator==(const frame_memory &) const = default;
};

struct packed_frame {
    frame_memory frame;
    u8 *target; // the frame's data
    bool operator==(const packed_frame &) const = default;
};

u32 describe(const char *function, const frame_layout *layout, tVIQ_FrameLayout *description);
u32 find_layout(const char *function, u32 code, const frame_layout *&layout);
u32 measure_frame(const char *function, const frame_layout &layout, u32 width, u32 height,
                  u32 stride, u64 &size);
u32 check_frame(const char *function, frame_memory &frame, u32 too_short);
u32 set_up_image(const char *function, const frame_memory &frame);
verdict check_memory(const strip_call &call, const frame_memory &frame);
u32 unpack_strip(const strip_call &call, const frame_memory &frame);
verdict check_packed_image(const strip_call &call, const packed_frame &packed);
u32 pack_strip(const strip_call &call, const packed_frame &packed);

VIQ_PER_CONTEXT(strip_sequence, unpacking);
VIQ_PER_CONTEXT(strip_sequence, packing);
VIQ_PER_CONTEXT(frame_memory, first_unpacked);
VIQ_PER_CONTEXT(packed_frame, first_packed);

constexpr strip_transfer<frame_memory> unpack_transfer = {
    .name = "VIQ_frame_unpack",
    .sequence = unpacking,
    .check_image = check_memory,
    .process = unpack_strip,
    .first_arguments = &first_unpacked,
};
constexpr strip_transfer<packed_frame> pack_transfer = {
    .name = "VIQ_frame_pack",
    .sequence = packing,
    .check_image = check_packed_image,
    .process = pack_strip,
    .first_arguments = &first_packed,
};

} // namespace

u32 VIQ_frame_get_layout(u32 dwPixelFormat, tVIQ_FrameLayout *pLayout) {
    constexpr const char *name = "VIQ_frame_get_layout";
    const frame_layout *layout = nullptr;
    const u32 code = find_layout(name, dwPixelFormat, layout);
    return is_error(code) ? code : describe(name, layout, pLayout);
}

u32 VIQ_frame_find_layout(const char *pName, tVIQ_FrameLayout *pLayout) {
    constexpr const char *name = "VIQ_frame_find_layout";
    if (pName == nullptr)
        return report_null(name);
    const frame_layout *layout = find_frame_layout(pName);
    if (layout == nullptr)
        return report(name, VIQ_ERR_UNSUPPORTED, "Unknown pixel format");
    return describe(name, layout, pLayout);
}

u32 VIQ_frame_get_size(u32 dwPixelFormat, u32 dwWidth, u32 dwHeight, u32 dwStride, u64 *pqwBytes) {
    constexpr const char *name = "VIQ_frame_get_size";
    if (pqwBytes == nullptr)
        return report_null(name);
    const frame_layout *layout = nullptr;
    const u32 code = find_layout(name, dwPixelFormat, layout);
    return is_error(code) ? code
                          : measure_frame(name, *layout, dwWidth, dwHeight, dwStride, *pqwBytes);
}

u32 VIQ_frame_unpack(const void *pFrame, u64 qwBytes, u32 dwPixelFormat, u32 dwWidth, u32 dwHeight,
                     u32 dwStride, u32 hOutImage, u16 wStripCommand) {
    frame_memory frame = {static_cast<const u8 *>(pFrame),
                          qwBytes,
                          dwPixelFormat,
                          dwWidth,
                          dwHeight,
                          dwStride,
                          hOutImage};
    if (wStripCommand != VIQ_STRIP_FINISH && !called_by_handler()) {
        u32 code = check_frame(unpack_transfer.name, frame, VIQ_ERR_CORRUPT);
        if (!is_error(code) && !unpacking->under_way)
            code = set_up_image(unpack_transfer.name, frame);
        if (is_error(code))
            return code;
    }
    return run_transfer(unpack_transfer, hOutImage, wStripCommand, frame);
}

u32 VIQ_frame_pack(void *pFrame, u64 qwBytes, u32 dwPixelFormat, u32 dwWidth, u32 dwHeight,
                   u32 dwStride, u32 hInImage, u16 wStripCommand) {
    u8 *target = static_cast<u8 *>(pFrame);
    packed_frame packed = {{target, qwBytes, dwPixelFormat, dwWidth, dwHeight, dwStride, hInImage},
                           target};
    if (wStripCommand != VIQ_STRIP_FINISH && !called_by_handler()) {
        const u32 code = check_frame(pack_transfer.name, packed.frame, VIQ_ERR_PARAMETER);
        if (is_error(code))
            return code;
    }
    return run_transfer(pack_transfer, hInImage, wStripCommand, packed);
}

namespace viq {

const frame_layout *find_frame_layout(u32 code) {
    const auto *row =
        std::find_if(std::begin(frame_layouts), std::end(frame_layouts),
                     [code](const frame_layout &layout) { return layout.code == code; });
    return row != std::end(frame_layouts) ? row : nullptr;
}

const frame_layout *find_frame_layout(const char *name) {
    constexpr auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    const char *end = name + std::strlen(name);
    const auto *row = std::find_if(
        std::begin(frame_layouts), std::end(frame_layouts), [=](const frame_layout &layout) {
            return std::equal(name, end, layout.name, layout.name + std::strlen(layout.name),
                              [=](char a, char b) { return lower(a) == lower(b); });
        });
    return row != std::end(frame_layouts) ? row : nullptr;
}

} // namespace viq

namespace {

// ---- Layouts

// Layouts that are not supported but known, so that the error can name them.
struct layout_name {
    u32 code;
    const char *name;
};

constexpr layout_name refused_layouts[] = {
    {0x01080002, "Mono8s"},
    {0x01010037, "Mono1p"},
    {0x01020038, "Mono2p"},
    {0x01040039, "Mono4p"},
    {0x0220001D, "RGB10p32"},
    {0x021E005C, "RGB10p"},
    {0x0224005D, "RGB12p"},
    {0x021E0048, "BGR10p"},
    {0x02240049, "BGR12p"},
    {0x02180021, "RGB8_Planar"},
    {0x02300022, "RGB10_Planar"},
    {0x02300023, "RGB12_Planar"},
    {0x02300024, "RGB16_Planar"},
    {0x02180020, "YUV8_UYV"},
    {0x0218005B, "YCbCr8"},
    {0x0218003A, "YCbCr8_CbYCr"},
    {0x020C005A, "YCbCr411_8"},
    {0x0210003E, "YCbCr601_422_8"},
    {0x02100041, "YCbCr709_422_8"},
    {0x02100044, "YCbCr601_422_8_CbYCrY"},
    {0x02100045, "YCbCr709_422_8_CbYCrY"},
};

constexpr std::size_t message_size = 128;

u32 report_unknown_layout(const char *function, u32 code) {
    char message[message_size];
    const auto *known =
        std::find_if(std::begin(refused_layouts), std::end(refused_layouts),
                     [code](const layout_name &layout) { return layout.code == code; });
    if (known != std::end(refused_layouts))
        std::snprintf(message, sizeof message, "Pixel format %s (0x%08" PRIX32 ") is not supported",
                      known->name, code);
    else
        std::snprintf(message, sizeof message, "Unknown pixel format 0x%08" PRIX32, code);
    return report(function, VIQ_ERR_UNSUPPORTED, message);
}

u32 find_layout(const char *function, u32 code, const frame_layout *&layout) {
    layout = find_frame_layout(code);
    return layout != nullptr ? success : report_unknown_layout(function, code);
}

u16 data_width_of(const frame_layout &layout) {
    const u32 bits = shape_of(layout.packing).sample_bits;
    return static_cast<u16>(layout.image_format == VIQ_Y16 ? bits : 8);
}

u32 describe(const char *function, const frame_layout *layout, tVIQ_FrameLayout *description) {
    if (description == nullptr)
        return report_null(function);
    const packing_shape shape = shape_of(layout->packing);
    *description = {.name = layout->name,
                    .pixel_format = layout->code,
                    .bits_per_pixel = static_cast<u16>(bits_per_pixel(*layout)),
                    .sample_bits = static_cast<u16>(shape.sample_bits),
                    .image_type = layout->image_format,
                    .pixel_colour = layout->pixel_colour,
                    .reduced = drops_low_bits(*layout)};
    return success;
}

// ---- Sizes

constexpr u64 too_large = std::numeric_limits<u64>::max();

// Bytes of consecutive pixels, or too_large.
u64 bytes_of_pixels(const frame_layout &layout, u64 pixels) {
    const packing_shape shape = shape_of(layout.packing);
    const u64 units = pixels / shape.unit_pixels;
    const u64 rest = (pixels % shape.unit_pixels * bits_per_pixel(layout) + 7) / 8;
    return units < (too_large - rest) / shape.unit_bytes ? units * shape.unit_bytes + rest
                                                         : too_large;
}

u32 measure_frame(const char *function, const frame_layout &layout, u32 width, u32 height,
                  u32 stride, u64 &size) {
    char message[message_size];
    const packing_shape shape = shape_of(layout.packing);
    if (width == 0 || height == 0)
        return report(function, VIQ_ERR_PARAMETER, "Width and height must not be 0");
    if (shape.shared_chroma && width % shape.unit_pixels != 0) {
        std::snprintf(message, sizeof message, "Width of %s must be a multiple of %" PRIu32,
                      layout.name, shape.unit_pixels);
        return report(function, VIQ_ERR_PARAMETER, message);
    }
    const u64 line = bytes_of_pixels(layout, width);
    if (stride != 0 && stride < line) {
        std::snprintf(message, sizeof message,
                      "Stride of %" PRIu32 " bytes is less than a line of %" PRIu64, stride, line);
        return report(function, VIQ_ERR_PARAMETER, message);
    }
    size = stride != 0 ? u64{height - 1} * stride + line
                       : bytes_of_pixels(layout, u64{width} * height);
    return size < too_large ? success : report(function, VIQ_ERR_PARAMETER, "Frame is too large");
}

u32 check_frame(const char *function, frame_memory &frame, u32 too_short) {
    u32 code = find_layout(function, frame.code, frame.layout);
    u64 size = 0;
    if (!is_error(code))
        code =
            measure_frame(function, *frame.layout, frame.width, frame.height, frame.stride, size);
    if (is_error(code))
        return code;
    if (frame.data == nullptr)
        return report_null(function);
    if (size > frame.size) {
        char message[message_size];
        std::snprintf(message, sizeof message,
                      "Frame of %" PRIu64 " bytes is too short, %" PRIu64 " needed", frame.size,
                      size);
        return report(function, too_short, message);
    }
    return size < SIZE_MAX / 2 ? success
                               : report(function, VIQ_ERR_PARAMETER, "Frame is too large");
}

// The first pixel of a line: the address of its unit and its number in the unit. Without a stride
// lines follow each other without unused bits, and one may start within a unit.
struct line_start {
    std::size_t offset;
    u32 first;
};

line_start start_of_line(const frame_memory &frame, const frame_layout &layout, u64 number) {
    if (frame.stride != 0)
        return {static_cast<std::size_t>(number * frame.stride), 0};
    const packing_shape shape = shape_of(layout.packing);
    const u64 pixel = number * frame.width;
    return {static_cast<std::size_t>(pixel / shape.unit_pixels * shape.unit_bytes),
            static_cast<u32>(pixel % shape.unit_pixels)};
}

// ---- Unpacking

// Unpacking may free the image's buffer and writes to it; packing reads it.
verdict check_memory(const strip_call &call, const frame_memory &frame) {
    const tVIQ_Image &image = *call.in;
    const image_companion &own = companion(image);
    const auto start = reinterpret_cast<std::uintptr_t>(frame.data);
    const auto overlaps = [&](const u8 *buffer, u64 size) {
        const auto other = reinterpret_cast<std::uintptr_t>(buffer);
        return buffer != nullptr &&
               (other >= start ? other - start < frame.size : start - other < size);
    };
    const bool overlaps_callers_buffer =
        !owns_data(image) && overlaps(image.data, strip_size(image, image.lines_per_strip));
    if (overlaps_callers_buffer || overlaps(own.buffer, own.buffer_size))
        return stop_with(report(call.name, VIQ_ERR_PARAMETER, "Frame and image share memory"));
    return proceed;
}

u32 set_up_image(const char *function, const frame_memory &frame) {
    tVIQ_Image *image = find_image(frame.image);
    if (image == nullptr)
        return report_bad_handle(function);
    const frame_layout &layout = *frame.layout;
    const u32 code = VIQ_image_set_parameter(frame.image, VIQ_IMAGE_TYPE, layout.image_format);
    if (is_error(code))
        return code;
    image->data_width = data_width_of(layout);
    image->width = frame.width;
    image->height = frame.height;
    return success;
}

u32 unpack_strip(const strip_call &call, const frame_memory &frame) {
    const u32 code = renew_strip(call.in_handle);
    if (is_error(code))
        return code;
    const frame_layout &layout = *frame.layout;
    const frame_unpack_row unpack = row_of_packing(layout.packing).unpack;
    const line_view lines = lines_of(*call.in);
    for (u64 n = 0; n < lines.lines; ++n) {
        const line_start start = start_of_line(frame, layout, unpacking->lines_done + n);
        unpack(frame.data + start.offset, start.first, lines.line(n), lines.width);
    }
    return success;
}

// ---- Packing

verdict check_packed_image(const strip_call &call, const packed_frame &packed) {
    const frame_layout &layout = *packed.frame.layout;
    const tVIQ_Image &image = *call.in;
    if (image.pixel_format != layout.image_format)
        return stop_with(report(call.name, VIQ_ERR_UNSUPPORTED | image.pixel_format,
                                "Unsupported image format"));
    if (image.pixel_format == VIQ_Y16 && image.data_width != data_width_of(layout))
        return stop_with(
            report(call.name, VIQ_ERR_UNSUPPORTED, "Data width does not match the pixel format"));
    if (image.width != packed.frame.width || image.height != packed.frame.height)
        return stop_with(
            report(call.name, VIQ_ERR_PARAMETER, "Image does not have the size of the frame"));
    return check_memory(call, packed.frame);
}

u32 pack_strip(const strip_call &call, const packed_frame &packed) {
    if (!has_lines(*call.in, call.in->lines_per_strip))
        return report_no_data(call.name);
    const frame_memory &frame = packed.frame;
    const frame_layout &layout = *frame.layout;
    const frame_pack_row pack = row_of_packing(layout.packing).pack;
    const line_view lines = lines_of(*call.in);
    const auto line_bytes = static_cast<std::size_t>(bytes_of_pixels(layout, frame.width));
    for (u64 n = 0; n < lines.lines; ++n) {
        const u64 number = packing->lines_done + n;
        const line_start start = start_of_line(frame, layout, number);
        u8 *line = packed.target + start.offset;
        pack(lines.line(n), line, start.first, lines.width);
        if (frame.stride != 0 && number + 1 < frame.height)
            std::memset(line + line_bytes, 0, frame.stride - line_bytes);
    }
    return success;
}

} // namespace
