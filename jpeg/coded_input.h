// Coded data of a scan, from memory or from an open file, as a window of bits that moves along.
#pragma once

#include "jpeg/jpeg_record.h"
#include "jpeg/scan_reader.h"

namespace viq {

struct coded_input {
    const u8 *data = nullptr;  // in memory
    std::FILE *file = nullptr; // or in a file, from `start` on
    u64 start = 0;
    u64 length = 0;
    u64 next = 0; // offset of the first byte that is not in the window

    // Bytes of the file around `next`.
    vector<u8> block;
    u64 block_start = 0;
};

// The data of a record: its buffer or, if it has none, the rest of its open file.
coded_input coded_input_of(const Tjpeg &record);

// The record has data, or a file from which it can be read.
bool has_coded_input(const tVIQ_Image &image);

// The record still has the data of the input.
bool is_input_of(const coded_input &input, const Tjpeg &record);

// Starts an interval at `next`: up to the next restart or end marker, or the end of the data.
u32 begin_interval(coded_input &input, scan_reader &reader);

// Fills the window with at least `bytes` bytes, or with the rest of the interval; returns a
// reported error. Call it before the blocks that can take so many bytes are read.
u32 fill_window(coded_input &input, scan_reader &reader, std::size_t bytes);

// Skips the rest of the interval. Returns the code of the marker that ends it, 0 if the data has
// ended.
u8 skip_to_marker(coded_input &input, scan_reader &reader);

} // namespace viq
