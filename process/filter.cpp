// Filtering with a 3 x 3 kernel.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"
#include "process/process_rows.h"

using namespace viq;

namespace {

// The coefficients, row by row.
struct filter_kernel {
    std::array<i32, 9> values;
    bool operator==(const filter_kernel &) const = default;
};

verdict check_format(const strip_call &call);
u32 filter_strip(const strip_call &call, const filter_kernel &filter);

VIQ_PER_CONTEXT(strip_sequence, sequence);
VIQ_PER_CONTEXT(filter_kernel, first_kernel);
VIQ_PER_CONTEXT(vector<u8>, last_line); // of the previous strip

constexpr strip_operation<filter_kernel> filter_operation = {.name = "VIQ_IP_filter_3x3",
                                                             .worker_name =
                                                                 "VIQ_IP_filter_3x3_1_strip",
                                                             .sequence = sequence,
                                                             .check_pixels = check_format,
                                                             .shape = same_shape,
                                                             .process = filter_strip,
                                                             .bare_parameters = true,
                                                             .first_arguments = &first_kernel};

} // namespace

u32 VIQ_IP_filter_3x3(u32 hInImage, u32 hOutImage, const i32 *pKernel, u16 wMode) {
    if (pKernel == nullptr && wMode == VIQ_STRIP_NEXT)
        return report_null("VIQ_IP_filter_3x3");
    filter_kernel kernel = {};
    if (pKernel != nullptr)
        std::copy_n(pKernel, kernel.values.size(), kernel.values.begin());
    return run_conversion(filter_operation, hInImage, hOutImage, wMode, kernel);
}

namespace {

struct kernel_pair {
    wide_kernel wide;
    small_kernel small;
    bool is_small;
};

kernel_pair read_kernel(const filter_kernel &filter);

verdict check_format(const strip_call &call) {
    return accept_formats(call, formats(VIQ_RGB24, VIQ_Y8),
                          {.message = "Supports RGB24 & Y8 only"});
}

void filter_line(const kernel_pair &kernel, filter_lines lines, u8 *target, u32 bytes,
                 u32 pixel_stride) {
    std::memcpy(target, lines.current, pixel_stride);
    std::memcpy(target + bytes - pixel_stride, lines.current + bytes - pixel_stride, pixel_stride);
    if (kernel.is_small)
        process_rows().filter_small(lines, target, bytes, pixel_stride, kernel.small);
    else
        process_rows().filter_wide(lines, target, bytes, pixel_stride, kernel.wide);
}

u32 filter_strip(const strip_call &call, const filter_kernel &filter) {
    const char *worker = call.worker_name;
    const u64 done = call.sequence->lines_done;
    const u32 code = begin_strip(call);
    if (is_error(code) || call.in->width == 0 || call.in->lines_per_strip == 0)
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    const u32 pixel_stride = bytes_per_pixel(*call.in);
    const u32 bytes = in.width * pixel_stride;
    const kernel_pair kernel = read_kernel(filter);
    vector<u8> &kept = *last_line;
    for (u64 n = 0; n < in.lines; ++n) {
        const u8 *line = in.line(n);
        if (done + n == 0 || done + n + 1 == call.in->height) {
            std::memcpy(out.line(n), line, bytes);
            continue;
        }
        const u8 *above = n > 0 ? in.line(n - 1) : kept.data();
        const u8 *below = n + 1 < in.lines ? in.line(n + 1) : line;
        const u64 next = std::min<u64>(n + 1, in.lines - 1);
        const u8 *next_below = in.line(std::min<u64>(n + 2, in.lines - 1));
        filter_line(kernel, {above, line, below, next_below, out.line(next)}, out.line(n), bytes,
                    pixel_stride);
    }
    if (!try_resize(kept, bytes))
        return report_no_memory(worker, bytes);
    std::memcpy(kept.data(), in.line(in.lines - 1), bytes);
    return success;
}

// The divisor is the sum of the coefficients, or 1 if that is 0. A negative sum changes the signs
// of divisor and coefficients, which leaves the quotient unchanged.
kernel_pair read_kernel(const filter_kernel &filter) {
    kernel_pair kernel = {};
    i64 sum = 0;
    i64 magnitudes = 0;
    i64 largest = 0;
    for (u32 n = 0; n < 9; ++n) {
        sum += filter.values[n];
        magnitudes += std::abs(i64{filter.values[n]});
        largest = std::max(largest, std::abs(i64{filter.values[n]}));
    }
    const i64 sign = sum < 0 ? -1 : 1;
    kernel.wide.divisor = sum == 0 ? 1 : sign * sum;
    for (u32 n = 0; n < 9; ++n)
        kernel.wide.coefficients[n] = sign * filter.values[n];
    kernel.is_small = largest <= 64 && magnitudes <= 128;
    if (kernel.is_small) {
        kernel.small.divisor = static_cast<i32>(kernel.wide.divisor);
        for (u32 n = 0; n < 9; ++n)
            kernel.small.coefficients[n] = static_cast<i32>(kernel.wide.coefficients[n]);
    }
    return kernel;
}

} // namespace
