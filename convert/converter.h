// Converters: one strip operation per output format. Most of them run one row kernel on each line.
#pragma once

#include <array>

#include "core/format_checks.h"

namespace viq {

struct converter {
    strip_operation<converter> operation;
    u16 target;
    format_set accepted;
    const char *refusal = "Unsupported image format";
};

// ---- Steps that converters share

// Requires a format of the converter's list, and the width that 16-bit grey needs.
verdict check_listed_format(const strip_call &call, const converter &which);
// The same, but an input that is already in the target format is copied.
verdict copy_or_check_format(const strip_call &call, const converter &which);
// Requires YUV 4:2:2 of an even width.
verdict check_even_yuv422(const strip_call &call);
// The input's size in the converter's target format.
output_shape same_size(const strip_call &call, const converter &which);
// Strip worker: runs the row kernel of the two formats on every line.
u32 convert_lines(const strip_call &call);

// A converter with the steps that most converters have.
constexpr converter make_converter(const char *name, const char *worker_name,
                                   sequence_place sequence, u16 target, format_set accepted) {
    return {.operation = {.name = name,
                          .worker_name = worker_name,
                          .sequence = sequence,
                          .check_pixels = copy_or_check_format,
                          .shape = same_size,
                          .process = convert_lines},
            .target = target,
            .accepted = accepted};
}

// The number of the converter to each format in a table of converters, by the row of the format;
// the table's size if it has none.
template <std::size_t count>
consteval std::array<u8, format_count + 1> numbers_by_target(const converter (&family)[count]) {
    std::array<u8, format_count + 1> numbers = {};
    numbers.fill(count);
    for (std::size_t n = 0; n < count; ++n)
        numbers[row_of_format(family[n].target)] = static_cast<u8>(n);
    numbers[format_count] = count;
    return numbers;
}

// The converter to a format in a table of converters, or null.
template <const auto &family> const converter *find_converter(u16 target) {
    constexpr std::array numbers = numbers_by_target(family);
    const std::size_t number = numbers[row_of_format(target)];
    return number != std::size(family) ? &family[number] : nullptr;
}

inline u32 run(const converter &which, u32 hInImage, u32 hOutImage, u16 command) {
    return run_conversion(which.operation, hInImage, hOutImage, command, which);
}

// The converters by output format; null if there is none.
const converter *packed_converter(u16 target);       // from packed and grey formats
const converter *yuv422_converter(u16 target);       // from YUV 4:2:2, and to it
const converter *yuv422_table_converter(u16 target); // from YUV 4:2:2 by a conversion table
extern const converter to_paletted_converter;        // by the bins of the colourmap record
extern const converter to_paletted_by_table;         // by a conversion table
extern const converter paletted_converter;           // to RGB24, or to Y8 if the colourmap is grey
extern const converter dither_converter;             // RGB24 to the 3-3-2 colourmap

// Converts one strip outside of every sequence.
inline u32 convert_one_strip(const converter &which, u32 hInImage, u32 hOutImage) {
    return convert_strip(which.operation, hInImage, hOutImage, which);
}

} // namespace viq
