// The `process` step of operations that treat every line of a strip on its own.
#pragma once

#include "core/lines.h"
#include "core/strip_driver.h"

namespace viq {

// Prepares the output strip, then calls row(source, target, n) for each line n of the strip.
template <class Row> u32 process_lines(const strip_call &call, Row row) {
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    for (u64 n = 0; n < in.lines; ++n)
        row(in.line(n), out.line(n), n);
    return success;
}

} // namespace viq
