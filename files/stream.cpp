#include "files/stream.h"

#include <algorithm>
#include <cstring>

#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "core/scratch.h"

#if defined(_WIN32)
#define VIQ_SEEK _fseeki64
#define VIQ_TELL _ftelli64
#else
#define VIQ_SEEK fseeko
#define VIQ_TELL ftello
#endif

namespace viq {

namespace {

verdict check_before_writing(const strip_call &call, const strip_writer &writer);
u32 begin_writing(const strip_call &call, const strip_writer &writer);
u32 write_strip(const strip_call &call, const strip_writer &writer);
u32 finish_writing(const strip_call &call, const strip_writer &writer);
u32 close_writing(const strip_call &call, const strip_writer &writer);
u32 open_and_read_header(const strip_reader &reader, u32 hImage, tVIQ_Image &image);
u32 read_strip(const strip_reader &reader, u32 hImage, tVIQ_Image &image);
u32 line_of(const strip_reader &reader, const tVIQ_Image &image);
u32 fail_reading(const strip_reader &reader, u32 code);
u32 finish_reading(const strip_reader &reader);

// The sequence is over, and nothing stays open.
template <class State> void drop(State &state) {
    state.sequence = {};
    state.file.reset();
}

// In place, or between areas that lie apart.
void swap_bytes(const u8 *from, u8 *to, std::size_t words) {
    for (std::size_t i = 0; i < words; ++i) {
        u16 word = 0;
        std::memcpy(&word, from + 2 * i, sizeof word);
        word = static_cast<u16>(word << 8 | word >> 8);
        std::memcpy(to + 2 * i, &word, sizeof word);
    }
}

u64 padded_bits(const tVIQ_Image &image) {
    const u64 alignment = image.line_alignment;
    return (bit_line_bytes(image.width) + alignment - 1) / alignment * alignment;
}

u32 bit_line(const tVIQ_Image &image, u32 told, u64 line) {
    if (image.pixel_format != VIQ_Y1)
        return image.bytes_per_line;
    const bool known = told == bit_line_bytes(image.width) || told == padded_bits(image);
    return known ? told : static_cast<u32>(line);
}

// Lines without anything between them move as one.
template <class Move>
bool move_lines(const tVIQ_Image &image, u32 first, u32 lines, u64 line, Move move) {
    u8 *start = image.data + first * static_cast<std::size_t>(image.bytes_per_line);
    if (line == image.bytes_per_line) {
        const auto count = static_cast<std::size_t>(lines * line);
        return move(start, count) == count;
    }
    const auto count = static_cast<std::size_t>(line);
    for (u32 n = 0; n < lines; ++n, start += image.bytes_per_line)
        if (move(start, count) != count)
            return false;
    return true;
}

} // namespace

bool seek_to(std::FILE *stream, u64 position) {
    return position <= INT64_MAX && VIQ_SEEK(stream, static_cast<i64>(position), SEEK_SET) == 0;
}

u64 position_of(std::FILE *stream) {
    const auto here = VIQ_TELL(stream);
    return here > 0 ? static_cast<u64>(here) : 0;
}

u64 file_size(std::FILE *stream) {
    const auto here = VIQ_TELL(stream);
    if (here < 0 || VIQ_SEEK(stream, 0, SEEK_END) != 0)
        return 0;
    const auto size = VIQ_TELL(stream);
    VIQ_SEEK(stream, here, SEEK_SET);
    return size > 0 ? static_cast<u64>(size) : 0;
}

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

u32 packed_bit_line(const tVIQ_Image &image, u32 told) {
    return bit_line(image, told, bit_line_bytes(image.width));
}

u32 padded_bit_line(const tVIQ_Image &image, u32 told) {
    return bit_line(image, told, padded_bits(image));
}

bool put_lines(std::FILE *stream, const tVIQ_Image &image, u64 line) {
    return move_lines(
        image, 0, image.lines_per_strip, line,
        [stream](u8 *bytes, std::size_t count) { return std::fwrite(bytes, 1, count, stream); });
}

bool get_lines(std::FILE *stream, const tVIQ_Image &image, u32 first, u32 lines, u64 line) {
    return move_lines(image, first, lines, line, [stream](u8 *bytes, std::size_t count) {
        return std::fread(bytes, 1, count, stream);
    });
}

u32 get_unpacked_lines(const char *function, std::FILE *stream, const tVIQ_Image &image, u32 first,
                       u32 lines, u64 line, line_unpacker unpack) {
    u8 *packed = scratch_bytes(scratch::file_lines, line);
    if (packed == nullptr)
        return report_no_memory(function, line);
    const auto size = static_cast<std::size_t>(line);
    u8 *to = image.data + first * static_cast<std::size_t>(image.bytes_per_line);
    for (u32 n = 0; n < lines; ++n, to += image.bytes_per_line) {
        if (std::fread(packed, 1, size, stream) != size)
            return report_corrupt(function);
        unpack(image, packed, to);
    }
    return success;
}

u32 lines_in_block(u64 line) {
    constexpr u64 block = u64{128} * 1024;
    return static_cast<u32>(std::clamp<u64>(block / std::max<u64>(line, 1), 1, 65536));
}

u32 put_blocks(const char *function, std::FILE *stream, const tVIQ_Image &image, u64 line,
               block_filler fill) {
    const u32 block_lines = std::min(lines_in_block(line), image.lines_per_strip);
    u8 *block = scratch_bytes(scratch::file_lines, block_lines * line);
    if (block == nullptr)
        return report_no_memory(function, block_lines * line);
    for (u32 first = 0; first < image.lines_per_strip; first += block_lines) {
        const u32 lines = std::min(block_lines, image.lines_per_strip - first);
        fill(image, first, lines, line, block);
        std::fwrite(block, 1, static_cast<std::size_t>(lines * line), stream);
    }
    return success;
}

u32 report_format(const char *function, u16 format) {
    return report(function, VIQ_ERR_UNSUPPORTED | format, "Unsupported image format");
}

verdict refuse_size(const char *function, const tVIQ_Image &image, const char *too_large) {
    constexpr u32 greatest = 0xFFFF;
    if (image.width == 0 || image.height == 0)
        return stop_with(report_corrupt(function));
    if (image.width > greatest || image.height > greatest)
        return stop_with(report(function, VIQ_ERR_UNSUPPORTED, too_large));
    return proceed;
}

u32 create_file(const char *function, write_state &state, const char *path, std::size_t buffer_size,
                const char *mode) {
    state.file.reset(std::fopen(path, mode));
    if (state.file == nullptr)
        return report(function, VIQ_ERR_OPEN, "Failed to create file");
    if (buffer_size != 0)
        std::setvbuf(state.file.get(), nullptr, _IOFBF, buffer_size);
    return success;
}

u32 check_written(const char *function, write_state &state) {
    if (std::ferror(state.file.get()) == 0)
        return success;
    drop(state);
    return report(function, VIQ_ERR_SYSTEM, "Failed to write to file");
}

u32 run_writer(const strip_writer &writer, u32 hImage, u16 mode) {
    const strip_transfer<strip_writer> transfer = {
        .name = writer.name,
        .sequence = &writer.state->sequence,
        .check_image = check_before_writing,
        .begin = begin_writing,
        .process = write_strip,
        .finish = finish_writing,
        .abandon = close_writing,
        .line = writer.line,
    };
    return run_transfer(transfer, hImage, mode, writer);
}

u32 run_reader(const strip_reader &reader, u32 hImage, u16 mode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    read_state &state = *reader.state;
    if (mode == VIQ_STRIP_FINISH)
        return finish_reading(reader);
    tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return fail_reading(reader, report_bad_handle(reader.name));
    if (!state.sequence.under_way) {
        const u32 code = open_and_read_header(reader, hImage, *image);
        if (is_error(code))
            return code;
    } else {
        const u32 code = check_image(reader.name, hImage, "VIQ_image_check failed");
        if (is_error(code))
            return fail_reading(reader, code);
        if (state.sequence.geometry != geometry_of(*image))
            return fail_reading(reader, report_changed_image(reader.name));
    }
    if (mode != VIQ_STRIP_NEXT || image->lines_per_strip == 0) {
        image->bytes_per_line = line_of(reader, *image);
        return success;
    }
    return read_strip(reader, hImage, *image);
}

namespace {

verdict check_before_writing(const strip_call &call, const strip_writer &writer) {
    return writer.refuse(call);
}

u32 begin_writing(const strip_call &call, const strip_writer &writer) {
    const u32 code = create_file(writer.name, *writer.state, call.in->outfilename,
                                 writer_buffer_size, writer.mode);
    if (!is_error(code) && writer.put_head != nullptr)
        writer.put_head(writer.state->file.get(), *call.in);
    return code;
}

u32 write_strip(const strip_call &call, const strip_writer &writer) {
    const tVIQ_Image &image = *call.in;
    if (image.lines_per_strip == 0)
        return success;
    if (!has_lines(image, image.lines_per_strip)) {
        if (writer.state->sequence.lines_done == 0) // what comes next may have another name
            drop(*writer.state);
        return report_no_data(writer.strip_name);
    }
    const u32 code = writer.put_strip(writer.state->file.get(), image);
    return is_error(code) ? code : check_written(writer.strip_name, *writer.state);
}

u32 finish_writing(const strip_call &call, const strip_writer &writer) {
    if (writer.put_tail != nullptr)
        writer.put_tail(writer.state->file.get());
    return close_writing(call, writer);
}

u32 close_writing(const strip_call &, const strip_writer &writer) {
    return close_file(writer.name, writer.state->file);
}

u32 open_and_read_header(const strip_reader &reader, u32 hImage, tVIQ_Image &image) {
    read_state &state = *reader.state;
    state.file.reset(std::fopen(image.infilename, "rb"));
    if (state.file == nullptr)
        return report(reader.name, VIQ_ERR_OPEN, "Failed to open file");
    if (reader.unbuffered)
        std::setvbuf(state.file.get(), nullptr, _IONBF, 0);
    u32 code = reader.read_header({state.file.get(), image, hImage, 0});
    if (!is_error(code) && (image.width == 0 || image.height == 0))
        code = report_corrupt(reader.name);
    if (!is_error(code))
        code = check_image(reader.name, hImage, "VIQ_image_check failed");
    if (is_error(code))
        return fail_reading(reader, code);
    state.sequence = {true, 0, geometry_of(image)};
    return success;
}

u32 read_strip(const strip_reader &reader, u32 hImage, tVIQ_Image &image) {
    read_state &state = *reader.state;
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
