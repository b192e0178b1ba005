// BMP writers: to a file strip by strip, and to a caller's buffer in one piece.
#include <algorithm>
#include <cstring>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "core/scratch.h"
#include "files/bmp.h"
#include "files/strip_file.h"

using namespace viq;

namespace {

constexpr const char *file_name = "VIQ_write_BMP_file";
constexpr const char *file_strip_name = "VIQ_write_BMP_file_1_strip";
constexpr const char *buffer_name = "VIQ_image_write_BMP_buffer";
constexpr const char *buffer_strip_name = "VIQ_image_write_BMP_buffer_1_strip";

VIQ_PER_CONTEXT(file_sequence, file_state);
VIQ_PER_CONTEXT(strip_sequence, buffer_sequence);

struct buffer_target {
    u8 *bytes;
    u32 *size;
};

verdict check_for_file(const strip_call &call);
u32 create(const strip_call &call);
u32 write_strip(const strip_call &call);
u32 close(const strip_call &call);
verdict check_for_buffer(const strip_call &call, const buffer_target &);
u32 start_buffer(const strip_call &call, const buffer_target &target);
u32 store_strip(const strip_call &call, const buffer_target &target);

constexpr strip_transfer<> to_file = {
    .name = file_name,
    .sequence = file_state,
    .check_image = check_for_file,
    .begin = create,
    .process = write_strip,
    .finish = close,
    .abandon = close,
    .every_command_sends = true,
};

constexpr strip_transfer<buffer_target> to_buffer = {
    .name = buffer_name,
    .sequence = buffer_sequence,
    .check_image = check_for_buffer,
    .begin = start_buffer,
    .process = store_strip,
    .every_command_sends = true,
};

} // namespace

u32 VIQ_write_BMP_file(u32 hImage, u16 wMode) {
    return run_transfer(to_file, hImage, wMode);
}

u32 VIQ_image_write_BMP_buffer(u32 hImage, u8 *pBuffer, u32 *pdwSize, u16 wMode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    // Only the call that writes the header has the address of the first pixel.
    if (buffer_sequence->under_way) {
        *buffer_sequence = {};
        return wMode == VIQ_STRIP_FINISH
                   ? success
                   : report(buffer_name, VIQ_ERR_STATE, "Only a complete image can be written");
    }
    if (pBuffer == nullptr || pdwSize == nullptr)
        return report_null(buffer_name);
    const buffer_target target = {pBuffer, pdwSize};
    return run_transfer(to_buffer, hImage, wMode, target);
}

namespace {

constexpr std::size_t largest_header = bmp_header_size + bmp_palette_size;

bmp_layout layout_of(const tVIQ_Image &image) {
    return bmp_layout_of(image.width, image.bits_per_pixel);
}

// File offset of the lowest line of the current strip.
u64 strip_offset(const tVIQ_Image &image, const bmp_layout &layout, u32 lines_done) {
    return layout.offset +
           (u64{image.height} - lines_done - image.lines_per_strip) * layout.line_size;
}

verdict check(const char *function, const tVIQ_Image &image);
u32 make_header(u32 handle, const tVIQ_Image &image, u8 (&header)[largest_header]);
void copy_line(const tVIQ_Image &image, const bmp_row &row, const bmp_layout &layout, u32 line,
               u8 *to);

verdict check_for_file(const strip_call &call) {
    return check(file_name, *call.in);
}

verdict check_for_buffer(const strip_call &call, const buffer_target &) {
    return check(buffer_name, *call.in);
}

verdict check(const char *function, const tVIQ_Image &image) {
    const u16 format = image.pixel_format;
    if (format != VIQ_RGB24 && format != VIQ_Y8 && format != VIQ_PALETTED)
        return stop_with(report_format(function, format));
    if (bmp_file_size(layout_of(image), image.height) > UINT32_MAX)
        return stop_with(report(function, VIQ_ERR_UNSUPPORTED, "Image too large for a BMP file"));
    if (format != VIQ_RGB24 && image.colourmap == nullptr)
        return stop_with(report_no_colourmap(function));
    return proceed;
}

// The file is extended to its full size first, so that strips that are never written read as 0.
u32 create(const strip_call &call) {
    const tVIQ_Image &image = *call.in;
    u32 code = create_file(file_name, *file_state, image.outfilename);
    if (is_error(code))
        return code;
    u8 header[largest_header];
    code = make_header(call.in_handle, image, header);
    if (is_error(code)) {
        file_state->file.reset();
        return code;
    }
    const bmp_layout layout = layout_of(image);
    std::FILE *file = file_state->file.get();
    std::fwrite(header, 1, layout.offset, file);
    const u64 size = bmp_file_size(layout, image.height);
    if (size > layout.offset && seek_to(file, size - 1))
        std::fputc(0, file);
    return success;
}

u32 write_strip(const strip_call &call) {
    const tVIQ_Image &image = *call.in;
    if (image.lines_per_strip == 0)
        return success;
    if (!has_lines(image, image.lines_per_strip))
        return report_no_data(file_strip_name);
    const bmp_layout layout = layout_of(image);
    const u32 block_lines = std::min(lines_in_block(layout.line_size), image.lines_per_strip);
    const u64 block_size = block_lines * layout.line_size;
    u8 *block = scratch_bytes(scratch::file_lines, block_size);
    if (block == nullptr)
        return report_no_memory(file_strip_name, block_size, "Attempting to malloc:");
    std::FILE *file = file_state->file.get();
    if (!seek_to(file, strip_offset(image, layout, file_state->sequence.lines_done))) {
        // The seek has written the buffer of the stream, which may be what failed.
        const u32 code = check_written(file_strip_name, *file_state);
        return is_error(code) ? code : report_seek(file_strip_name);
    }

    const bmp_row row = bmp_row_of(image);
    for (u32 left = image.lines_per_strip; left > 0;) {
        const u32 lines = std::min(block_lines, left);
        for (u32 n = 0; n < lines; ++n)
            copy_line(image, row, layout, --left,
                      block + n * static_cast<std::size_t>(layout.line_size));
        std::fwrite(block, 1, static_cast<std::size_t>(lines * layout.line_size), file);
    }
    return check_written(file_strip_name, *file_state);
}

u32 close(const strip_call &) {
    return close_file(file_name, file_state->file);
}

u32 start_buffer(const strip_call &call, const buffer_target &target) {
    const tVIQ_Image &image = *call.in;
    u8 header[largest_header];
    const u32 code = make_header(call.in_handle, image, header);
    if (is_error(code))
        return code;
    const bmp_layout layout = layout_of(image);
    const u64 size = bmp_file_size(layout, image.height);
    std::memcpy(target.bytes, header, layout.offset);
    // Clears the lines that the first strip does not write.
    const u64 covered = u64{std::min(image.lines_per_strip, image.height)} * layout.line_size;
    std::memset(target.bytes + layout.offset, 0,
                static_cast<std::size_t>(size - layout.offset - covered));
    *target.size = static_cast<u32>(size);
    return success;
}

u32 store_strip(const strip_call &call, const buffer_target &target) {
    const tVIQ_Image &image = *call.in;
    if (image.lines_per_strip == 0)
        return success;
    if (!has_lines(image, image.lines_per_strip)) {
        *buffer_sequence = {};
        return report_no_data(buffer_strip_name);
    }
    const bmp_layout layout = layout_of(image);
    const bmp_row row = bmp_row_of(image);
    u8 *to = target.bytes + static_cast<std::size_t>(strip_offset(image, layout, 0));
    for (u32 left = image.lines_per_strip; left > 0; to += layout.line_size)
        copy_line(image, row, layout, --left, to);
    return success;
}

// Header and palette; the colourmap of a grey image is set to the grey ramp first.
u32 make_header(u32 handle, const tVIQ_Image &image, u8 (&header)[largest_header]) {
    const bmp_layout layout = layout_of(image);
    const auto pixel_bytes = static_cast<u32>(image.height * layout.line_size);
    std::memset(header, 0, sizeof header);
    std::memcpy(header, "BM", 2);
    store<u32>(header + bmp::file_size_at, layout.offset + pixel_bytes, endian::little);
    store<u32>(header + bmp::data_offset_at, layout.offset, endian::little);
    store<u32>(header + bmp::information_size_at, bmp::information_size, endian::little);
    store<u32>(header + bmp::width_at, image.width, endian::little);
    store<u32>(header + bmp::height_at, image.height, endian::little);
    store<u16>(header + bmp::planes_at, 1, endian::little);
    store<u16>(header + bmp::bits_at, image.bits_per_pixel, endian::little);
    store<u32>(header + bmp::data_size_at, pixel_bytes, endian::little);
    if (image.pixel_format == VIQ_RGB24)
        return success;
    if (image.pixel_format == VIQ_Y8) {
        const u32 code = VIQ_cmap_set_type(handle, VIQ_CMAP_GREY);
        if (is_error(code))
            return code;
    }
    for (u32 i = 0; i < colourmap_size; ++i) {
        u8 *entry = header + bmp_header_size + std::size_t{4} * i;
        entry[0] = image.colourmap[i].blue;
        entry[1] = image.colourmap[i].green;
        entry[2] = image.colourmap[i].red;
    }
    return success;
}

// Copies an image line to a file line and clears its padding.
void copy_line(const tVIQ_Image &image, const bmp_row &row, const bmp_layout &layout, u32 line,
               u8 *to) {
    copy_bmp_row(row, image.data + line * static_cast<std::size_t>(image.bytes_per_line), to);
    std::memset(to + static_cast<std::size_t>(layout.pixels), 0,
                static_cast<std::size_t>(layout.line_size - layout.pixels));
}

} // namespace
