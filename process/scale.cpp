// Bilinear scaling: lines are resampled along their length, then pairs of them blended.
#include <algorithm>
#include <cstring>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"
#include "process/rows.h"

using namespace viq;

namespace {

constexpr u32 fraction_bits = 13;

struct scaled_size {
    u32 width, height;
    bool operator==(const scaled_size &) const = default;
};

// Two resampled lines wait for those that come after them, also from strip to strip.
struct scaled_lines {
    std::vector<u8> samples[2]; // line n stands in the one of its parity
    u64 held[2];                // which line that is
};

struct scaling {
    scaled_size size;
    u64 vertical_step;
    u64 next_line; // of the output
    resample_plan plan;
    scaled_lines lines;
};

constexpr u64 no_line = UINT64_MAX;

scaling state;

verdict accept_scale(const strip_call &call, const scaled_size &size);
output_shape wanted_shape(const strip_call &call, const scaled_size &size);
u32 scale_lines(const strip_call &call);

strip_sequence sequence;

// Its failures bear the name of thresholding.
constexpr strip_operation<scaled_size> scale_operation = {.name = "VIQ_IP_threshold_grayscale",
                                                          .worker_name = "VIQ_IP_scale_1_strip",
                                                          .sequence = &sequence,
                                                          .check_pixels = accept_scale,
                                                          .shape = wanted_shape,
                                                          .process = scale_lines,
                                                          .bare_parameters = true,
                                                          .first_arguments = &state.size};

} // namespace

u32 VIQ_IP_scale(u32 hInImage, u32 hOutImage, u32 dwWidth, u32 dwHeight, u16 wMode) {
    const scaled_size size = {dwWidth, dwHeight};
    return run_conversion(scale_operation, hInImage, hOutImage, wMode, size);
}

namespace {

bool start(const tVIQ_Image &in, const tVIQ_Image &out);
bool make_plan(const tVIQ_Image &in, const tVIQ_Image &out, resample_plan &plan);
u64 lines_ready(u64 known_lines, u64 source_lines, u64 wanted_lines);
const u8 *resampled(const line_view &strip, u64 strip_start, u64 line);

verdict accept_scale(const strip_call &call, const scaled_size &size) {
    const char *name = call.name;
    const verdict decision =
        accept_formats(call, formats(VIQ_RGB24, VIQ_Y8), {.message = "Supports RGB24 & Y8 only"});
    if (!decision.go_on)
        return decision;
    if (size.width == 0 || size.height == 0)
        return stop_with(report(name, VIQ_ERR_PARAMETER, "Width or height is 0"));
    if (size.width == call.in->width && size.height == call.in->height)
        return stop_with(VIQ_image_copy(call.in_handle, call.out_handle));
    if (call.in->width == 0 || call.in->height == 0)
        return stop_with(report_no_data(name));
    return proceed;
}

output_shape wanted_shape(const strip_call &call, const scaled_size &size) {
    output_shape shape = same_shape(call);
    shape.width = size.width;
    shape.height = size.height;
    return shape;
}

u32 scale_lines(const strip_call &call) {
    const char *worker = call.worker_name;
    const tVIQ_Image &in = *call.in;
    const u64 done = call.sequence->lines_done;
    if (done == 0 && !start(in, *call.out))
        return report(worker, VIQ_ERR_MEMORY, "Malloc fail - no memory?");
    const u64 known = done + in.lines_per_strip;
    const u64 ready = lines_ready(known, in.height, call.out->height);
    if (ready == state.next_line && ready < call.out->height)
        return report(worker, VIQ_ERR_INTERNAL, "Internal: Not enough lines to process");
    call.out->lines_per_strip = static_cast<u32>(ready - state.next_line);
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;

    const line_view strip = lines_of(in);
    const line_view out = lines_of(*call.out);
    const u32 samples = state.plan.samples;
    for (u64 n = 0; n < out.lines; ++n, ++state.next_line) {
        const u64 position = state.next_line * state.vertical_step;
        const u64 line = position >> fraction_bits;
        const u32 fraction = static_cast<u32>(position >> (fraction_bits - 8) & 255);
        const u8 *first = resampled(strip, done, line);
        if (fraction == 0) {
            std::memcpy(out.line(n), first, samples);
            continue;
        }
        const u8 *second = line + 1 < in.height ? resampled(strip, done, line + 1) : first;
        process_rows().blend(first, second, out.line(n), samples, fraction);
    }
    // The next line of the output may begin between this strip and the following one.
    if (known < in.height && state.next_line * state.vertical_step >> fraction_bits == known - 1)
        resampled(strip, done, known - 1);
    return success;
}

bool start(const tVIQ_Image &in, const tVIQ_Image &out) {
    state.vertical_step =
        out.height > 1 ? (u64{in.height - 1} << fraction_bits) / (out.height - 1) : 0;
    state.next_line = 0;
    for (u64 &held : state.lines.held)
        held = no_line;
    for (std::vector<u8> &samples : state.lines.samples)
        if (!try_resize(samples, u64{out.width} * bytes_per_pixel(out) + resample_slack))
            return false;
    return make_plan(in, out, state.plan);
}

// Groups take as many of the next samples, at most 8, as lie within 16 bytes, and end where the
// bytes behind the source would be read.
void group_samples(resample_plan &plan) {
    plan.groups.clear();
    plan.grouped = 0;
    while (plan.grouped < plan.samples) {
        resample_group group = {plan.grouped, UINT32_MAX, {}, {}};
        u32 highest = 0;
        u32 count = 0;
        for (; count < 8 && plan.grouped + count < plan.samples; ++count) {
            const u32 at = plan.at[plan.grouped + count];
            const u32 base = std::min(group.base, at);
            if (std::max(highest, at) - base > 15)
                break;
            group.base = base;
            highest = std::max(highest, at);
        }
        if (u64{group.base} + plan.gap + 16 > plan.source_bytes)
            break;
        for (u32 n = 0; n < 8; ++n) {
            const bool used = n < count;
            const u32 sample = plan.grouped + n;
            group.place[2 * n] = static_cast<u8>(used ? plan.at[sample] - group.base : 0x80);
            group.place[2 * n + 1] = 0x80;
            group.fraction[n] = used ? plan.fraction[sample] : u16{0};
        }
        plan.groups.push_back(group);
        plan.grouped += count;
    }
    if (plan.groups.size() % 2 != 0) {
        plan.grouped = plan.groups.back().first;
        plan.groups.pop_back();
    }
}

bool make_plan(const tVIQ_Image &in, const tVIQ_Image &out, resample_plan &plan) {
    const u64 step = out.width > 1 ? (u64{in.width} << fraction_bits) / out.width : 0;
    plan.gap = bytes_per_pixel(in);
    plan.samples = out.width * plan.gap;
    plan.source_bytes = in.width * plan.gap;
    plan.whole_steps = true;
    if (!try_resize(plan.at, plan.samples) || !try_resize(plan.fraction, plan.samples))
        return false;
    for (u32 n = 0; n < plan.samples; ++n) {
        const u64 position = n / plan.gap * step;
        plan.at[n] = static_cast<u32>((position >> fraction_bits) * plan.gap + n % plan.gap);
        plan.fraction[n] = static_cast<u8>(position >> (fraction_bits - 8) & 255);
        plan.whole_steps = plan.whole_steps && plan.fraction[n] == 0;
    }
    try {
        group_samples(plan);
    } catch (...) {
        return false;
    }
    return true;
}

// Output lines that can be made from so many source lines.
u64 lines_ready(u64 known_lines, u64 source_lines, u64 wanted_lines) {
    u64 ready = state.next_line;
    for (; ready < wanted_lines; ++ready) {
        const u64 position = ready * state.vertical_step;
        const u64 line = position >> fraction_bits;
        const bool alone = (position >> (fraction_bits - 8) & 255) == 0;
        if (std::min(alone ? line : line + 1, source_lines - 1) >= known_lines)
            break;
    }
    return ready;
}

const u8 *resampled(const line_view &strip, u64 strip_start, u64 line) {
    std::vector<u8> &samples = state.lines.samples[line % 2];
    u64 &held = state.lines.held[line % 2];
    if (held != line && line >= strip_start) {
        process_rows().resample(strip.line(line - strip_start), samples.data(), state.plan);
        held = line;
    }
    return samples.data();
}

} // namespace
