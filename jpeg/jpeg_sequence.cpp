// Joining the data of strips, and sequences of frames.
#include <cstring>

#include "core/file_io.h"
#include "core/geometry.h"
#include "core/report.h"
#include "core/strip_driver.h"
#include "jpeg/jpeg_markers.h"
#include "jpeg/jpeg_record.h"
#include "jpeg/scan_tokens.h"

using namespace viq;

namespace {

constexpr u64 separator_size = 2;

VIQ_PER_CONTEXT(strip_sequence, building);

bool append(tVIQ_Image &image, const u8 *bytes, u32 count);
recoding append_frame(const tVIQ_Image &frame, tVIQ_Image &sequence);
u32 find_frame(const char *function, u32 hJpegImage, u32 frame);
const u8 *find_after_separator(const u8 *at, const u8 *end);
u32 shrink(const char *function, u32 hJpegImage);

} // namespace

// The data of the frames is joined without changes. It must therefore be one scan that was split at
// arbitrary bytes. Strips that were compressed separately do not form a scan: each one starts with
// DC predictors of 0 and ends with padding bits.
u32 VIQ_JPEG_build_image(u32 hJpegFrame, u32 hJpegOut, u16 wMode) {
    constexpr const char *name = "VIQ_JPEG_build_image";
    if (called_by_handler())
        return VIQ_ERR_STATE;
    if (find_image(hJpegFrame) == nullptr)
        return report(name, VIQ_ERR_HANDLE, "Input image does not exist");
    if (find_image(hJpegOut) == nullptr)
        return report(name, VIQ_ERR_HANDLE, "Output image does not exist");
    u32 code = check_image(name, hJpegFrame);
    if (is_error(code))
        return code;
    const tVIQ_Image &frame = *find_image(hJpegFrame);
    tVIQ_Image &out = *find_image(hJpegOut);
    if (frame.lines_per_strip == 0)
        return success;
    code = check_record(name, hJpegFrame);
    if (!is_error(code))
        code = check_record(name, hJpegOut);
    if (is_error(code))
        return code;
    if (frame.jpeg == out.jpeg)
        return report_same_image(name);
    if (!building->under_way) {
        code = VIQ_image_copy_parameters(hJpegFrame, hJpegOut);
        if (is_error(code))
            return code;
        out.jpeg->data_length = 0;
        out.lines_per_strip = out.height;
        code = VIQ_JPEG_malloc_data(hJpegOut);
        if (is_error(code))
            return code;
        *building = {true, 0, {}};
    }
    join_sequence(*building, &frame, &out);
    u64 lines = building->lines_done;
    if (wMode == VIQ_STRIP_NEXT) {
        if (!has_data(frame)) {
            *building = {};
            return report_no_data(name);
        }
        if (!append(out, frame.jpeg->data, frame.jpeg->data_length)) {
            *building = {};
            return report_no_memory(name, u64{out.jpeg->data_length} + frame.jpeg->data_length);
        }
        lines += frame.lines_per_strip;
        building->lines_done = static_cast<u32>(lines);
    }
    if (lines < frame.height && wMode != VIQ_STRIP_FINISH)
        return success;
    *building = {};
    out.jpeg->data_ptr = out.jpeg->data;
    return holds_locked_data(out) ? success : VIQ_JPEG_sequence_build(0, hJpegOut);
}

u32 VIQ_JPEG_sequence_build(u32 hJpegFrame, u32 hJpegSequence) {
    constexpr const char *name = "VIQ_JPEG_sequence_build";
    if (find_image(hJpegSequence) == nullptr)
        return report(name, VIQ_ERR_HANDLE, "Output image does not exist");
    if (const u32 code = check_record(name, hJpegSequence); is_error(code))
        return code;
    if (hJpegFrame == 0)
        return shrink(name, hJpegSequence);
    if (const u32 code = check_record(name, hJpegFrame); is_error(code))
        return code;
    const tVIQ_Image &frame = *find_image(hJpegFrame);
    tVIQ_Image &sequence = *find_image(hJpegSequence);
    if (frame.jpeg == sequence.jpeg)
        return report_same_image(name);
    if (!has_data(frame))
        return report_no_data(name);
    constexpr u8 separator[separator_size] = {0xFF, marker_rst0};
    const u32 before = sequence.jpeg->data_length;
    recoding appended = recoding::no_memory;
    if (before == 0 || append(sequence, separator, separator_size))
        appended = append_frame(frame, sequence);
    if (appended != recoding::good)
        sequence.jpeg->data_length = before;
    if (appended == recoding::corrupt)
        return report(name, VIQ_ERR_CORRUPT, "Corrupt image");
    if (appended == recoding::lacks_symbols)
        return report(name, VIQ_ERR_STATE, "Huffman codes lack symbols");
    if (appended == recoding::no_memory)
        return report_no_memory(name, u64{before} + separator_size + frame.jpeg->data_length);
    ++sequence.param_18;
    return success;
}

u32 VIQ_JPEG_sequence_calc_length(u32 hJpegImage) {
    constexpr const char *name = "VIQ_JPEG_sequence_calc_length";
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(name, hJpegImage, record); is_error(code))
        return code;
    if (record->file == nullptr)
        return report(name, VIQ_ERR_HANDLE, "JPEG file not opened");
    const u64 here = position_of(record->file);
    u32 frames = 1;
    if (!seek_to(record->file, record->data_start))
        return report(name, VIQ_ERR_SYSTEM, "Failed to read from file");
    for (int c = std::fgetc(record->file); c != EOF; c = std::fgetc(record->file)) {
        if (c != 0xFF)
            continue;
        c = std::fgetc(record->file);
        if (c == EOF || (c != 0 && !separates_frames(static_cast<u8>(c))))
            break;
        frames += c != 0;
    }
    find_image(hJpegImage)->param_18 = frames;
    return seek_to(record->file, here) ? success
                                       : report(name, VIQ_ERR_SYSTEM, "Failed to read from file");
}

u32 VIQ_JPEG_sequence_set_start_frame(u32 hJpegImage, u32 dwFrame) {
    constexpr const char *name = "VIQ_JPEG_sequence_set_start_frame";
    if (const u32 code = check_record(name, hJpegImage); is_error(code))
        return code;
    if (dwFrame > find_image(hJpegImage)->param_18)
        return report(name, VIQ_ERR_PARAMETER, "starting frame > number of frames");
    return find_frame(name, hJpegImage, dwFrame);
}

u32 VIQ_JPEG_sequence_extract_frame(u32 hJpegSequence, u32 hJpegFrame, u32 dwFrame) {
    constexpr const char *name = "VIQ_sequence_JPEG_extract_frame";
    u32 code = check_record(name, hJpegSequence);
    if (!is_error(code))
        code = check_record(name, hJpegFrame);
    if (is_error(code))
        return code;
    tVIQ_Image &sequence = *find_image(hJpegSequence);
    tVIQ_Image &frame = *find_image(hJpegFrame);
    if (sequence.jpeg == frame.jpeg)
        return report_same_image(name);
    const u32 frames = sequence.param_18;
    if (dwFrame > frames)
        return report(name, VIQ_ERR_PARAMETER, "frame number > number of frames");
    if (!has_data(sequence))
        return report_no_data(name);
    code = find_frame(name, hJpegSequence, dwFrame);
    if (is_error(code))
        return code;
    const u8 *start = sequence.jpeg->data_ptr;
    const u8 *end = sequence.jpeg->data + sequence.jpeg->data_length;
    // The extracted frame includes the separator after it.
    if (dwFrame < frames)
        end = find_after_separator(start, end);
    if (end == nullptr)
        return report(name, VIQ_ERR_CORRUPT, "Frame separator not found");
    const auto length = static_cast<u32>(end - start);

    code = VIQ_image_copy_parameters(hJpegSequence, hJpegFrame);
    if (is_error(code))
        return code;
    if (!holds_locked_data(frame))
        frame.flags &= ~VIQ_FLAG_LOCKED;
    frame.param_18 = 1;
    frame.jpeg->data_length = 0;
    code = VIQ_JPEG_malloc_N_bytes_data(hJpegFrame, length);
    if (is_error(code))
        return code;
    return append(frame, start, length) ? success : report_no_memory(name, length);
}

namespace {

bool append(tVIQ_Image &image, const u8 *bytes, u32 count) {
    Tjpeg &record = *image.jpeg;
    const u64 length = u64{record.data_length} + count;
    if (!grow_data(image, length))
        return false;
    if (count != 0)
        std::memcpy(record.data + record.data_length, bytes, count);
    record.data_length = static_cast<u32>(length);
    return true;
}

// A sequence has one set of Huffman tables.
recoding append_frame(const tVIQ_Image &frame, tVIQ_Image &sequence) {
    if (has_other_codes(*frame.jpeg, *sequence.jpeg))
        return append_recoded(frame, sequence);
    return append(sequence, frame.jpeg->data, frame.jpeg->data_length) ? recoding::good
                                                                       : recoding::no_memory;
}

u32 shrink(const char *function, u32 hJpegImage) {
    tVIQ_Image &image = *find_image(hJpegImage);
    if (image.jpeg->data != nullptr && !has_data(image))
        return report(function, VIQ_ERR_CORRUPT, "Corrupt image");
    return shrink_data(image) ? success : report_no_memory(function, image.jpeg->data_length);
}

// The address after the next separator, or null.
const u8 *find_after_separator(const u8 *at, const u8 *end) {
    for (; end - at >= 2; ++at)
        if (at[0] == 0xFF && at[1] == marker_rst0)
            return at + separator_size;
    return nullptr;
}

bool skip_to_separator(std::FILE *file) {
    int before = 0;
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
        if (before == 0xFF && c == marker_rst0)
            return true;
        before = c;
    }
    return false;
}

// Positions data_ptr and the open file at the start of a frame.
u32 find_frame(const char *function, u32 hJpegImage, u32 frame) {
    tVIQ_Image &image = *find_image(hJpegImage);
    Tjpeg &record = *image.jpeg;
    if (frame == 0)
        return report(function, VIQ_ERR_PARAMETER, "starting frame is 0");
    if (record.file != nullptr && !seek_to(record.file, record.data_start))
        return report(function, VIQ_ERR_SYSTEM, "Failed to read from file");
    if (record.data == nullptr && record.file == nullptr)
        return report_no_data(function);
    if (record.data != nullptr && !has_data(image))
        return report_no_data(function);
    image.param_19 = 1;
    record.data_ptr = record.data;
    while (image.param_19 < frame) {
        if (record.file != nullptr && !skip_to_separator(record.file))
            return report(function, VIQ_ERR_CORRUPT, "Frame separator not found");
        if (record.data != nullptr) {
            const u8 *next =
                find_after_separator(record.data_ptr, record.data + record.data_length);
            if (next == nullptr)
                return report(function, VIQ_ERR_CORRUPT, "Frame separator not found");
            record.data_ptr = record.data + (next - record.data);
        }
        ++image.param_19;
    }
    return success;
}

} // namespace
