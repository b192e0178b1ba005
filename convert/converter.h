// Converters: one strip operation per output format, most of them one row kernel per pixel format.
#pragma once

#include <span>

#include "core/format_checks.h"

namespace viq {

struct converter {
    strip_operation<converter> operation;
    u16 target;
    format_set accepted;
    const char *refusal = "Unsupported image format";
};

// Steps that converters share.

// Copies an input that is in the target's format as it is; refuses one that is not accepted.
verdict copy_or_accept(const strip_call &call, const converter &which);
verdict accept_listed(const strip_call &call, const converter &which);
// For the converters from YUV 4:2:2.
verdict demand_even_yuv422(const strip_call &call);
// The input's size in the converter's target format.
output_shape same_size(const strip_call &call, const converter &which);
// Strip worker: every line through the row kernel of the two formats.
u32 convert_lines(const strip_call &call);

// A converter with the steps that most of them share.
constexpr converter make_converter(const char *name, const char *worker_name,
                                   strip_sequence &sequence, u16 target, format_set accepted) {
    return {.operation = {.name = name,
                          .worker_name = worker_name,
                          .sequence = &sequence,
                          .check_pixels = copy_or_accept,
                          .shape = same_size,
                          .process = convert_lines},
            .target = target,
            .accepted = accepted};
}

// The converter to a format in a family's table, or null.
const converter *find_converter(std::span<const converter> family, u16 target);

inline u32 run(const converter &which, u32 hInImage, u32 hOutImage, u16 command) {
    return run_conversion(which.operation, hInImage, hOutImage, command, which);
}

// The converters by output format: from packed and grey formats, and from YUV 4:2:2. Null for a
// format that none makes.
const converter *packed_converter(u16 target);
const converter *yuv422_converter(u16 target);
extern const converter paletted_converter; // to RGB24, or to Y8 where the colourmap is grey
extern const converter dither_converter;   // RGB24 to the 3-3-2 colourmap

// One strip by itself, outside of every sequence.
inline u32 convert_one_strip(const converter &which, u32 hInImage, u32 hOutImage) {
    return convert_strip(which.operation, hInImage, hOutImage, which);
}

} // namespace viq
