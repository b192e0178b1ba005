// The driver of the strip protocol: templates over the operations' arguments, and below them what
// does not depend on those. Included by strip_driver.h only.
#pragma once

#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "core/strip_driver.h"

namespace viq::strip_protocol {

// ---- Without the arguments, in strip_driver.cpp

strip_call make_call(const char *name, const char *worker_name, const sequence_place &sequence,
                     u32 in_handle, u32 out_handle);
u32 apply_shape(const strip_call &call, const output_shape &shape);
bool has_shape(const tVIQ_Image *image, const output_shape &shape);
void start_sequence(const strip_call &call);
bool has_first_geometry(const strip_call &call);
u32 report_other_sequence(const char *function);

// ---- The arguments of the first strip

template <class Record, class Arguments>
void keep_arguments(const Record &record, const Arguments &arguments) {
    if constexpr (requires { arguments == arguments; })
        if (record.first_arguments != nullptr)
            **record.first_arguments = arguments;
}

template <class Record, class Arguments>
bool has_first_arguments(const Record &record, const Arguments &arguments) {
    if constexpr (requires { arguments == arguments; })
        return record.first_arguments == nullptr || **record.first_arguments == arguments;
    else
        return record.first_arguments == nullptr;
}

// ---- Conversions

template <class Arguments>
u32 set_up_output(const strip_operation<Arguments> &operation, const strip_call &call,
                  const Arguments &arguments) {
    const u32 code = apply_shape(call, operation.shape(call, arguments, {}));
    if (is_error(code))
        return code;
    return operation.complete_output(call, arguments, success);
}

template <class Arguments>
verdict check_before_header(const strip_operation<Arguments> &operation, const strip_call &call,
                            const Arguments &arguments) {
    const verdict decision = operation.check_before_header(call, arguments, proceed);
    if (decision.go_on && operation.prepare_input != nullptr)
        operation.prepare_input(call);
    return decision;
}

template <class Arguments>
u32 check_output(const strip_operation<Arguments> &operation, const strip_call &call) {
    const char *message =
        operation.corrupt_output != nullptr ? operation.corrupt_output : operation.corrupt;
    return check_image(operation.name, call.out_handle, message);
}

template <class Arguments>
bool output_continues(const strip_operation<Arguments> &operation, const strip_call &call,
                      const Arguments &arguments) {
    return has_shape(call.out, operation.shape(call, arguments, {})) &&
           call.sequence->lines_done < call.in->height && has_first_arguments(operation, arguments);
}

template <class Arguments>
u32 start_or_continue(const strip_operation<Arguments> &operation, const strip_call &call,
                      const Arguments &arguments) {
    strip_sequence &sequence = *call.sequence;
    u32 code = success;
    if (sequence.under_way) {
        if (!output_continues(operation, call, arguments))
            return report_other_sequence(operation.name);
        code = check_output(operation, call);
        if (!is_error(code) && operation.first_arguments != nullptr && !has_first_geometry(call))
            code = report_other_sequence(operation.name);
        return code;
    }
    sequence.lines_done = 0;
    code = set_up_output(operation, call, arguments);
    if (!is_error(code))
        code = check_output(operation, call);
    if (is_error(code))
        return code;
    keep_arguments(operation, arguments);
    start_sequence(call);
    return success;
}

template <class Arguments>
u32 process_next(const strip_operation<Arguments> &operation, const strip_call &call,
                 const Arguments &arguments) {
    strip_sequence &sequence = *call.sequence;
    const bool last = clip_last_strip(*call.in, sequence.lines_done);
    call.out->lines_per_strip = call.in->lines_per_strip;
    const u32 code = operation.process(call, arguments, success);
    if (is_error(code))
        return code;
    sequence.lines_done += call.in->lines_per_strip;
    if (last)
        sequence = {};
    return success;
}

template <class Arguments>
u32 first_to_last_step(const strip_operation<Arguments> &operation, const strip_call &call,
                       const Arguments &arguments, u16 command) {
    if (call.in == call.out)
        return report_same_image(operation.name);
    verdict decision = check_before_header(operation, call, arguments);
    if (!decision.go_on)
        return decision.code;
    if (call.in->lines_per_strip == 0)
        return operation.bare_parameters
                   ? VIQ_image_copy_parameters(call.in_handle, call.out_handle)
                   : set_up_output(operation, call, arguments);
    decision = operation.check_pixels(call, arguments, proceed);
    if (!decision.go_on)
        return decision.code;

    if (command == VIQ_STRIP_FINISH && call.sequence->under_way)
        return success;
    const u32 code = start_or_continue(operation, call, arguments);
    if (is_error(code))
        return code;
    if (operation.whole_picture)
        call.in->lines_per_strip = call.out->lines_per_strip = call.in->height;
    return command == VIQ_STRIP_NEXT ? process_next(operation, call, arguments) : success;
}

// ---- Transfers

template <class Arguments>
u32 abandon(const strip_transfer<Arguments> &transfer, const strip_call &call,
            const Arguments &arguments) {
    const bool under_way = call.sequence->under_way;
    *call.sequence = {};
    return under_way ? transfer.abandon(call, arguments, success) : success;
}

template <class Arguments>
u32 send_strip(const strip_transfer<Arguments> &transfer, const strip_call &call,
               const Arguments &arguments, u16 command) {
    strip_sequence &sequence = *call.sequence;
    const bool last = clip_last_strip(*call.in, sequence.lines_done);
    const u32 code = transfer.process(call, arguments, success);
    if (is_error(code))
        return code;
    sequence.lines_done += call.in->lines_per_strip;
    if (!last && command != VIQ_STRIP_FINISH)
        return success;
    sequence = {};
    return (last ? transfer.finish : transfer.abandon)(call, arguments, success);
}

template <class Arguments>
u32 begin_or_continue(const strip_transfer<Arguments> &transfer, const strip_call &call,
                      const Arguments &arguments) {
    strip_sequence &sequence = *call.sequence;
    if (!sequence.under_way) {
        sequence.lines_done = 0;
        const u32 code = transfer.begin(call, arguments, success);
        if (is_error(code))
            return code;
        keep_arguments(transfer, arguments);
        start_sequence(call);
        return success;
    }
    if (sequence.geometry != geometry_of(*call.in)) {
        abandon(transfer, call, arguments);
        return report_changed_image(transfer.name);
    }
    return has_first_arguments(transfer, arguments) ? success
                                                    : report_other_sequence(transfer.name);
}

template <class Arguments>
u32 transfer_strip(const strip_transfer<Arguments> &transfer, const strip_call &call,
                   const Arguments &arguments, u16 command) {
    const u32 previous_line = call.in != nullptr ? call.in->bytes_per_line : 0;
    u32 code = check_image(transfer.name, call.in_handle, transfer.corrupt);
    if (is_error(code))
        return code;
    if (call.in->lines_per_strip == 0 && !transfer.every_command_sends)
        return success;
    const verdict decision = transfer.check_image(call, arguments, proceed);
    if (!decision.go_on)
        return decision.code;
    code = begin_or_continue(transfer, call, arguments);
    if (is_error(code))
        return code;
    if (command != VIQ_STRIP_NEXT && !transfer.every_command_sends)
        return success;
    if (transfer.line != nullptr)
        call.in->bytes_per_line = transfer.line(*call.in, previous_line);
    return send_strip(transfer, call, arguments, command);
}

} // namespace viq::strip_protocol

namespace viq {

template <class Arguments>
u32 run_conversion(const strip_operation<Arguments> &operation, u32 hInImage, u32 hOutImage,
                   u16 command, const std::type_identity_t<Arguments> &arguments) {
    using namespace strip_protocol;
    if (called_by_handler())
        return VIQ_ERR_STATE;
    const image_use use(find_image(hInImage), find_image(hOutImage));
    if (use.busy)
        return report_used_elsewhere(operation.name);
    u32 code = check_image(operation.name, hInImage, operation.corrupt);
    const strip_call call =
        make_call(operation.name, operation.worker_name, operation.sequence, hInImage, hOutImage);
    const u32 lines = call.in != nullptr ? call.in->lines_per_strip : 0;
    if (!is_error(code))
        code = first_to_last_step(operation, call, arguments, command);
    const bool failed_whole = is_error(code) && operation.whole_picture;
    if (failed_whole && call.in != nullptr)
        call.in->lines_per_strip = lines;
    // Command 4 ends the sequence in every state of the images.
    if (command == VIQ_STRIP_FINISH || failed_whole)
        *call.sequence = {};
    else if (call.sequence->under_way)
        join_sequence(*call.sequence, call.in, call.out);
    return code;
}

template <class Arguments>
u32 convert_strip(const strip_operation<Arguments> &operation, u32 hInImage, u32 hOutImage,
                  const std::type_identity_t<Arguments> &arguments) {
    using namespace strip_protocol;
    u32 code = check_image(operation.name, hInImage, operation.corrupt);
    if (is_error(code))
        return code;
    const strip_call call =
        make_call(operation.name, operation.worker_name, operation.sequence, hInImage, hOutImage);
    verdict decision = check_before_header(operation, call, arguments);
    if (decision.go_on)
        decision = operation.check_pixels(call, arguments, proceed);
    if (!decision.go_on)
        return decision.code;
    code = set_up_output(operation, call, arguments);
    if (!is_error(code))
        code = check_image(operation.name, hOutImage, operation.corrupt);
    return is_error(code) ? code : operation.process(call, arguments, success);
}

template <class Arguments>
u32 run_transfer(const strip_transfer<Arguments> &transfer, u32 hImage, u16 command,
                 const std::type_identity_t<Arguments> &arguments) {
    using namespace strip_protocol;
    if (called_by_handler())
        return VIQ_ERR_STATE;
    const image_use use(find_image(hImage));
    if (use.busy)
        return report_used_elsewhere(transfer.name);
    const strip_call call = make_call(transfer.name, transfer.name, transfer.sequence, hImage, 0);
    if (command == VIQ_STRIP_FINISH && !transfer.every_command_sends)
        return abandon(transfer, call, arguments);
    const u32 code = transfer_strip(transfer, call, arguments, command);
    // What command 4 ends does not stay open, in every state of the image.
    if (is_error(code) && command == VIQ_STRIP_FINISH)
        abandon(transfer, call, arguments);
    else if (call.sequence->under_way)
        join_sequence(*call.sequence, call.in, call.sequence->out);
    return code;
}

} // namespace viq
