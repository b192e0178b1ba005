// Bilinear scaling: lines are resampled horizontally, then pairs of them are blended vertically.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"
#include "process/process_rows.h"

using namespace viq;

namespace {

constexpr u32 fraction_bits = 13; // of source positions; blending uses the upper 8

struct scaled_size {
    u32 width, height;
    bool operator==(const scaled_size &) const = default;
};

// The last two resampled lines, kept from strip to strip. Source line n is stored in entry n % 2.
struct scaled_lines {
    vector<u8> samples[2];
    u64 number[2]; // of the stored source line
};

struct scaling {
    u64 vertical_step; // source lines per output line, with fraction_bits
    u64 next_line;     // of the output
    resample_plan plan;
    scaled_lines lines;
};

constexpr u64 no_line = UINT64_MAX;

VIQ_PER_CONTEXT(scaling, scaling_state);

verdict check_scale_arguments(const strip_call &call, const scaled_size &size);
output_shape scaled_shape(const strip_call &call, const scaled_size &size);
u32 scale_lines(const strip_call &call);

VIQ_PER_CONTEXT(strip_sequence, sequence);
VIQ_PER_CONTEXT(scaled_size, first_size);

// Errors are reported under the name of thresholding.
constexpr strip_operation<scaled_size> scale_operation = {.name = "VIQ_IP_threshold_grayscale",
                                                          .worker_name = "VIQ_IP_scale_1_strip",
                                                          .sequence = sequence,
                                                          .check_pixels = check_scale_arguments,
                                                          .shape = scaled_shape,
                                                          .process = scale_lines,
                                                          .bare_parameters = true,
                                                          .first_arguments = &first_size};

} // namespace

u32 VIQ_IP_scale(u32 hInImage, u32 hOutImage, u32 dwWidth, u32 dwHeight, u16 wMode) {
    const scaled_size size = {dwWidth, dwHeight};
    return run_conversion(scale_operation, hInImage, hOutImage, wMode, size);
}

namespace {

bool start_scaling(const tVIQ_Image &in, const tVIQ_Image &out, scaling &state);
bool make_plan(const tVIQ_Image &in, const tVIQ_Image &out, resample_plan &plan);
u64 available_lines(const scaling &state, u64 known_lines, u64 source_lines, u64 target_lines);
const u8 *resampled_line(scaling &state, const line_view &strip, u64 strip_start, u64 line);
void release_large(scaling &state);

verdict check_scale_arguments(const strip_call &call, const scaled_size &size) {
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

output_shape scaled_shape(const strip_call &call, const scaled_size &size) {
    output_shape shape = same_shape(call);
    shape.width = size.width;
    shape.height = size.height;
    return shape;
}

u32 scale_lines(const strip_call &call) {
    const char *worker = call.worker_name;
    const tVIQ_Image &in = *call.in;
    const u64 done = call.sequence->lines_done;
    scaling &state = *scaling_state;
    if (done == 0 && !start_scaling(in, *call.out, state))
        return report(worker, VIQ_ERR_MEMORY, "Malloc fail - no memory?");
    const u64 known = done + in.lines_per_strip;
    const u64 ready = available_lines(state, known, in.height, call.out->height);
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
        const u8 *first = resampled_line(state, strip, done, line);
        if (fraction == 0) {
            std::memcpy(out.line(n), first, samples);
            continue;
        }
        const u8 *second =
            line + 1 < in.height ? resampled_line(state, strip, done, line + 1) : first;
        process_rows().blend(first, second, out.line(n), samples, fraction,
                             out.line(std::min<u64>(n + 1, out.lines - 1)));
    }
    // The next output line may blend the last line of this strip with the first of the next one.
    if (known < in.height && state.next_line * state.vertical_step >> fraction_bits == known - 1)
        resampled_line(state, strip, done, known - 1);
    if (known >= in.height)
        release_large(state);
    return success;
}

// The plan and the lines are kept for the next picture unless they take much memory.
void release_large(scaling &state) {
    constexpr u32 most_samples = 65536;
    if (std::max(state.plan.samples, state.plan.source_bytes) > most_samples)
        state = {};
}

bool start_scaling(const tVIQ_Image &in, const tVIQ_Image &out, scaling &state) {
    state.vertical_step =
        out.height > 1 ? (u64{in.height - 1} << fraction_bits) / (out.height - 1) : 0;
    state.next_line = 0;
    for (u64 &number : state.lines.number)
        number = no_line;
    for (vector<u8> &samples : state.lines.samples)
        if (!try_resize(samples, u64{out.width} * bytes_per_pixel(out) + resample_padding))
            return false;
    return make_plan(in, out, state.plan);
}

// Each group takes as many of the next samples as its source bytes and its registers hold. The
// source bytes and those of the next pixels lie within the line; samples of the last pixel, which
// has no next one, are not grouped.
template <class Group> void group_samples(resample_plan &plan, vector<Group> &groups) {
    constexpr u32 span = Group::source_span;
    const u32 blended_bytes = plan.source_bytes - plan.pixel_stride;
    const u32 last_base = (Group::holds_next ? plan.source_bytes : blended_bytes) - span;
    const u32 reach = Group::holds_next ? span - plan.pixel_stride : span;
    u32 &grouped = plan.grouped_samples;
    grouped = 0;
    while (grouped < plan.samples && blended_bytes >= span) {
        Group group = {};
        u32 lowest = UINT32_MAX;
        u32 highest = 0;
        u32 count = 0;
        for (; count < Group::most_samples && grouped + count < plan.samples; ++count) {
            const u32 offset = plan.source_offset[grouped + count];
            if (offset >= blended_bytes ||
                std::max(highest, offset) - std::min(lowest, offset) >= reach)
                break;
            lowest = std::min(lowest, offset);
            highest = std::max(highest, offset);
        }
        if (count == 0)
            break;
        group.first = grouped;
        group.source_base = std::min(lowest, last_base);
        std::fill(std::begin(group.shuffle), std::end(group.shuffle), u8{0x80});
        for (u32 n = 0; n < count; ++n) {
            group.shuffle[2 * n + Group::sample_byte] =
                static_cast<u8>(plan.source_offset[grouped + n] - group.source_base);
            group.fraction[n] = plan.fraction[grouped + n];
        }
        groups.push_back(group);
        grouped += count;
    }
    if (groups.size() % 2 != 0)
        groups.push_back(Group(groups.back()));
}

void group_samples(resample_plan &plan) {
    plan.groups.clear();
    plan.wide_groups.clear();
    if (plan.for_wide_groups)
        group_samples(plan, plan.wide_groups);
    if (plan.wide_groups.empty())
        group_samples(plan, plan.groups);
}

// A plan that has been made for lines of the same lengths is used again.
bool make_plan(const tVIQ_Image &in, const tVIQ_Image &out, resample_plan &plan) {
    const u64 step = out.width > 1 ? (u64{in.width} << fraction_bits) / out.width : 0;
    const u32 stride = bytes_per_pixel(in);
    const bool wide = process_rows().has_wide_groups;
    const bool is_made = plan.pixel_stride == stride && plan.samples == out.width * stride &&
                         plan.source_bytes == in.width * stride && plan.for_wide_groups == wide;
    if (is_made)
        return true;
    plan.pixel_stride = stride;
    plan.samples = out.width * stride;
    plan.source_bytes = 0; // until the plan is complete
    plan.for_wide_groups = wide;
    plan.unblended = true;
    if (!try_resize(plan.source_offset, plan.samples) || !try_resize(plan.fraction, plan.samples))
        return false;
    for (u32 n = 0; n < plan.samples; ++n) {
        const u64 position = n / plan.pixel_stride * step;
        plan.source_offset[n] = static_cast<u32>((position >> fraction_bits) * plan.pixel_stride +
                                                 n % plan.pixel_stride);
        plan.fraction[n] = static_cast<u8>(position >> (fraction_bits - 8) & 255);
        plan.unblended = plan.unblended && plan.fraction[n] == 0;
    }
    plan.source_bytes = in.width * stride;
    try {
        group_samples(plan);
    } catch (...) {
        plan.source_bytes = 0;
        return false;
    }
    return true;
}

// The number of output lines that the first `known_lines` source lines are sufficient for.
u64 available_lines(const scaling &state, u64 known_lines, u64 source_lines, u64 target_lines) {
    const auto last_needed = [&](u64 target_line) {
        const u64 position = target_line * state.vertical_step;
        const u64 line = position >> fraction_bits;
        const bool unblended = (position >> (fraction_bits - 8) & 255) == 0;
        return std::min(unblended ? line : line + 1, source_lines - 1);
    };
    // Later lines need the same source lines or later ones.
    u64 ready = state.next_line;
    for (u64 end = std::max(target_lines, ready); ready < end;) {
        const u64 middle = ready + (end - ready) / 2;
        if (last_needed(middle) < known_lines)
            ready = middle + 1;
        else
            end = middle;
    }
    return ready;
}

const u8 *resampled_line(scaling &state, const line_view &strip, u64 strip_start, u64 line) {
    vector<u8> &samples = state.lines.samples[line % 2];
    u64 &stored = state.lines.number[line % 2];
    if (stored != line && line >= strip_start) {
        const u64 n = line - strip_start;
        process_rows().resample(strip.line(n), samples.data(), state.plan,
                                strip.line(std::min<u64>(n + 1, strip.lines - 1)));
        stored = line;
    }
    return samples.data();
}

} // namespace
