#include "tools/sequence.h"

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "tools/jpeg.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

// Frames of a sequence share one header.
void demand_same_header(const image &first, const image &next, const std::string &file);

u32 frame_count(const image &sequence) {
    return VIQ_image_get_parameter(sequence.handle, VIQ_PARAM_18);
}

// The separator that a frame keeps is no part of its picture.
void drop_separator(const image &frame) {
    const Tjpeg &record = record_of(frame);
    const u32 length = record.data_length;
    if (length >= 2 && record.data[length - 2] == 0xFF && record.data[length - 1] != 0)
        VIQ_image_set_parameter(frame.handle, VIQ_JPEG_PARAM, length - 2);
}

} // namespace

int build_sequence(const std::string &out, const std::vector<std::string> &frames) {
    const image sequence = read_jpeg(frames.front());
    u32 count = frame_count(sequence);
    for (std::size_t i = 1; i < frames.size(); ++i) {
        const image frame = read_jpeg(frames[i]);
        demand_same_header(sequence, frame, frames[i]);
        check(VIQ_JPEG_sequence_build(frame.handle, sequence.handle), frames[i]);
        count += frame_count(frame);
    }
    VIQ_image_set_parameter(sequence.handle, VIQ_PARAM_18, count);
    put_jpeg(sequence, out);
    std::printf("wrote %s: %u frames\n", out.c_str(), static_cast<unsigned>(count));
    return 0;
}

int split_sequence(const std::string &in, const std::string &folder) {
    const image sequence = read_jpeg(in);
    std::error_code trouble;
    fs::create_directories(folder, trouble);
    if (trouble)
        throw failure{folder + ": " + trouble.message()};
    for (u32 n = 1; n <= frame_count(sequence); ++n) {
        const image frame = make_jpeg();
        check(VIQ_JPEG_sequence_extract_frame(sequence.handle, frame.handle, n), in);
        drop_separator(frame);
        char name[32];
        std::snprintf(name, sizeof name, "frame%04u.jpg", static_cast<unsigned>(n));
        const std::string path = (fs::path(folder) / name).string();
        put_jpeg(frame, path);
        std::printf("wrote %s\n", path.c_str());
    }
    return 0;
}

int describe_sequence(const std::string &in) {
    const image sequence = read_jpeg(in);
    const u32 frames = frame_count(sequence);
    std::printf("%s: %u x %u, %u frames\n", in.c_str(),
                static_cast<unsigned>(VIQ_get_width(sequence.handle)),
                static_cast<unsigned>(VIQ_get_height(sequence.handle)),
                static_cast<unsigned>(frames));
    for (u32 n = 1; n <= frames; ++n) {
        const image frame = make_jpeg();
        check(VIQ_JPEG_sequence_extract_frame(sequence.handle, frame.handle, n), in);
        drop_separator(frame);
        std::printf("frame %u: %u bytes\n", static_cast<unsigned>(n),
                    static_cast<unsigned>(record_of(frame).data_length));
    }
    return 0;
}

namespace {

void demand_same_header(const image &first, const image &next, const std::string &file) {
    const Tjpeg &a = record_of(first);
    const Tjpeg &b = record_of(next);
    const bool same_size = VIQ_get_width(first.handle) == VIQ_get_width(next.handle) &&
                           VIQ_get_height(first.handle) == VIQ_get_height(next.handle) &&
                           format_of(first.handle) == format_of(next.handle);
    if (!same_size)
        throw failure{file + ": size and colours differ from the first frame"};
    if (std::memcmp(a.q_tables, b.q_tables, sizeof a.q_tables) != 0 ||
        std::memcmp(a.h_bits, b.h_bits, sizeof a.h_bits) != 0 ||
        std::memcmp(a.h_vals, b.h_vals, sizeof a.h_vals) != 0)
        throw failure{file + ": tables differ from the first frame"};
}

} // namespace

} // namespace tool
