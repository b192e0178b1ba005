#include "core/memory_image.h"

#include <cstring>

#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "core/strip_driver.h"

using namespace viq;

namespace {

constexpr const char *write_name = "VIQ_write_to_memory";
constexpr const char *read_name = "VIQ_read_from_memory";

VIQ_PER_CONTEXT(strip_sequence, writing);
VIQ_PER_CONTEXT(strip_sequence, reading);

struct memory_target {
    u32 handle;
};

u32 begin_write(const strip_call &call, const memory_target &target);
u32 append_strip(const strip_call &call, const memory_target &target);
u32 hand_out_strip(const tVIQ_Image &memory, tVIQ_Image &strip, u32 hStrip);

constexpr strip_transfer<memory_target> write_transfer = {
    .name = write_name,
    .sequence = writing,
    .begin = begin_write,
    .process = append_strip,
    .corrupt = "Corrupt input image",
    .line = present_bit_line,
};

bool same_image(u32 hOne, u32 hOther) {
    const tVIQ_Image *one = find_image(hOne);
    return one != nullptr && one == find_image(hOther);
}

u8 *line_address(const tVIQ_Image &image, u32 line) {
    return image.data + static_cast<std::size_t>(strip_size(image, line));
}

} // namespace

u32 VIQ_write_to_memory(u32 hStrip, u32 hMemory, u16 wMode) {
    if (wMode != VIQ_STRIP_NEXT && wMode != VIQ_STRIP_FINISH)
        return success;
    if (wMode == VIQ_STRIP_NEXT && same_image(hStrip, hMemory))
        return report_same_image(write_name);
    const memory_target target = {hMemory};
    return run_transfer(write_transfer, hStrip, wMode, target);
}

u32 VIQ_read_from_memory(u32 hMemory, u32 hStrip, u16 wMode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    if (wMode == VIQ_STRIP_FINISH) {
        *reading = {};
        return success;
    }
    if (wMode != VIQ_STRIP_NEXT)
        return success;
    if (same_image(hMemory, hStrip))
        return report_same_image(read_name);
    u32 code = check_image_with_lines(read_name, hMemory, "Corrupt input image");
    if (is_error(code))
        return code;
    const tVIQ_Image &memory = *find_image(hMemory);
    if (memory.lines_per_strip == 0)
        return success;
    if (!reading->under_way)
        code = begin_read_from_memory(hMemory, hStrip);
    else
        code = check_image(read_name, hStrip, "Corrupt output image");
    return is_error(code) ? code : hand_out_strip(memory, *find_image(hStrip), hStrip);
}

namespace viq {

u32 begin_read_from_memory(u32 hMemory, u32 hStrip) {
    if (same_image(hMemory, hStrip))
        return report_same_image(read_name);
    u32 code = check_image_with_lines(read_name, hMemory, "Corrupt input image");
    if (!is_error(code))
        code = VIQ_image_copy_parameters(hMemory, hStrip);
    if (!is_error(code))
        code = check_image(read_name, hStrip, "Corrupt output image");
    if (is_error(code))
        return code;
    *reading = {true, 0, geometry_of(*find_image(hMemory))};
    return success;
}

} // namespace viq

namespace {

u32 begin_write(const strip_call &call, const memory_target &target) {
    const u32 hMemory = target.handle;
    u32 code = VIQ_image_copy_parameters(call.in_handle, hMemory);
    if (!is_error(code))
        code = check_image(write_name, hMemory, "Corrupt output image");
    if (is_error(code))
        return code;
    tVIQ_Image &memory = *find_image(hMemory);
    if (uses_buffer_of(*call.in, memory))
        return report_same_image(write_name);
    memory.lines_per_strip = memory.height;
    return success;
}

u32 append_strip(const strip_call &call, const memory_target &target) {
    const tVIQ_Image *memory = find_image(target.handle);
    const tVIQ_Image &strip = *call.in;
    // The length of 1-bit lines is known now.
    if (memory != nullptr && writing->lines_done == 0)
        if (const u32 code = renew_strip(target.handle, strip.bytes_per_line); is_error(code)) {
            *writing = {};
            return code;
        }
    if (strip.lines_per_strip == 0)
        return success;
    const u64 end = u64{writing->lines_done} + strip.lines_per_strip;
    strip_geometry expected = writing->geometry;
    expected.bytes_per_line = strip.bytes_per_line;
    if (memory == nullptr || geometry_of(*memory) != expected || !has_lines(*memory, end)) {
        *writing = {};
        return report_changed_image(write_name);
    }
    if (!has_lines(strip, strip.lines_per_strip))
        return report_no_data(write_name);
    join_sequence(*writing, call.in, memory);
    std::memmove(line_address(*memory, writing->lines_done), strip.data,
                 static_cast<std::size_t>(strip_size(strip, strip.lines_per_strip)));
    return success;
}

u32 hand_out_strip(const tVIQ_Image &memory, tVIQ_Image &strip, u32 hStrip) {
    strip_sequence &sequence = *reading;
    strip.bytes_per_line = packed_bit_line(strip, memory.bytes_per_line);
    if (sequence.geometry != geometry_of(memory) || sequence.geometry != geometry_of(strip)) {
        sequence = {};
        return report_changed_image(read_name);
    }
    join_sequence(sequence, &memory, &strip);
    const bool last = clip_last_strip(strip, sequence.lines_done);
    if (!has_lines(memory, u64{sequence.lines_done} + strip.lines_per_strip))
        return report_no_data(read_name);
    if (uses_buffer_of(memory, strip))
        return report_same_image(read_name);
    const u32 code = renew_strip(hStrip, memory.bytes_per_line);
    if (is_error(code))
        return code;
    std::memmove(strip.data, line_address(memory, sequence.lines_done),
                 static_cast<std::size_t>(strip_size(strip, strip.lines_per_strip)));
    sequence.lines_done += strip.lines_per_strip;
    if (last)
        sequence = {};
    return success;
}

} // namespace
