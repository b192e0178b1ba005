// Frames from interlaced video fields.
#include <algorithm>
#include <cstring>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"
#include "process/process_rows.h"

using namespace viq;

namespace {

verdict check_second_field(const strip_call &call, const u32 &second);
verdict check_fields_match(const strip_call &call, const u32 &second);
verdict check_field_arguments(const strip_call &call, const u16 &scheme);
verdict check_stacked_fields(const strip_call &call);
output_shape double_height(const strip_call &call);
u32 clear_field_order(const strip_call &call);
u32 weave_fields(const strip_call &call, const u32 &second_handle);
u32 fill_frame(const strip_call &call, const u16 &scheme);
u32 interlace(const strip_call &call);

VIQ_PER_CONTEXT(strip_sequence, two_fields_sequence);
VIQ_PER_CONTEXT(strip_sequence, field_sequence);
VIQ_PER_CONTEXT(strip_sequence, interlace_sequence);

constexpr strip_operation<u32> two_fields_operation = {.name = "VIQ_SPL_2fields_to_frame",
                                                       .worker_name = "VIQ_SPL_2fields_to_frame",
                                                       .sequence = two_fields_sequence,
                                                       .check_before_header = check_second_field,
                                                       .check_pixels = check_fields_match,
                                                       .shape = double_height,
                                                       .process = weave_fields,
                                                       .corrupt = "Corrupt image - parameter 1",
                                                       .corrupt_output = "Corrupt image"};

constexpr strip_operation<u16> field_operation = {.name = "VIQ_SPL_field_to_frame",
                                                  .worker_name = "VIQ_SPL_field_to_frame_1_strip_A",
                                                  .sequence = field_sequence,
                                                  .check_pixels = check_field_arguments,
                                                  .shape = double_height,
                                                  .complete_output = clear_field_order,
                                                  .process = fill_frame,
                                                  .whole_picture = true};

constexpr strip_operation<> interlace_operation = {.name = "VIQ_SPL_interlace_frame",
                                                   .worker_name = "VIQ_SPL_interlace_frame",
                                                   .sequence = interlace_sequence,
                                                   .check_pixels = check_stacked_fields,
                                                   .shape = same_shape,
                                                   .process = interlace,
                                                   .corrupt = "Corrupt input image",
                                                   .corrupt_output = "Corrupt image",
                                                   .whole_picture = true};

constexpr const char *scheme_workers[] = {
    "VIQ_SPL_field_to_frame_1_strip_A", "VIQ_SPL_field_to_frame_1_strip_B",
    "VIQ_SPL_field_to_frame_1_strip_C", "VIQ_SPL_field_to_frame_1_strip_D"};

} // namespace

u32 VIQ_SPL_2fields_to_frame(u32 hInImage, u32 hSecondField, u32 hOutImage, u16 wStripCommand) {
    return run_conversion(two_fields_operation, hInImage, hOutImage, wStripCommand, hSecondField);
}

u32 VIQ_SPL_field_to_frame(u32 hInImage, u32 hOutImage, u16 wScheme, u16 wStripCommand) {
    strip_operation<u16> operation = field_operation;
    if (wScheme >= 1 && wScheme <= std::size(scheme_workers))
        operation.worker_name = scheme_workers[wScheme - 1];
    return run_conversion(operation, hInImage, hOutImage, wStripCommand, wScheme);
}

u32 VIQ_SPL_interlace_frame(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run_conversion(interlace_operation, hInImage, hOutImage, wStripCommand);
}

namespace {

constexpr u16 second_field_first = 2; // value of parameter 23, valid if VIQ_FLAG_20 is set

bool second_comes_first(const tVIQ_Image &field) {
    return (field.flags & VIQ_FLAG_20) != 0 && field.param_23 == second_field_first;
}

output_shape double_height(const strip_call &call) {
    output_shape shape = same_shape(call);
    shape.height = static_cast<u32>(std::min(u64{shape.height} * 2, u64{UINT32_MAX}));
    return shape;
}

void copy_line(const line_view &from, u64 source, const line_view &to, u64 target) {
    std::memcpy(to.line(target), from.line(source), std::min(from.stride, to.stride));
}

// ---- Two fields

u32 report_field_mismatch(const strip_call &call) {
    return report(call.name, VIQ_ERR_UNSUPPORTED, "Fields are different");
}

// If a field has 0 lines per strip, the frame gets only the metadata.
u32 copy_metadata(const strip_call &call) {
    const u32 code = VIQ_image_copy_parameters(call.in_handle, call.out_handle);
    if (is_error(code))
        return code;
    call.out->height = double_height(call).height;
    call.out->lines_per_strip = 0;
    return success;
}

verdict check_second_field(const strip_call &call, const u32 &second) {
    const char *name = call.name;
    const u32 code = check_image(name, second, "Corrupt image - parameter 2");
    if (is_error(code))
        return stop_with(code);
    if (find_image(second) == call.out)
        return stop_with(report_same_image(name));
    return find_image(second)->lines_per_strip != 0 ? proceed : stop_with(copy_metadata(call));
}

verdict check_fields_match(const strip_call &call, const u32 &second) {
    return geometry_of(*call.in) == geometry_of(*find_image(second))
               ? proceed
               : stop_with(report_field_mismatch(call));
}

u32 weave_fields(const strip_call &call, const u32 &second_handle) {
    tVIQ_Image &second = *find_image(second_handle);
    const u32 lines = call.in->lines_per_strip;
    if (second.lines_per_strip < lines)
        return report_field_mismatch(call);
    second.lines_per_strip = lines;
    if (!has_lines(second, lines))
        return report_no_data(call.worker_name);
    if (uses_buffer_of(second, *call.out))
        return report_same_image(call.worker_name);
    call.out->lines_per_strip = 2 * lines;
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const bool swap = second_comes_first(*call.in);
    const line_view upper = lines_of(swap ? second : *call.in);
    const line_view lower = lines_of(swap ? *call.in : second);
    for (u64 n = 0; n < upper.lines; ++n) {
        copy_line(upper, n, lines_of(*call.out), 2 * n);
        copy_line(lower, n, lines_of(*call.out), 2 * n + 1);
    }
    return success;
}

// ---- One field

verdict check_field_arguments(const strip_call &call, const u16 &scheme) {
    const verdict decision =
        accept_formats(call, formats(VIQ_Y8, VIQ_YUV422, VIQ_RGB24),
                       {.message = "Supports Y8, YUV422 and RGB24 only", .or_format = true});
    if (!decision.go_on || (scheme >= 1 && scheme <= std::size(scheme_workers)))
        return decision;
    return stop_with(
        report(call.name, VIQ_ERR_UNSUPPORTED | scheme, "Invalid Interpolation Scheme"));
}

u32 clear_field_order(const strip_call &call) {
    call.out->param_23 = 0;
    return success;
}

// Interpolates along edges. In YUV 4:2:2 only the luma follows edges, the chroma is the mean of
// both lines.
void directed_line(const tVIQ_Image &field, const u8 *a, const u8 *b, u8 *target) {
    const process_kernels &rows = process_rows();
    const u32 pixel_stride = bytes_per_pixel(field);
    const u32 bytes = field.bytes_per_line;
    rows.mean(a, b, target, bytes);
    const u32 pixels = field.width * pixel_stride;
    if (pixels <= 4 * pixel_stride)
        return;
    if (field.pixel_format != VIQ_YUV422)
        return rows.directed(a, b, target, 2 * pixel_stride, pixels - 2 * pixel_stride,
                             pixel_stride);
    constexpr u32 part = 1024; // bytes; every second one is unused chroma
    u8 directed[part];
    for (u32 x = 2 * pixel_stride; x < pixels - 2 * pixel_stride; x += part) {
        const u32 count = std::min(part, pixels - 2 * pixel_stride - x);
        rows.directed(a + x, b + x, directed, 0, count, pixel_stride);
        for (u32 n = 0; n < count; n += 2)
            target[x + n] = directed[n];
    }
}

// Interpolates the line between line n and the next one.
void interpolate_line(const strip_call &call, u32 scheme, u64 n, u8 *target) {
    const line_view in = lines_of(*call.in);
    const u64 last = in.lines - 1;
    const u8 *a = in.line(n);
    const u8 *b = in.line(std::min(n + 1, last));
    switch (scheme) {
    case 2:
        return process_rows().mean(a, b, target, in.stride);
    case 3:
        return directed_line(*call.in, a, b, target);
    default:
        return process_rows().cubic(in.line(n > 0 ? n - 1 : 0), a, b,
                                    in.line(std::min(n + 2, last)), target, in.stride);
    }
}

u32 fill_frame(const strip_call &call, const u16 &scheme) {
    const u32 lines = lines_with_pixels(*call.in);
    call.out->lines_per_strip = call.out->height;
    const u32 code = begin_strip(call);
    if (is_error(code) || lines == 0)
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    u64 to = 0;
    if (scheme == 1) {
        for (; to < out.lines; ++to)
            copy_line(in, std::min(to / 2, u64{lines - 1}), out, to);
        return success;
    }
    if (second_comes_first(*call.in))
        copy_line(in, 0, out, to++);
    for (u64 n = 0; n + 1 < lines; ++n, to += 2) {
        copy_line(in, n, out, to);
        interpolate_line(call, scheme, n, out.line(to + 1));
    }
    for (; to < out.lines; ++to)
        copy_line(in, lines - 1, out, to);
    return success;
}

// ---- Two fields in one image

verdict check_stacked_fields(const strip_call &call) {
    const char *name = call.name;
    if (call.in->param_23 != 4 && call.in->param_23 != 5)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Field order ID not set up"));
    if (call.in->lines_per_strip != call.in->height)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Can only process full image"));
    return proceed;
}

// If the number of lines is odd, the last one belongs to neither field and keeps its position.
u32 interlace(const strip_call &call) {
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    const u64 half = in.lines / 2;
    for (u64 n = 0; n < half; ++n) {
        copy_line(in, n, out, 2 * n);
        copy_line(in, half + n, out, 2 * n + 1);
    }
    if (in.lines % 2 != 0)
        copy_line(in, in.lines - 1, out, in.lines - 1);
    return success;
}

} // namespace
