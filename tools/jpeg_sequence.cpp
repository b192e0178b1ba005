#include "tools/jpeg_sequence.h"

#include <cstring>
#include <utility>

namespace tool {

namespace {

// The frames of a sequence share one header.
void require_same_header(const image &first, const image &next, const std::string &file) {
    const Tjpeg &a = record_of(first);
    const Tjpeg &b = record_of(next);
    const bool same_size = VIQ_get_width(first.handle) == VIQ_get_width(next.handle) &&
                           VIQ_get_height(first.handle) == VIQ_get_height(next.handle) &&
                           format_of(first.handle) == format_of(next.handle);
    if (!same_size)
        throw failure{file + ": size or components differ from the first frame"};
    if (std::memcmp(a.q_tables, b.q_tables, sizeof a.q_tables) != 0 ||
        std::memcmp(a.h_bits, b.h_bits, sizeof a.h_bits) != 0 ||
        std::memcmp(a.h_vals, b.h_vals, sizeof a.h_vals) != 0)
        throw failure{file + ": tables differ from the first frame"};
}

// The library extracts a frame together with the marker that follows it.
void remove_separator(const image &frame) {
    constexpr uint32_t marker_size = 2;
    constexpr uint8_t marker_start = 0xFF; // followed by 0: a byte of data
    const Tjpeg &record = record_of(frame);
    const uint32_t length = record.data_length;
    if (length >= marker_size && record.data[length - 2] == marker_start &&
        record.data[length - 1] != 0)
        VIQ_image_set_parameter(frame.handle, VIQ_JPEG_PARAM, length - marker_size);
}

} // namespace

void append_frames(image &sequence, image frames, const std::string &file) {
    if (sequence.handle == 0) {
        sequence = std::move(frames);
        return;
    }
    require_same_header(sequence, frames, file);
    const uint32_t count = frame_count(sequence) + frame_count(frames);
    check(VIQ_JPEG_sequence_build(frames.handle, sequence.handle), file);
    set_frame_count(sequence, count);
}

image extract_frame(const image &sequence, uint32_t number, const std::string &file) {
    image frame = make_jpeg();
    check(VIQ_JPEG_sequence_extract_frame(sequence.handle, frame.handle, number), file);
    remove_separator(frame);
    return frame;
}

} // namespace tool
