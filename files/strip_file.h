// Readers and writers of file formats, strip by strip: the sequence of opening, reading or writing
// and closing is implemented once, driven by a record for each format.
#pragma once

#include <algorithm>
#include <span>

#include "core/byte_order.h"
#include "core/file_io.h"
#include "core/report.h"
#include "core/scratch.h"

namespace viq {

inline u32 report_corrupt(const char *function) {
    return report(function, VIQ_ERR_CORRUPT, "Corrupt image");
}

u32 report_format(const char *function, u16 format);

// The message for a value of a header field.
struct named_value {
    u32 value;
    const char *message;
};

inline const char *message_for(std::span<const named_value> names, u32 value,
                               const char *otherwise) {
    for (const named_value &named : names)
        if (named.value == value)
            return named.message;
    return otherwise;
}

// ---- Lines

// Transfers the first `line_size` bytes of image lines; the bytes after them are not changed. False
// if the stream ends or fails.
bool write_image_lines(std::FILE *stream, const tVIQ_Image &image, u64 line_size);
bool read_image_lines(std::FILE *stream, const tVIQ_Image &image, u32 first, u32 lines,
                      u64 line_size);

// Visits the pixels of lines: in one run if the lines have no padding, else line by line.
template <class Visit>
void for_each_run(const tVIQ_Image &image, u32 first, u32 lines, Visit visit) {
    u8 *run = image.data + first * static_cast<std::size_t>(image.bytes_per_line);
    if (image.skip_bytes == 0)
        visit(run, u64{image.width} * lines);
    else
        for (u32 n = 0; n < lines; ++n, run += image.bytes_per_line)
            visit(run, u64{image.width});
}

// Reads lines that the file stores in another form: `unpack` converts one file line of `line_size`
// bytes to an image line, and may change the file line.
using line_unpacker = void (*)(const tVIQ_Image &image, u8 *packed, u8 *line);
u32 read_packed_lines(const char *function, std::FILE *stream, const tVIQ_Image &image, u32 first,
                      u32 lines, u64 line_size, line_unpacker unpack);

// Writes the current strip in another form: `pack` converts image lines, from line `first` on, to
// as many file lines of `line_size` bytes.
using block_packer = void (*)(const tVIQ_Image &image, u32 first, u32 lines, u64 line_size,
                              u8 *block);
u32 write_packed_lines(const char *function, std::FILE *stream, const tVIQ_Image &image,
                       u64 line_size, block_packer pack);

// Lines that are processed at a time, so that a block of them stays in the cache; at least 1.
u32 lines_in_block(u64 line_size);

// Writes 16-bit words of the host in the given byte order.
void write_words(std::FILE *stream, const u8 *words, u64 count, endian order);

// Converts words that were read in the given byte order to the order of the host.
void words_to_host(u8 *words, u64 count, endian order);

// ---- Writers

// The file is created and its header written on the first strip; it is closed after the last one.
// A step without a function does nothing.
struct strip_writer {
    const char *name;
    const char *strip_name; // reports failures of a strip
    const per_context<file_sequence> &state;
    std::span<const u16> formats;
    // Failures are reported at the end of a strip and on closing, so that the functions below
    // need not check their writes.
    u32 (*write_strip)(std::FILE *file, const tVIQ_Image &image); // the strip has data
    void (*write_header)(std::FILE *file, const tVIQ_Image &image) = nullptr;
    void (*write_trailer)(std::FILE *file) = nullptr;
    // If set, an image without pixels is corrupt and a side above 65535 is refused with this text.
    const char *too_large = nullptr;
    verdict (*check)(const tVIQ_Image &image) = nullptr; // further conditions
    bool plain_format_code = false; // an unaccepted format is reported without its number
    line_rule line = nullptr;       // line length of the written strip; null: the check's
};

u32 run_writer(const strip_writer &writer, u32 hImage, u16 mode);

// ---- Readers

struct read_call {
    std::FILE *file;
    tVIQ_Image &image;
    u32 handle;
    u32 lines_done;
};

// A failed seek leaves the file open.
constexpr u32 seek_failed = VIQ_ERR_INTERNAL;

inline u32 report_seek(const char *function) {
    return report(function, seek_failed, "fseek failed");
}

// What a format needs between two strips is kept by its source.
struct strip_reader {
    const char *name;
    const per_context<file_sequence> &state;
    // Called with the file at its start; sets the image's parameters.
    u32 (*read_header)(const read_call &call);
    // Called with a buffer for the lines of the strip.
    u32 (*read_lines)(const read_call &call);
    bool unbuffered = false;  // the reader reads large blocks
    line_rule line = nullptr; // line length of the read strip; null: the check's
};

// Lines of equal length that follow each other in the file.
struct stored_lines {
    u64 offset;    // of the first line
    u64 line_size; // in bytes, with padding
    bool bottom_up;
};

// The lines lie within the file. UINT64_MAX bytes do not.
bool are_inside(const stored_lines &lines, u32 height, u64 bytes_in_file);

// Reads the lines of the strip; `unpack` converts one file line to an image line, and may change
// the file line.
template <class Unpack>
u32 read_stored_lines(const char *function, const read_call &call, const stored_lines &from,
                      Unpack unpack) {
    const tVIQ_Image &image = call.image;
    const u32 count = image.lines_per_strip;
    const u64 first =
        from.bottom_up ? u64{image.height} - call.lines_done - count : u64{call.lines_done};
    if (!seek_to(call.file, from.offset + first * from.line_size))
        return report_seek(function);
    const u32 block_lines = std::min(lines_in_block(from.line_size), count);
    const u64 block_size = block_lines * from.line_size;
    u8 *block = scratch_bytes(scratch::file_lines, block_size);
    if (block == nullptr)
        return report_no_memory(function, block_size);
    for (u32 done = 0; done < count;) {
        const u32 lines = std::min(block_lines, count - done);
        const auto wanted = static_cast<std::size_t>(lines * from.line_size);
        if (std::fread(block, 1, wanted, call.file) != wanted)
            return report_corrupt(function);
        for (u32 n = 0; n < lines; ++n, ++done) {
            const u32 line = from.bottom_up ? count - 1 - done : done;
            unpack(block + n * static_cast<std::size_t>(from.line_size),
                   image.data + line * static_cast<std::size_t>(image.bytes_per_line));
        }
    }
    return success;
}

// If the caller has opened the file already, the reader continues with that stream, provided that
// it is not `unbuffered`; else it opens the image's input file.
u32 run_reader(const strip_reader &reader, u32 hImage, u16 mode, unique_stream opened = nullptr);

} // namespace viq
