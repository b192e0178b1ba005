// Converts the lines of an image of any format to the pixels that are printed.
#pragma once

#include "convert/conversion_rows.h"
#include "core/format_checks.h"

namespace viq {

// How lines are converted: in no, one or two steps.
struct print_lines {
    u16 format = 0;        // of the result
    bool converts = false; // false: lines are used as they are
    row_kernel first = nullptr;
    row_kernel second = nullptr; // null: there is one step at most
    row_options options = {};
    u32 white = 0; // 16-bit grey of less than 8 bits: its largest value
};

// The conversion of the image to its own format if that is one of `kept`, else to VIQ_Y8 or to
// `colour`. False: the format cannot be printed.
bool find_print_lines(const tVIQ_Image &image, format_set kept, u16 colour, print_lines &lines);

// Bytes of a line of this format.
u64 printed_line_bytes(u16 format, u32 width);

// For lines that are converted. `scratch` has room for a line of 3 bytes a pixel.
void convert_print_line(const print_lines &lines, const u8 *source, u8 *target, u8 *scratch,
                        u32 width);

} // namespace viq
