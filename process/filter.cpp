// Filtering with a 3 x 3 kernel.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"
#include "process/rows.h"

using namespace viq;

namespace {

// The coefficients, row by row.
struct filter_kernel {
    std::array<i32, 9> values;
    bool operator==(const filter_kernel &) const = default;
};

verdict accept_filter(const strip_call &call);
u32 filter_strip(const strip_call &call, const filter_kernel &given);

strip_sequence sequence;

// What the next strip needs of this one.
struct kept_state {
    filter_kernel kernel;
    std::vector<u8> line; // the last one
};

kept_state kept;

constexpr strip_operation<filter_kernel> filter_operation = {.name = "VIQ_IP_filter_3x3",
                                                             .worker_name =
                                                                 "VIQ_IP_filter_3x3_1_strip",
                                                             .sequence = &sequence,
                                                             .check_pixels = accept_filter,
                                                             .shape = same_shape,
                                                             .process = filter_strip,
                                                             .bare_parameters = true,
                                                             .first_arguments = &kept.kernel};

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

kernel_pair read_kernel(const filter_kernel &given);

verdict accept_filter(const strip_call &call) {
    return accept_formats(call, formats(VIQ_RGB24, VIQ_Y8),
                          {.message = "Supports RGB24 & Y8 only"});
}

void filter_line(const kernel_pair &kernel, filter_lines lines, u8 *target, u32 bytes, u32 gap) {
    std::memcpy(target, lines.current, gap);
    std::memcpy(target + bytes - gap, lines.current + bytes - gap, gap);
    if (kernel.is_small)
        process_rows().filter_small(lines, target, bytes, gap, kernel.small);
    else
        process_rows().filter_wide(lines, target, bytes, gap, kernel.wide);
}

u32 filter_strip(const strip_call &call, const filter_kernel &given) {
    const char *worker = call.worker_name;
    const u64 done = sequence.lines_done;
    const u32 code = begin_strip(call);
    if (is_error(code) || call.in->width == 0 || call.in->lines_per_strip == 0)
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    const u32 gap = bytes_per_pixel(*call.in);
    const u32 bytes = in.width * gap;
    const kernel_pair kernel = read_kernel(given);
    for (u64 n = 0; n < in.lines; ++n) {
        const u8 *line = in.line(n);
        if (done + n == 0 || done + n + 1 == call.in->height) {
            std::memcpy(out.line(n), line, bytes);
            continue;
        }
        const u8 *above = n > 0 ? in.line(n - 1) : kept.line.data();
        const u8 *below = n + 1 < in.lines ? in.line(n + 1) : line;
        filter_line(kernel, {above, line, below}, out.line(n), bytes, gap);
    }
    if (!try_resize(kept.line, bytes))
        return report_no_memory(worker, bytes);
    std::memcpy(kept.line.data(), in.line(in.lines - 1), bytes);
    return success;
}

// The quotient stays the same when the kernel and its sum change their signs together.
kernel_pair read_kernel(const filter_kernel &given) {
    kernel_pair kernel = {};
    i64 sum = 0;
    i64 magnitudes = 0;
    i64 largest = 0;
    for (u32 n = 0; n < 9; ++n) {
        sum += given.values[n];
        magnitudes += std::abs(i64{given.values[n]});
        largest = std::max(largest, std::abs(i64{given.values[n]}));
    }
    const i64 sign = sum < 0 ? -1 : 1;
    kernel.wide.divisor = sum == 0 ? 1 : sign * sum;
    for (u32 n = 0; n < 9; ++n)
        kernel.wide.coefficients[n] = sign * given.values[n];
    kernel.is_small = largest <= 64 && magnitudes <= 128;
    if (kernel.is_small) {
        kernel.small.divisor = static_cast<i32>(kernel.wide.divisor);
        for (u32 n = 0; n < 9; ++n)
            kernel.small.coefficients[n] = static_cast<i32>(kernel.wide.coefficients[n]);
    }
    return kernel;
}

} // namespace
