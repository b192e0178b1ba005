// Filtering with a 3 x 3 kernel.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "convert/converter.h"
#include "core/lines.h"
#include "core/report.h"
#include "process/rows.h"

using namespace viq;

namespace {

verdict accept_filter(const strip_call &call);
u32 filter_strip(const strip_call &call);

strip_sequence sequence;

// The line above the next strip.
struct kept_line {
    std::vector<u8> bytes;
    strip_geometry geometry;
};

kept_line kept;

constexpr strip_operation filter_operation = {.name = "VIQ_IP_filter_3x3",
                                              .worker_name = "VIQ_IP_filter_3x3_1_strip",
                                              .sequence = &sequence,
                                              .refuse = nullptr,
                                              .accept = accept_filter,
                                              .shape = same_shape,
                                              .complete = nullptr,
                                              .process = filter_strip,
                                              .bare_parameters = true};

} // namespace

u32 VIQ_IP_filter_3x3(u32 hInImage, u32 hOutImage, const i32 *pKernel, u16 wMode) {
    if (pKernel == nullptr && wMode == VIQ_STRIP_NEXT)
        return report_null("VIQ_IP_filter_3x3");
    return run_conversion(filter_operation, hInImage, hOutImage, wMode, pKernel);
}

namespace {

struct kernel_pair {
    wide_kernel wide;
    small_kernel small;
    bool is_small;
};

kernel_pair read_kernel(const i32 *given);

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

u32 filter_strip(const strip_call &call) {
    const char *worker = call.operation->worker_name;
    const u64 done = sequence.lines_done;
    if (done != 0 && kept.geometry != geometry_of(*call.in))
        return report_changed_image(worker);
    const u32 code = begin_strip(call);
    if (is_error(code) || call.in->width == 0 || call.in->lines_per_strip == 0)
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    const u32 gap = bytes_per_pixel(*call.in);
    const u32 bytes = in.width * gap;
    const kernel_pair kernel = read_kernel(static_cast<const i32 *>(call.arguments));
    for (u64 n = 0; n < in.lines; ++n) {
        const u8 *line = in.line(n);
        if (done + n == 0 || done + n + 1 == call.in->height) {
            std::memcpy(out.line(n), line, bytes);
            continue;
        }
        const u8 *above = n > 0 ? in.line(n - 1) : kept.bytes.data();
        const u8 *below = n + 1 < in.lines ? in.line(n + 1) : line;
        filter_line(kernel, {above, line, below}, out.line(n), bytes, gap);
    }
    if (!try_resize(kept.bytes, bytes))
        return report_no_memory(worker, bytes);
    std::memcpy(kept.bytes.data(), in.line(in.lines - 1), bytes);
    kept.geometry = geometry_of(*call.in);
    return success;
}

// The quotient stays the same when the kernel and its sum change their signs together.
kernel_pair read_kernel(const i32 *given) {
    kernel_pair kernel = {};
    i64 sum = 0;
    i64 magnitudes = 0;
    i64 largest = 0;
    for (u32 n = 0; n < 9; ++n) {
        sum += given[n];
        magnitudes += std::abs(i64{given[n]});
        largest = std::max(largest, std::abs(i64{given[n]}));
    }
    const i64 sign = sum < 0 ? -1 : 1;
    kernel.wide.divisor = sum == 0 ? 1 : sign * sum;
    for (u32 n = 0; n < 9; ++n)
        kernel.wide.coefficients[n] = sign * given[n];
    kernel.is_small = largest <= 64 && magnitudes <= 128;
    if (kernel.is_small) {
        kernel.small.divisor = static_cast<i32>(kernel.wide.divisor);
        for (u32 n = 0; n < 9; ++n)
            kernel.small.coefficients[n] = static_cast<i32>(kernel.wide.coefficients[n]);
    }
    return kernel;
}

} // namespace
