// Mirroring of images and rectangles, rotation by multiples of 90 degrees.
#include <algorithm>
#include <cstring>

#include "core/format_checks.h"
#include "core/process_lines.h"
#include "core/report.h"
#include "process/crop.h"
#include "process/insert.h"
#include "process/process_rows.h"

using namespace viq;

namespace {

verdict check_mirror_input(const strip_call &call);
verdict check_rotate_arguments(const strip_call &call, const u16 &angle);
output_shape rotated(const strip_call &call, const u16 &angle);
u32 mirror_lines(const strip_call &call);
u32 rotate_picture(const strip_call &call, const u16 &angle);
u32 mirror_cropped(strip_sequence &sequence, u32 hInImage, u32 hOutImage, const rectangle &area,
                   u16 mode);
u32 mirror_into(u32 hCropImage, u32 hOutImage, u64 x, u64 y);

VIQ_PER_CONTEXT(strip_sequence, mirror_sequence);
VIQ_PER_CONTEXT(strip_sequence, rotate_sequence);
VIQ_PER_CONTEXT(strip_sequence, rectangle_sequence);

constexpr strip_operation<> make_mirror(sequence_place sequence) {
    return {.name = "VIQ_IP_mirror_image",
            .worker_name = "VIQ_IP_mirror_image_1_strip",
            .sequence = sequence,
            .check_pixels = check_mirror_input,
            .shape = same_shape,
            .process = mirror_lines,
            .bare_parameters = true};
}

constexpr strip_operation<u16> rotate_operation = {.name = "VIQ_IP_rotate_image",
                                                   .worker_name = "VIQ_IP_rotate_image_1_strip",
                                                   .sequence = rotate_sequence,
                                                   .check_pixels = check_rotate_arguments,
                                                   .shape = rotated,
                                                   .process = rotate_picture,
                                                   .bare_parameters = true,
                                                   .whole_picture = true};

} // namespace

u32 VIQ_IP_mirror_image(u32 hInImage, u32 hOutImage, u16 wMode) {
    return run_conversion(make_mirror(mirror_sequence), hInImage, hOutImage, wMode);
}

u32 VIQ_IP_mirror(u32 hInImage, u32 hOutImage, i16 x, i16 y, i16 width, i16 height, u16 wMode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    if (wMode == VIQ_STRIP_FINISH) {
        *rectangle_sequence = {};
        return success;
    }
    const u32 code = VIQ_image_copy(hInImage, hOutImage);
    if (is_error(code) || VIQ_get_lines_this_strip(hInImage) == 0)
        return code;
    return mirror_cropped(*rectangle_sequence, hInImage, hOutImage, {x, y, width, height}, wMode);
}

u32 VIQ_IP_rotate_image(u32 hInImage, u32 hOutImage, u16 wAngle) {
    return run_conversion(rotate_operation, hInImage, hOutImage, VIQ_STRIP_NEXT, wAngle);
}

namespace {

constexpr format_set supported_formats =
    formats(VIQ_Y8, VIQ_Y16, VIQ_PALETTED, VIQ_RGB8, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_BGR24,
            VIQ_YUV422, VIQ_XRGB32, VIQ_CMYK32) |
    rgb_32_formats;

verdict check_mirror_input(const strip_call &call) {
    const verdict decision = accept_formats(call, supported_formats);
    return decision.go_on ? accept_even(call, call.in->width) : decision;
}

void reverse_line(const tVIQ_Image &image, const u8 *from, u8 *to) {
    if (image.pixel_format == VIQ_YUV422)
        process_rows().reverse_pairs(from, to, image.width / 2);
    else
        process_rows().reverse[bytes_per_pixel(image)](from, to, image.width);
}

u32 mirror_lines(const strip_call &call) {
    return process_lines(call,
                         [&](const u8 *from, u8 *to, u64) { reverse_line(*call.in, from, to); });
}

// ---- A rectangle: cropped, mirrored and inserted again, strip by strip

u32 mirror_cropped(strip_sequence &sequence, u32 hInImage, u32 hOutImage, const rectangle &area,
                   u16 mode) {
    constexpr const char *name = "VIQ_IP_mirror";
    const scoped_image cropped;
    if (is_error(cropped.handle))
        return report(name, cropped.handle, "VIQ_image_create(hCropImage) failed");
    const u64 done = sequence.lines_done;
    if (sequence.under_way) {
        // An unfinished crop continues with the output of its first strip, which is set up again
        // here.
        const u32 code = VIQ_image_copy_parameters(hInImage, cropped.handle);
        if (is_error(code))
            return code;
        tVIQ_Image &out = *find_image(cropped.handle);
        out.width = static_cast<u32>(std::min(area.width, out.width - area.x));
        out.height = static_cast<u32>(std::min(area.height, out.height - area.y));
    }
    const u32 code = crop(sequence, hInImage, cropped.handle, area, mode);
    sequence.out = nullptr; // the next strip has another image
    if (is_error(code) || mode != VIQ_STRIP_NEXT)
        return code;
    find_image(hOutImage)->lines_per_strip = VIQ_get_lines_this_strip(hInImage);
    if (VIQ_get_lines_this_strip(cropped.handle) == 0)
        return success;
    const u64 top = static_cast<u64>(area.y);
    return mirror_into(cropped.handle, hOutImage, static_cast<u64>(area.x),
                       top > done ? top - done : 0);
}

u32 mirror_into(u32 hCropImage, u32 hOutImage, u64 x, u64 y) {
    const scoped_image mirrored;
    if (is_error(mirrored.handle))
        return report("VIQ_IP_mirror", mirrored.handle, "VIQ_image_create(hMirroredImage) failed");
    strip_sequence sequence;
    const u32 code =
        run_conversion(make_mirror(sequence), hCropImage, mirrored.handle, VIQ_STRIP_NEXT);
    if (is_error(code))
        return code;
    const tVIQ_Image &image = *find_image(mirrored.handle);
    const tVIQ_Image &out = *find_image(hOutImage);
    // The copy of an image with JPEG data copies that data, not the pixels.
    if (!has_lines(out, y + image.lines_per_strip))
        return report_no_data("VIQ_IP_mirror");
    insert_lines(out, x, y, image, image.lines_per_strip);
    return success;
}

// ---- Rotation

bool exchanges_sides(u32 angle) {
    return angle == 90 || angle == 270;
}

verdict check_rotate_arguments(const strip_call &call, const u16 &angle) {
    const char *name = call.name;
    verdict decision = accept_formats(call, supported_formats);
    if (!decision.go_on)
        return decision;
    if (angle > 270 || angle % 90 != 0)
        return stop_with(
            report(name, VIQ_ERR_UNSUPPORTED, "Only angles of 0, 90, 180 and 270 supported"));
    decision = accept_even(call, call.in->width);
    if (decision.go_on && exchanges_sides(angle))
        decision = accept_even(call, call.in->height);
    if (decision.go_on && !holds_picture(*call.in))
        return stop_with(report_no_data(name));
    return decision;
}

output_shape rotated(const strip_call &call, const u16 &angle) {
    output_shape shape = same_shape(call);
    if (exchanges_sides(angle))
        std::swap(shape.width, shape.height);
    return shape;
}

// Transposes YUV 4:2:2. Each pair of the target covers two source rows and gets the mean of their
// chroma.
void transpose_pairs(matrix from, target_matrix to, u32 rows, u32 columns) {
    constexpr u32 part = 64; // source columns whose target lines fit the cache
    for (u32 left = 0; left < columns; left += part)
        for (u32 y = 0; y + 1 < rows; y += 2) {
            const u8 *first = from.data + static_cast<std::ptrdiff_t>(y) * from.stride;
            const u8 *second = first + from.stride;
            u8 *pair = to.data + static_cast<std::ptrdiff_t>(left) * to.stride + std::size_t{2} * y;
            for (u32 x = left; x < std::min(columns, left + part); ++x, pair += to.stride) {
                const std::size_t chroma = std::size_t{x} / 2 * 4;
                pair[0] = first[std::size_t{2} * x];
                pair[1] = static_cast<u8>((first[chroma + 1] + second[chroma + 1]) >> 1);
                pair[2] = second[std::size_t{2} * x];
                pair[3] = static_cast<u8>((first[chroma + 3] + second[chroma + 3]) >> 1);
            }
        }
}

// Rotating by 90 degrees clockwise transposes the source read from its last line upwards; rotating
// by 270 degrees writes the transposed lines from the last one upwards.
void rotate_quarter(const strip_call &call, u32 angle) {
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    matrix from = {in.data, static_cast<std::ptrdiff_t>(in.stride)};
    target_matrix to = {out.data, static_cast<std::ptrdiff_t>(out.stride)};
    if (angle == 90)
        from = {in.line(in.lines - 1), -from.stride};
    else
        to = {out.line(out.lines - 1), -to.stride};
    if (call.in->pixel_format == VIQ_YUV422)
        transpose_pairs(from, to, in.lines, in.width);
    else
        process_rows().transpose[bytes_per_pixel(*call.in)](from, to, in.lines, in.width);
}

u32 rotate_picture(const strip_call &call, const u16 &angle) {
    call.out->lines_per_strip = call.out->height;
    const u32 code = begin_strip(call);
    if (is_error(code) || call.in->width == 0 || call.in->height == 0)
        return code;
    if (exchanges_sides(angle)) {
        rotate_quarter(call, angle);
        return success;
    }
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    const std::size_t bytes = std::size_t{in.width} * bytes_per_pixel(*call.in);
    for (u64 n = 0; n < in.lines; ++n)
        if (angle == 0)
            std::memcpy(out.line(n), in.line(n), bytes);
        else
            reverse_line(*call.in, in.line(in.lines - 1 - n), out.line(n));
    return success;
}

} // namespace
