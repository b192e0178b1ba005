#include "core/strip_driver.h"

#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"

namespace viq {

namespace {

u32 first_to_last_step(const strip_call &call, u16 command);
u32 set_up_output(const strip_call &call);
u32 start_or_continue(const strip_call &call);
u32 check_output(const strip_call &call);
u32 process_next(const strip_call &call);
strip_call make_call(const strip_operation &operation, u32 hInImage, u32 hOutImage,
                     const void *arguments);
bool output_fits(const strip_call &call);
u32 transfer_strip(const strip_transfer &transfer, const strip_call &call, u16 command);
u32 abandon(const strip_transfer &transfer, const strip_call &call);
u32 send_strip(const strip_transfer &transfer, const strip_call &call, u16 command);

u32 run_step(u32 (*step)(const strip_call &), const strip_call &call) {
    return step != nullptr ? step(call) : success;
}

verdict decide(verdict (*step)(const strip_call &), const strip_call &call) {
    return step != nullptr ? step(call) : proceed;
}

} // namespace

u32 run_conversion(const strip_operation &operation, u32 hInImage, u32 hOutImage, u16 command,
                   const void *arguments) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    u32 code = check_image(operation.name, hInImage, operation.corrupt);
    const strip_call call = make_call(operation, hInImage, hOutImage, arguments);
    const u32 lines = call.in != nullptr ? call.in->lines_per_strip : 0;
    if (!is_error(code))
        code = first_to_last_step(call, command);
    const bool failed_whole = is_error(code) && operation.whole_picture;
    if (failed_whole && call.in != nullptr)
        call.in->lines_per_strip = lines;
    // Abandoning works whatever state the images are in.
    if (command == VIQ_STRIP_FINISH || failed_whole)
        *operation.sequence = {};
    return code;
}

u32 convert_strip(const strip_operation &operation, u32 hInImage, u32 hOutImage,
                  const void *arguments) {
    u32 code = check_image(operation.name, hInImage, operation.corrupt);
    if (is_error(code))
        return code;
    const strip_call call = make_call(operation, hInImage, hOutImage, arguments);
    for (auto step : {operation.refuse, operation.accept}) {
        const verdict decision = decide(step, call);
        if (!decision.go_on)
            return decision.code;
    }
    code = set_up_output(call);
    if (!is_error(code))
        code = check_image(operation.name, hOutImage, operation.corrupt);
    return is_error(code) ? code : operation.process(call);
}

u32 begin_strip(const strip_call &call) {
    if (!has_lines(*call.in, call.in->lines_per_strip))
        return report_no_data(call.operation->worker_name);
    if (uses_buffer_of(*call.in, *call.out))
        return report_same_image(call.operation->worker_name);
    return renew_strip(call.out_handle);
}

output_shape same_shape(const strip_call &call) {
    return {call.in->pixel_format, call.in->width, call.in->height, call.in->data_width};
}

strip_geometry geometry_of(const tVIQ_Image &image) {
    return {image.pixel_format, image.width, image.height, image.bytes_per_line};
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

u32 run_transfer(const strip_transfer &transfer, u32 hImage, u16 command, const void *arguments) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    const strip_call call = {nullptr, hImage, 0, find_image(hImage), nullptr, arguments};
    if (command == VIQ_STRIP_FINISH && !transfer.every_command_sends)
        return abandon(transfer, call);
    const u32 code = transfer_strip(transfer, call, command);
    // What command 4 ends does not stay open, whatever state the image is in.
    if (is_error(code) && command == VIQ_STRIP_FINISH)
        abandon(transfer, call);
    return code;
}

namespace {

u32 transfer_strip(const strip_transfer &transfer, const strip_call &call, u16 command) {
    strip_sequence &sequence = *transfer.sequence;
    const u32 told_line = call.in != nullptr ? call.in->bytes_per_line : 0;
    u32 code = check_image(transfer.name, call.in_handle, transfer.corrupt);
    if (is_error(code))
        return code;
    if (call.in->lines_per_strip == 0 && !transfer.every_command_sends)
        return success;
    const verdict refusal = decide(transfer.refuse, call);
    if (!refusal.go_on)
        return refusal.code;
    if (!sequence.under_way) {
        sequence.lines_done = 0;
        code = run_step(transfer.begin, call);
        if (is_error(code))
            return code;
        sequence.geometry = geometry_of(*call.in);
        sequence.under_way = true;
    } else if (sequence.geometry != geometry_of(*call.in)) {
        abandon(transfer, call);
        return report_changed_image(transfer.name);
    }
    if (command != VIQ_STRIP_NEXT && !transfer.every_command_sends)
        return success;
    if (transfer.line != nullptr)
        call.in->bytes_per_line = transfer.line(*call.in, told_line);
    return send_strip(transfer, call, command);
}

u32 abandon(const strip_transfer &transfer, const strip_call &call) {
    const bool under_way = transfer.sequence->under_way;
    *transfer.sequence = {};
    return under_way ? run_step(transfer.abandon, call) : success;
}

u32 first_to_last_step(const strip_call &call, u16 command) {
    const strip_operation &operation = *call.operation;
    if (call.in == call.out)
        return report_same_image(operation.name);
    verdict decision = decide(operation.refuse, call);
    if (!decision.go_on)
        return decision.code;
    if (call.in->lines_per_strip == 0)
        return operation.bare_parameters
                   ? VIQ_image_copy_parameters(call.in_handle, call.out_handle)
                   : set_up_output(call);
    decision = decide(operation.accept, call);
    if (!decision.go_on)
        return decision.code;

    if (command == VIQ_STRIP_FINISH && operation.sequence->under_way)
        return success;
    const u32 code = start_or_continue(call);
    if (is_error(code))
        return code;
    if (operation.whole_picture)
        call.in->lines_per_strip = call.out->lines_per_strip = call.in->height;
    return command == VIQ_STRIP_NEXT ? process_next(call) : success;
}

u32 set_up_output(const strip_call &call) {
    const output_shape shape = call.operation->shape(call);
    u32 code = VIQ_image_copy_parameters(call.in_handle, call.out_handle);
    if (is_error(code))
        return code;
    code = VIQ_image_set_parameter(call.out_handle, VIQ_IMAGE_TYPE, shape.format);
    if (is_error(code))
        return code;
    call.out->width = shape.width;
    call.out->height = shape.height;
    if (shape.data_width != 0)
        call.out->data_width = shape.data_width;
    return run_step(call.operation->complete, call);
}

u32 start_or_continue(const strip_call &call) {
    const strip_operation &operation = *call.operation;
    strip_sequence &sequence = *operation.sequence;
    if (sequence.under_way) {
        if (!output_fits(call))
            return report(operation.name, VIQ_ERR_STATE, "Sequence under way with another image");
        return check_output(call);
    }
    sequence.lines_done = 0;
    u32 code = set_up_output(call);
    if (!is_error(code))
        code = check_output(call);
    if (is_error(code))
        return code;
    sequence.under_way = true;
    return success;
}

u32 check_output(const strip_call &call) {
    const strip_operation &operation = *call.operation;
    return check_image(operation.name, call.out_handle,
                       operation.corrupt_output != nullptr ? operation.corrupt_output
                                                           : operation.corrupt);
}

u32 process_next(const strip_call &call) {
    strip_sequence &sequence = *call.operation->sequence;
    const bool last = clip_last_strip(*call.in, sequence.lines_done);
    call.out->lines_per_strip = call.in->lines_per_strip;
    const u32 code = call.operation->process(call);
    if (is_error(code))
        return code;
    sequence.lines_done += call.in->lines_per_strip;
    if (last)
        sequence = {};
    return success;
}

strip_call make_call(const strip_operation &operation, u32 hInImage, u32 hOutImage,
                     const void *arguments) {
    return {&operation, hInImage, hOutImage, find_image(hInImage), find_image(hOutImage),
            arguments};
}

bool output_fits(const strip_call &call) {
    if (call.out == nullptr)
        return false;
    const output_shape shape = call.operation->shape(call);
    return call.out->pixel_format == shape.format && call.out->width == shape.width &&
           call.out->height == shape.height &&
           call.operation->sequence->lines_done < call.in->height;
}

u32 send_strip(const strip_transfer &transfer, const strip_call &call, u16 command) {
    strip_sequence &sequence = *transfer.sequence;
    const bool last = clip_last_strip(*call.in, sequence.lines_done);
    u32 code = run_step(transfer.process, call);
    if (is_error(code))
        return code;
    sequence.lines_done += call.in->lines_per_strip;
    if (!last && command != VIQ_STRIP_FINISH)
        return success;
    sequence = {};
    return run_step(last ? transfer.finish : transfer.abandon, call);
}

} // namespace

} // namespace viq
