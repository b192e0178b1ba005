// Single channels of 32-bit data as grey, and grey, YUV and HSI images in pseudo-colour.
#include <algorithm>
#include <bit>

#include "core/format_checks.h"
#include "core/process_lines.h"
#include "core/report.h"
#include "process/process_rows.h"

using namespace viq;

namespace {

verdict check_words(const strip_call &call);
verdict check_bytes(const strip_call &call, const u32 &number);
verdict check_yuv(const strip_call &call);
verdict check_hsi(const strip_call &call);
verdict check_grey(const strip_call &call);
u32 extract_words(const strip_call &call, const u32 &shift);
u32 extract_bytes(const strip_call &call, const u32 &number);
u32 show_yuv(const strip_call &call);
u32 show_hsi(const strip_call &call);
u32 show_grey(const strip_call &call);

VIQ_PER_CONTEXT(strip_sequences<5>, sequences);

template <class Arguments>
constexpr strip_operation<Arguments>
make_operation(const char *name, u32 number, strip_step<verdict, Arguments> check_pixels,
               strip_step<output_shape, Arguments> shape, strip_step<u32, Arguments> process) {
    return {.name = name,
            .sequence = {sequences, number},
            .check_pixels = check_pixels,
            .shape = shape,
            .process = process};
}

constexpr auto words_operation =
    make_operation<u32>("VIQ_SPL_Data32_to_Y8", 0, check_words, in_format<VIQ_Y8>, extract_words);
constexpr auto bytes_operation =
    make_operation<u32>("VIQ_SPL_XXXX32_to_Y8", 1, check_bytes, in_format<VIQ_Y8>, extract_bytes);
constexpr auto yuv_operation = make_operation<no_arguments>(
    "VIQ_SPL_YUV422_to_RGB_pseudo_colour", 2, check_yuv, in_format<VIQ_RGB24>, show_yuv);
constexpr auto hsi_operation = make_operation<no_arguments>(
    "VIQ_SPL_HSI_to_RGB_pseudo_colour", 3, check_hsi, in_format<VIQ_RGB24>, show_hsi);
constexpr auto grey_operation = make_operation<no_arguments>(
    "VIQ_SPL_Y8_to_pseudo_colour", 4, check_grey, in_format<VIQ_RGB16>, show_grey);

} // namespace

u32 VIQ_SPL_Data32_to_Y8(u32 hInImage, u32 hOutImage, u32 dwShift, u16 wStripCommand) {
    return run_conversion(words_operation, hInImage, hOutImage, wStripCommand, dwShift);
}

u32 VIQ_SPL_XXXX32_to_Y8(u32 hInImage, u32 hOutImage, u32 dwByteNumber, u16 wStripCommand) {
    return run_conversion(bytes_operation, hInImage, hOutImage, wStripCommand, dwByteNumber);
}

u32 VIQ_SPL_YUV422_to_RGB_pseudo_colour(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run_conversion(yuv_operation, hInImage, hOutImage, wStripCommand);
}

u32 VIQ_SPL_HSI_to_RGB_pseudo_colour(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run_conversion(hsi_operation, hInImage, hOutImage, wStripCommand);
}

// The option is not used.
u32 VIQ_SPL_Y8_to_pseudo_colour(u32 hInImage, u32 hOutImage, u32, u16 wStripCommand) {
    return run_conversion(grey_operation, hInImage, hOutImage, wStripCommand);
}

namespace {

verdict check_words(const strip_call &call) {
    return accept_formats(call, rgb_32_formats | formats(VIQ_XRGB32));
}

verdict check_bytes(const strip_call &call, const u32 &number) {
    const verdict decision = accept_formats(call, rgb_32_formats);
    if (!decision.go_on || (number >= 1 && number <= 4))
        return decision;
    return stop_with(report(call.name, VIQ_ERR_PARAMETER, "Byte number out of range"));
}

verdict check_yuv(const strip_call &call) {
    const verdict decision = accept_formats(call, formats(VIQ_YUV422));
    return decision.go_on ? accept_even(call, call.in->width) : decision;
}

verdict check_hsi(const strip_call &call) {
    return call.in->pixel_format == VIQ_HSI ? proceed : accept_formats(call, 0);
}

verdict check_grey(const strip_call &call) {
    return accept_formats(call, formats(VIQ_Y8), {.message = "Image format must be VIQ_Y8"});
}

// Words are read and bytes written consecutively, ignoring line padding on both sides; the rest of
// the output strip is set to 0.
u32 extract_words(const strip_call &call, const u32 &shift) {
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    const u64 width = in.width;
    for (u64 n = 0; n < in.lines; ++n)
        process_rows().shift_words(in.data + static_cast<std::size_t>(4 * width * n),
                                   out.data + static_cast<std::size_t>(width * n), in.width,
                                   shift & 31);
    std::fill(out.data + static_cast<std::size_t>(width * in.lines), out.line(out.lines), u8{0});
    return success;
}

u32 extract_bytes(const strip_call &call, const u32 &number) {
    const u32 byte = number - 1;
    const u32 shift = 8 * (std::endian::native == std::endian::little ? byte : 3 - byte);
    return process_lines(call, [&](const u8 *from, u8 *to, u64) {
        process_rows().shift_words(from, to, call.in->width, shift);
    });
}

u32 show_yuv(const strip_call &call) {
    return process_lines(call, [&](const u8 *from, u8 *to, u64) {
        process_rows().pseudo_yuv(from, to, call.in->width / 2);
    });
}

u32 show_hsi(const strip_call &call) {
    return process_lines(call, [&](const u8 *from, u8 *to, u64) {
        process_rows().pseudo_hsi(from, to, call.in->width);
    });
}

u32 show_grey(const strip_call &call) {
    return process_lines(call, [&](const u8 *from, u8 *to, u64) {
        process_rows().pseudo_grey(from, to, call.in->width);
    });
}

} // namespace
