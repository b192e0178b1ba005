// Chroma keying with a background image or a key colour, and its calibration.
#include <algorithm>
#include <cstring>

#include "camera/camera_rows.h"
#include "camera/key_objects.h"
#include "convert/hue_table.h"
#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"

using namespace viq;

namespace {

struct key_arguments {
    u32 object;
    u32 background; // 0: none
    u16 colour, mode;
};

struct calibration_arguments {
    u32 object;
    bool operator==(const calibration_arguments &) const = default;
};

verdict check_key_input(const strip_call &call);
verdict check_key_arguments(const strip_call &call, const key_arguments &arguments);
u32 key_strip(const strip_call &call, const key_arguments &arguments);
verdict check_calibration_arguments(const strip_call &call, const calibration_arguments &arguments);
u32 clear_sum(const strip_call &call, const calibration_arguments &arguments);
u32 add_hues(const strip_call &call);
u32 store_hue(const strip_call &call, const calibration_arguments &arguments);

VIQ_PER_CONTEXT(strip_sequence, key_sequence);
VIQ_PER_CONTEXT(strip_sequence, calibration_sequence);
VIQ_PER_CONTEXT(double, hue_sum);
VIQ_PER_CONTEXT(calibration_arguments, first_calibration);

constexpr strip_operation<key_arguments> key_operation = {.name = "VIQ_CK_chroma_key",
                                                          .worker_name =
                                                              "VIQ_CK_chroma_key_1_strip",
                                                          .sequence = key_sequence,
                                                          .check_before_header = check_key_input,
                                                          .check_pixels = check_key_arguments,
                                                          .shape = same_shape,
                                                          .process = key_strip};

constexpr strip_transfer<calibration_arguments> calibration_transfer = {
    .name = "VIQ_CK_calibrate",
    .sequence = calibration_sequence,
    .check_image = check_calibration_arguments,
    .begin = clear_sum,
    .process = add_hues,
    .finish = store_hue,
    .first_arguments = &first_calibration,
};

} // namespace

u32 VIQ_CK_chroma_key(u32 hInImage, u32 hOutImage, u32 hBackgroundImage, u16 wKeyColour, u32 hCK,
                      u16 wMode, u16 wStripCommand) {
    const key_arguments arguments = {hCK, hBackgroundImage, wKeyColour, wMode};
    return run_conversion(key_operation, hInImage, hOutImage, wStripCommand, arguments);
}

u32 VIQ_CK_calibrate(u32 hInImage, u32 hCK, u16 wStripCommand) {
    const calibration_arguments arguments = {hCK};
    return run_transfer(calibration_transfer, hInImage, wStripCommand, arguments);
}

namespace {

verdict check_format(const char *name, const tVIQ_Image &image) {
    if (image.pixel_format != VIQ_YUV422)
        return stop_with(
            report(name, VIQ_ERR_UNSUPPORTED | image.pixel_format, "Not YUV 4:2:2 image format"));
    if (image.width % 2 != 0)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "YUV422 image must be an even width"));
    return proceed;
}

verdict check_key_input(const strip_call &call) {
    return check_format(call.name, *call.in);
}

verdict check_key_arguments(const strip_call &call, const key_arguments &arguments) {
    const char *name = call.name;
    if (find_key_object(arguments.object) == nullptr)
        return stop_with(report_bad_handle(name));
    const u32 colour = VIQ_CK_get_YUV_values(arguments.colour);
    if (colour == VIQ_ERR_PARAMETER)
        return stop_with(colour);
    if (arguments.background == 0)
        return proceed;
    const u32 code = check_image(name, arguments.background);
    if (is_error(code))
        return stop_with(code);
    const tVIQ_Image &background = *find_image(arguments.background);
    if (&background == call.out || background.pixel_format != VIQ_YUV422 ||
        background.width != call.in->width || background.height != call.in->height)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Background image does not match"));
    return proceed;
}

// ---- Keying

// The pixels that replace keyed pairs: the background's lines, or one pair for all.
struct replacement {
    line_view lines;
    u8 colour[4];

    u32 step() const { return lines.data != nullptr ? 4 : 0; }
    const u8 *line(u64 n) const { return lines.data != nullptr ? lines.line(n) : colour; }
    const u8 *pair(u64 n, u32 x) const { return line(n) + std::size_t{x} * step(); }
};

u32 make_replacement(const strip_call &call, const key_arguments &arguments, replacement &with);
key_window window_of(const key_object &object, const u16 *hues);
void soften(const line_view &in, const line_view &out, const replacement &with, u64 line,
            const u8 *keyed);

u32 key_strip(const strip_call &call, const key_arguments &arguments) {
    replacement with = {};
    u32 code = make_replacement(call, arguments, with);
    if (is_error(code))
        return code;
    const u16 *hues = nullptr;
    code = need_hue_table(hues);
    if (!is_error(code))
        code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    if (arguments.mode > 1) {
        if (owns_data(*call.out)) // a reused buffer contains an earlier strip
            std::memset(out.data, 0, std::size_t{out.stride} * out.lines);
        return success;
    }
    const u32 pairs = in.width / 2;
    vector<u8> decisions; // of the pairs of a line, with one more at both ends
    if (!try_resize(decisions, u64{pairs} + 2))
        return report_no_memory(call.worker_name, u64{pairs} + 2);
    u8 *keyed = decisions.data() + 1;
    const key_window window = window_of(*find_key_object(arguments.object), hues);
    for (u64 n = 0; n < in.lines && pairs != 0; ++n) {
        keyed[-1] = keyed[pairs - 1]; // the last pair of the line above precedes the line
        camera_rows().key(in.line(n), with.line(n), with.step(), out.line(n), keyed, pairs, window);
        if (arguments.mode == 1 && n != 0)
            soften(in, out, with, n, keyed);
    }
    return success;
}

u32 make_replacement(const strip_call &call, const key_arguments &arguments, replacement &with) {
    if (arguments.background == 0) {
        const u32 colour = VIQ_CK_get_YUV_values(arguments.colour);
        const u8 luma = static_cast<u8>(colour);
        with.colour[0] = with.colour[2] = luma;
        with.colour[1] = static_cast<u8>(colour >> 8);
        with.colour[3] = static_cast<u8>(colour >> 16);
        return success;
    }
    const tVIQ_Image &background = *find_image(arguments.background);
    if (background.lines_per_strip < call.in->lines_per_strip)
        return report(call.name, VIQ_ERR_UNSUPPORTED, "Background image does not match");
    if (!has_lines(background, call.in->lines_per_strip))
        return report_no_data(call.worker_name);
    if (uses_buffer_of(background, *call.out))
        return report_same_image(call.worker_name);
    with.lines = lines_of(background);
    return success;
}

key_window window_of(const key_object &object, const u16 *hues) {
    const auto bound = [](i32 value, i32 highest) { return std::clamp(value, 0, highest); };
    const i32 luma = object.luma_centre;
    const i32 hue = object.hue_centre;
    return {bound(luma - object.luma_tolerance, 255), bound(luma + object.luma_tolerance, 255),
            bound(hue - object.hue_tolerance, 359), bound(hue + object.hue_tolerance, 359), hues};
}

// A keyed pair at the start of a line also softens the last pair of the line above.
void soften(const line_view &in, const line_view &out, const replacement &with, u64 line,
            const u8 *keyed) {
    const camera_kernels &rows = camera_rows();
    const u32 pairs = in.width / 2;
    rows.soften(in.line(line), with.line(line), with.step(), out.line(line), keyed, pairs);
    if (keyed[0] == 0 || keyed[-1] != 0)
        return;
    constexpr u8 kept_before_keyed[] = {0, 0, 1};
    const std::size_t last = std::size_t{4} * (pairs - 1);
    rows.soften(in.line(line - 1) + last, with.pair(line - 1, pairs - 1), with.step(),
                out.line(line - 1) + last, kept_before_keyed + 1, 1);
}

// ---- Calibration

constexpr u32 skipped_columns = 8;

verdict check_calibration_arguments(const strip_call &call,
                                    const calibration_arguments &arguments) {
    constexpr const char *name = calibration_transfer.name;
    const verdict decision = check_format(name, *call.in);
    if (!decision.go_on)
        return decision;
    if (call.in->width < skipped_columns + 2 || call.in->height == 0)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Image too small to calibrate"));
    if (find_key_object(arguments.object) == nullptr)
        return stop_with(report_bad_handle(name));
    return proceed;
}

u32 clear_sum(const strip_call &, const calibration_arguments &) {
    *hue_sum = 0;
    const u16 *hues = nullptr;
    return need_hue_table(hues);
}

// As many pairs as counted line by line are read consecutively from the start of the strip.
u32 add_hues(const strip_call &call) {
    const tVIQ_Image &in = *call.in;
    if (!has_lines(in, in.lines_per_strip))
        return report_no_data("VIQ_CK_calibrate_1_strip");
    const u16 *hues = nullptr;
    const u32 code = need_hue_table(hues);
    if (is_error(code))
        return code;
    const double count = static_cast<double>(u64{(in.width - skipped_columns) / 2} * in.height);
    const u64 pairs = u64{in.width / 2 - 3} * in.lines_per_strip;
    const u8 *pair = in.data;
    double &sum = *hue_sum;
    for (u64 n = 0; n < pairs; ++n, pair += 4)
        sum += hues[pair[1] << 8 | pair[3]] / count;
    return success;
}

// The luma centre is a constant, not measured.
u32 store_hue(const strip_call &, const calibration_arguments &arguments) {
    key_object *object = find_key_object(arguments.object);
    *object = {static_cast<u16>(*hue_sum + 0.5), 20, 20, 64};
    return success;
}

} // namespace
