#include "files/strip_file.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/geometry.h"
#include "core/image.h"
#include "core/limits.h"
#include "core/report.h"

namespace viq {

namespace {

verdict check_before_writing(const strip_call &call, const strip_writer &writer);
u32 begin_writing(const strip_call &call, const strip_writer &writer);
u32 write_strip(const strip_call &call, const strip_writer &writer);
u32 finish_writing(const strip_call &call, const strip_writer &writer);
u32 close_writing(const strip_call &call, const strip_writer &writer);
u32 open_and_read_header(const strip_reader &reader, u32 hImage, tVIQ_Image &image,
                         unique_stream opened);
u32 read_strip(const strip_reader &reader, u32 hImage, tVIQ_Image &image);
u32 line_of(const strip_reader &reader, const tVIQ_Image &image);
u32 fail_reading(const strip_reader &reader, u32 code);
u32 finish_reading(const strip_reader &reader);

// `to` may be `from`, but must not overlap it otherwise.
void swap_bytes(const u8 *from, u8 *to, std::size_t words) {
    for (std::size_t i = 0; i < words; ++i) {
        u16 word = 0;
        std::memcpy(&word, from + 2 * i, sizeof word);
        word = static_cast<u16>(word << 8 | word >> 8);
        std::memcpy(to + 2 * i, &word, sizeof word);
    }
}

// Lines that are transferred completely are transferred in one call.
template <class Transfer>
bool transfer_lines(const tVIQ_Image &image, u32 first, u32 lines, u64 line_size,
                    Transfer transfer) {
    u8 *start = image.data + first * static_cast<std::size_t>(image.bytes_per_line);
    if (line_size == image.bytes_per_line) {
        const auto count = static_cast<std::size_t>(lines * line_size);
        return transfer(start, count) == count;
    }
    const auto count = static_cast<std::size_t>(line_size);
    for (u32 n = 0; n < lines; ++n, start += image.bytes_per_line)
        if (transfer(start, count) != count)
            return false;
    return true;
}

} // namespace

void write_words(std::FILE *stream, const u8 *words, u64 count, endian order) {
    if (order == host_order) {
        std::fwrite(words, 2, static_cast<std::size_t>(count), stream);
        return;
    }
    u8 swapped[32 * 1024];
    while (count > 0) {
        const auto block = static_cast<std::size_t>(std::min<u64>(count, sizeof swapped / 2));
        swap_bytes(words, swapped, block);
        std::fwrite(swapped, 2, block, stream);
        words += 2 * block;
        count -= block;
    }
}

void words_to_host(u8 *words, u64 count, endian order) {
    if (order != host_order)
        swap_bytes(words, words, static_cast<std::size_t>(count));
}

bool write_image_lines(std::FILE *stream, const tVIQ_Image &image, u64 line_size) {
    return transfer_lines(
        image, 0, image.lines_per_strip, line_size,
        [stream](u8 *bytes, std::size_t count) { return std::fwrite(bytes, 1, count, stream); });
}

bool read_image_lines(std::FILE *stream, const tVIQ_Image &image, u32 first, u32 lines,
                      u64 line_size) {
    return transfer_lines(image, first, lines, line_size, [stream](u8 *bytes, std::size_t count) {
        return std::fread(bytes, 1, count, stream);
    });
}

u32 read_packed_lines(const char *function, std::FILE *stream, const tVIQ_Image &image, u32 first,
                      u32 lines, u64 line_size, line_unpacker unpack) {
    u8 *packed = scratch_bytes(scratch::file_lines, line_size);
    if (packed == nullptr)
        return report_no_memory(function, line_size);
    const auto size = static_cast<std::size_t>(line_size);
    u8 *to = image.data + first * static_cast<std::size_t>(image.bytes_per_line);
    for (u32 n = 0; n < lines; ++n, to += image.bytes_per_line) {
        if (std::fread(packed, 1, size, stream) != size)
            return report_corrupt(function);
        unpack(image, packed, to);
    }
    return success;
}

u32 write_packed_lines(const char *function, std::FILE *stream, const tVIQ_Image &image,
                       u64 line_size, block_packer pack) {
    const u32 block_lines = std::min(lines_in_block(line_size), image.lines_per_strip);
    u8 *block = scratch_bytes(scratch::file_lines, block_lines * line_size);
    if (block == nullptr)
        return report_no_memory(function, block_lines * line_size);
    for (u32 first = 0; first < image.lines_per_strip; first += block_lines) {
        const u32 lines = std::min(block_lines, image.lines_per_strip - first);
        pack(image, first, lines, line_size, block);
        std::fwrite(block, 1, static_cast<std::size_t>(lines * line_size), stream);
    }
    return success;
}

u32 lines_in_block(u64 line_size) {
    constexpr u64 block_bytes = u64{128} * 1024;
    constexpr u64 most_lines = 65536;
    return static_cast<u32>(
        std::clamp<u64>(block_bytes / std::max<u64>(line_size, 1), 1, most_lines));
}

u32 report_format(const char *function, u16 format) {
    return report(function, VIQ_ERR_UNSUPPORTED | format, "Unsupported image format");
}

bool are_inside(const stored_lines &lines, u32 height, u64 bytes_in_file) {
    // Any height times a line of 32 bits fits 64 bits.
    return lines.line_size <= UINT32_MAX && lines.offset <= bytes_in_file &&
           height * lines.line_size <= bytes_in_file - lines.offset;
}

u32 run_writer(const strip_writer &writer, u32 hImage, u16 mode) {
    const strip_transfer<strip_writer> transfer = {
        .name = writer.name,
        .sequence = writer.state,
        .check_image = check_before_writing,
        .begin = begin_writing,
        .process = write_strip,
        .finish = finish_writing,
        .abandon = close_writing,
        .line = writer.line,
    };
    return run_transfer(transfer, hImage, mode, writer);
}

u32 run_reader(const strip_reader &reader, u32 hImage, u16 mode, unique_stream opened) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    const strip_sequence &sequence = reader.state->sequence;
    if (mode == VIQ_STRIP_FINISH)
        return finish_reading(reader);
    tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return fail_reading(reader, report_bad_handle(reader.name));
    if (!sequence.under_way) {
        const u32 code = open_and_read_header(reader, hImage, *image, std::move(opened));
        if (is_error(code))
            return code;
    } else {
        const u32 code = check_image(reader.name, hImage, "VIQ_image_check failed");
        if (is_error(code))
            return fail_reading(reader, code);
        if (sequence.geometry != geometry_of(*image))
            return fail_reading(reader, report_changed_image(reader.name));
    }
    join_sequence(reader.state->sequence, image);
    if (mode != VIQ_STRIP_NEXT || image->lines_per_strip == 0) {
        image->bytes_per_line = line_of(reader, *image);
        return success;
    }
    return read_strip(reader, hImage, *image);
}

namespace {

// ---- Steps of a writer

verdict check_before_writing(const strip_call &call, const strip_writer &writer) {
    const tVIQ_Image &image = *call.in;
    const u16 format = image.pixel_format;
    if (std::find(writer.formats.begin(), writer.formats.end(), format) == writer.formats.end())
        return stop_with(report_format(writer.name, writer.plain_format_code ? u16{0} : format));
    if (writer.too_large != nullptr) {
        constexpr u32 largest_side = 0xFFFF; // the header has 16 bits for each side
        if (image.width == 0 || image.height == 0)
            return stop_with(report_corrupt(writer.name));
        if (image.width > largest_side || image.height > largest_side)
            return stop_with(report(writer.name, VIQ_ERR_UNSUPPORTED, writer.too_large));
    }
    return writer.check != nullptr ? writer.check(image) : proceed;
}

u32 begin_writing(const strip_call &call, const strip_writer &writer) {
    const u32 code = create_file(writer.name, *writer.state, call.in->outfilename);
    if (!is_error(code) && writer.write_header != nullptr)
        writer.write_header(writer.state->file.get(), *call.in);
    return code;
}

u32 write_strip(const strip_call &call, const strip_writer &writer) {
    const tVIQ_Image &image = *call.in;
    if (image.lines_per_strip == 0)
        return success;
    if (!has_lines(image, image.lines_per_strip)) {
        // The next call may name another file if this one has no line yet.
        if (writer.state->sequence.lines_done == 0)
            drop(*writer.state);
        return report_no_data(writer.strip_name);
    }
    const u32 code = writer.write_strip(writer.state->file.get(), image);
    return is_error(code) ? code : check_written(writer.strip_name, *writer.state);
}

u32 finish_writing(const strip_call &call, const strip_writer &writer) {
    if (writer.write_trailer != nullptr)
        writer.write_trailer(writer.state->file.get());
    return close_writing(call, writer);
}

u32 close_writing(const strip_call &, const strip_writer &writer) {
    return close_file(writer.name, writer.state->file);
}

// ---- Steps of a reader

u32 open_and_read_header(const strip_reader &reader, u32 hImage, tVIQ_Image &image,
                         unique_stream opened) {
    unique_stream &file = reader.state->file;
    file = std::move(opened);
    if (file != nullptr && seek_to(file.get(), 0)) {
        std::clearerr(file.get());
    } else {
        file.reset(open_to_read(image.infilename));
        if (file == nullptr)
            return report(reader.name, VIQ_ERR_OPEN, "Failed to open file");
        if (reader.unbuffered)
            std::setvbuf(file.get(), nullptr, _IONBF, 0);
    }
    if (const u32 code = check_file_limit(reader.name, file.get()); is_error(code))
        return fail_reading(reader, code);
    companion(image).facts = {};
    u32 code = reader.read_header({file.get(), image, hImage, 0});
    if (!is_error(code) && (image.width == 0 || image.height == 0))
        code = report_corrupt(reader.name);
    if (!is_error(code))
        code = check_image(reader.name, hImage, "VIQ_image_check failed");
    if (!is_error(code))
        code = check_ratio_limit(reader.name, image, file_size(file.get()));
    if (is_error(code))
        return fail_reading(reader, code);
    reader.state->sequence = {true, 0, geometry_of(image)};
    return success;
}

u32 read_strip(const strip_reader &reader, u32 hImage, tVIQ_Image &image) {
    file_sequence &state = *reader.state;
    const bool last = clip_last_strip(image, state.sequence.lines_done);
    u32 code = renew_strip(hImage, line_of(reader, image));
    if (is_error(code))
        return fail_reading(reader, report(reader.name, code, ""));
    code = reader.read_lines({state.file.get(), image, hImage, state.sequence.lines_done});
    if (is_error(code))
        return code == seek_failed ? code : fail_reading(reader, code);
    state.sequence.lines_done += image.lines_per_strip;
    return last ? finish_reading(reader) : success;
}

u32 line_of(const strip_reader &reader, const tVIQ_Image &image) {
    return reader.line != nullptr ? reader.line(image, 0) : image.bytes_per_line;
}

u32 fail_reading(const strip_reader &reader, u32 code) {
    drop(*reader.state);
    return code;
}

u32 finish_reading(const strip_reader &reader) {
    reader.state->sequence = {};
    return close_file(reader.name, reader.state->file);
}

} // namespace

} // namespace viq
