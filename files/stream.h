// What the readers and writers of files share: streams beyond 2 GiB, creation, closing, and the
// strip protocol of reading.
#pragma once

#include <cstdio>

#include "core/byte_order.h"
#include "core/open_file.h"
#include "core/report.h"
#include "core/strip_driver.h"

namespace viq {

bool seek_to(std::FILE *stream, u64 position);

u64 position_of(std::FILE *stream);

// Size of the file behind the stream, which stays where it is.
u64 file_size(std::FILE *stream);

// 16-bit words of the host out of memory, in the given order in the file.
void write_words(std::FILE *stream, const u8 *words, u64 count, endian order);

// Words that have been read in the given order become words of the host.
void words_to_host(u8 *words, u64 count, endian order);

// 1-bit images, whose lines the check does not size: ceiling(width / 8) bytes, back to back or
// padded to the line alignment. Where the image says one of both, it counts. Other formats have the
// check's line.
u32 packed_bit_line(const tVIQ_Image &image, u32 told);
u32 padded_bit_line(const tVIQ_Image &image, u32 told);

constexpr u64 bit_line_bytes(u32 width) {
    return (u64{width} + 7) / 8;
}

// So many bytes of each line of the current strip, to or from the stream; what the lines hold
// behind them stays. False for a stream that ends or fails.
bool put_lines(std::FILE *stream, const tVIQ_Image &image, u64 line);
bool get_lines(std::FILE *stream, const tVIQ_Image &image, u32 first, u32 lines, u64 line);

// Visits the pixels of lines: all at once where nothing lies between the lines, else line by line.
template <class Visit>
void for_each_run(const tVIQ_Image &image, u32 first, u32 lines, Visit visit) {
    u8 *run = image.data + first * static_cast<std::size_t>(image.bytes_per_line);
    if (image.skip_bytes == 0)
        visit(run, u64{image.width} * lines);
    else
        for (u32 n = 0; n < lines; ++n, run += image.bytes_per_line)
            visit(run, u64{image.width});
}

// The same for lines that the file holds in another form: `unpack` turns one of them, of so many
// bytes, into a line of the image.
using line_unpacker = void (*)(const tVIQ_Image &image, u8 *packed, u8 *line);
u32 get_unpacked_lines(const char *function, std::FILE *stream, const tVIQ_Image &image, u32 first,
                       u32 lines, u64 line, line_unpacker unpack);

// So many lines of a file at a time pass through one buffer.
u32 lines_in_block(u64 line);

// Lines that are not written as they are: `fill` makes file lines of equal length out of as many
// image lines, from line `first` on, a block at a time.
using block_filler = void (*)(const tVIQ_Image &image, u32 first, u32 lines, u64 line, u8 *block);
u32 put_blocks(const char *function, std::FILE *stream, const tVIQ_Image &image, u64 line,
               block_filler fill);

u32 report_format(const char *function, u16 format);

// A file whose header has 16 bits for each side takes no longer ones; none holds a picture without
// pixels.
verdict refuse_size(const char *function, const tVIQ_Image &image, const char *too_large);

inline u32 report_corrupt(const char *function) {
    return report(function, VIQ_ERR_CORRUPT, "Corrupt image");
}

// The open file of a writer, with its sequence.
struct write_state {
    strip_sequence sequence;
    unique_stream file;
};

constexpr std::size_t writer_buffer_size = 16384;

// `buffer_size` 0 leaves the stream's own buffering.
u32 create_file(const char *function, write_state &state, const char *path, std::size_t buffer_size,
                const char *mode = "wb");

// After a strip: a failed write ends the sequence and closes the file.
u32 check_written(const char *function, write_state &state);

// A writer: its file is created and begun on the first strip, and closed after the last one.
struct strip_writer {
    const char *name;
    const char *strip_name;
    write_state *state;
    verdict (*refuse)(const strip_call &call);
    // Null references stand for files without a head or a tail. A write that fails shows later.
    void (*put_head)(std::FILE *file, const tVIQ_Image &image);
    // The current strip; the image has data for it.
    u32 (*put_strip)(std::FILE *file, const tVIQ_Image &image);
    line_rule line = nullptr; // of the strip that is written; null: the check's
    void (*put_tail)(std::FILE *file) = nullptr;
    const char *mode = "wb";
};

u32 run_writer(const strip_writer &writer, u32 hImage, u16 mode);

// The open file of a reader, with its sequence; a format keeps what it needs beside it.
struct read_state {
    strip_sequence sequence;
    unique_stream file;
};

struct read_call {
    std::FILE *file;
    tVIQ_Image &image;
    u32 handle;
    u32 lines_done;
};

struct strip_reader {
    const char *name;
    read_state *state;
    // The file stands at its start. Sets the image's parameters and reports what it refuses.
    u32 (*read_header)(const read_call &call);
    // The image has a buffer for its lines per strip. A failed seek leaves the file open.
    u32 (*read_lines)(const read_call &call);
    bool unbuffered = false;  // the reader asks for whole blocks itself
    line_rule line = nullptr; // of the strip that is read; null: the check's
};

constexpr u32 seek_failed = VIQ_ERR_INTERNAL;

u32 run_reader(const strip_reader &reader, u32 hImage, u16 mode);

} // namespace viq
