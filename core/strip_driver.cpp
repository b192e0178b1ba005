// The parts of the strip protocol that do not depend on an operation's arguments.
#include "core/strip_driver.h"

#include "core/geometry.h"
#include "core/image.h"
#include "core/image_data.h"
#include "core/report.h"

namespace viq {

strip_geometry geometry_of(const tVIQ_Image &image) {
    return {image.pixel_format, image.width, image.height, image.bytes_per_line};
}

void end_sequences(strip_sequence &sequence, const tVIQ_Image *image) {
    if (takes_part(sequence, image))
        sequence = {};
}

void join_sequence(strip_sequence &sequence, const tVIQ_Image *in, const tVIQ_Image *out) {
    if (in != nullptr && in != sequence.in) {
        companion(*in).in_sequence = true;
        sequence.in = in;
    }
    if (out != nullptr && out != sequence.out) {
        companion(*out).in_sequence = true;
        sequence.out = out;
    }
}

output_shape same_shape(const strip_call &call) {
    return {call.in->pixel_format, call.in->width, call.in->height, call.in->data_width};
}

void use_whole_picture(const strip_call &call) {
    call.in->lines_per_strip = call.in->height;
}

u32 begin_strip(const strip_call &call) {
    if (!has_lines(*call.in, call.in->lines_per_strip))
        return report_no_data(call.worker_name);
    image_companion &own = companion(*call.out);
    if (uses_buffer_of(*call.in, own))
        return report_same_image(call.worker_name);
    return renew_checked_strip(call.out_handle, *call.out, own);
}

u32 report_same_image(const char *function) {
    return report(function, VIQ_ERR_PARAMETER, "Input and output image are the same");
}

u32 report_changed_image(const char *function) {
    return report(function, VIQ_ERR_CORRUPT, "Image changed during transfer");
}

bool clip_last_strip(tVIQ_Image &image, u32 lines_done) {
    const u32 remaining = image.height > lines_done ? image.height - lines_done : 0;
    if (image.lines_per_strip < remaining)
        return false;
    image.lines_per_strip = remaining;
    return true;
}

namespace strip_protocol {

strip_call make_call(const char *name, const char *worker_name, const sequence_place &sequence,
                     u32 in_handle, u32 out_handle) {
    return {name,
            worker_name != nullptr ? worker_name : name,
            &sequence.here(),
            in_handle,
            out_handle,
            find_image(in_handle),
            find_image(out_handle)};
}

u32 apply_shape(const strip_call &call, const output_shape &shape) {
    u32 code = copy_parameters(call.in_handle, call.out_handle);
    if (!is_error(code))
        code = set_pixel_format(*call.out, shape.format);
    if (is_error(code))
        return code;
    call.out->width = shape.width;
    call.out->height = shape.height;
    if (shape.data_width != 0)
        call.out->data_width = shape.data_width;
    return success;
}

bool has_shape(const tVIQ_Image *image, const output_shape &shape) {
    return image != nullptr && image->pixel_format == shape.format && image->width == shape.width &&
           image->height == shape.height;
}

void start_sequence(const strip_call &call) {
    call.sequence->geometry = geometry_of(*call.in);
    if (call.out != nullptr)
        call.sequence->output = geometry_of(*call.out);
    call.sequence->under_way = true;
}

bool has_first_geometry(const strip_call &call) {
    return call.sequence->geometry == geometry_of(*call.in) &&
           call.sequence->output == geometry_of(*call.out);
}

u32 report_other_sequence(const char *function) {
    return report(function, VIQ_ERR_STATE, "Sequence under way with another image");
}

} // namespace strip_protocol

} // namespace viq
