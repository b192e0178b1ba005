// What the readers and writers of files share: streams beyond 2 GiB, creation, closing, and the
// strip protocol of reading.
#pragma once

#include <cstdio>
#include <memory>

#include "core/byte_order.h"
#include "core/strip_driver.h"

namespace viq {

bool seek_to(std::FILE *stream, u64 position);

// Size of the file behind the stream, which stays where it is.
u64 file_size(std::FILE *stream);

// 16-bit words of the host out of memory, in the given order in the file.
void write_words(std::FILE *stream, const u8 *words, u64 count, endian order);

struct stream_closer {
    void operator()(std::FILE *stream) const { std::fclose(stream); }
};
using unique_stream = std::unique_ptr<std::FILE, stream_closer>;

// The open file of a writer, with its sequence.
struct write_state {
    strip_sequence sequence;
    unique_stream file;
};

constexpr std::size_t writer_buffer_size = 16384;

// `buffer_size` 0 leaves the stream's own buffering.
u32 create_file(const char *function, write_state &state, const char *path, std::size_t buffer_size,
                const char *mode = "wb");

// Every byte has reached the file, or the failure is reported here.
u32 close_file(const char *function, unique_stream &file);

// After a strip: a failed write ends the sequence and closes the file.
u32 check_written(const char *function, write_state &state);

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
    const char *open_mode = "rb";
    bool unbuffered = false; // the reader asks for whole blocks itself
};

constexpr u32 seek_failed = VIQ_ERR_INTERNAL;

u32 run_reader(const strip_reader &reader, u32 hImage, u16 mode);

} // namespace viq
