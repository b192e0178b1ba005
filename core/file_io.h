// File streams: positions beyond 2 GiB, files that close themselves, and the rule that a failed
// write is reported at the latest when the file is closed.
#pragma once

#include <cstdio>
#include <memory>

#include "core/strip_driver.h"

namespace viq {

// Opens every file of the library; null: failed, errno says why. Tests let another function open
// files whose operations fail (null: fopen()).
std::FILE *open_file(const char *path, const char *mode);
using file_opener = std::FILE *(*)(const char *path, const char *mode);
void set_file_opener(file_opener opener);

struct stream_closer {
    void operator()(std::FILE *stream) const { std::fclose(stream); }
};
using unique_stream = std::unique_ptr<std::FILE, stream_closer>;

// Closes the file and reports a failure of any write to it. NULL is a success.
u32 close_file(const char *function, unique_stream &file);

// What readers and writers open in the calling thread's context instead of the file that an image
// names.
struct substitute_file {
    const char *path = nullptr; // to read; may be longer than the name in an image
    const u8 *data = nullptr;   // to read, if there is no path
    u64 size = 0;
    std::FILE *target = nullptr; // to write; closed by the writer that takes it
};

// The functions below use a substitute while the object exists.
struct file_substitution {
    explicit file_substitution(const substitute_file &used);
    file_substitution(const file_substitution &) = delete;
    file_substitution &operator=(const file_substitution &) = delete;
    ~file_substitution();
};

std::FILE *open_to_read(const char *path);
std::FILE *open_to_write(const char *path);

bool seek_to(std::FILE *stream, u64 position);

// 0 if the position is unknown.
u64 position_of(std::FILE *stream);

// Size of the file in bytes, 0 if it is unknown; the position of the stream does not change.
u64 file_size(std::FILE *stream);

// An open file and the strip sequence that reads or writes it.
struct file_sequence {
    strip_sequence sequence; // first, see sequence_place
    unique_stream file;
};

// Ends the sequence and closes the file without a report.
void drop(file_sequence &state);

// The same if the image takes part in it. A file that is being written keeps what it has.
void end_sequences(file_sequence &state, const tVIQ_Image *image);

// Creates a file with the buffer of a writer, 16384 bytes.
u32 create_file(const char *function, file_sequence &state, const char *path);

// Called after each strip: reports a failed write, ends the sequence and closes the file.
u32 check_written(const char *function, file_sequence &state);

} // namespace viq
