// Single channels of 32-bit data, and grey, YUV and HSI data shown as false colour.
#include <algorithm>
#include <bit>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"
#include "process/rows.h"

using namespace viq;

namespace {

verdict accept_words(const strip_call &call);
verdict accept_bytes(const strip_call &call, const u32 &number);
verdict accept_yuv(const strip_call &call);
verdict accept_hsi(const strip_call &call);
verdict accept_grey(const strip_call &call);
u32 extract_words(const strip_call &call, const u32 &number);
u32 extract_bytes(const strip_call &call, const u32 &number);
u32 show_yuv(const strip_call &call);
u32 show_hsi(const strip_call &call);
u32 show_grey(const strip_call &call);

strip_sequence sequences[5];

constexpr strip_operation<u32> words_operation = {.name = "VIQ_SPL_Data32_to_Y8",
                                                  .sequence = &sequences[0],
                                                  .check_pixels = accept_words,
                                                  .shape = in_format<VIQ_Y8>,
                                                  .process = extract_words};
constexpr strip_operation<u32> bytes_operation = {.name = "VIQ_SPL_XXXX32_to_Y8",
                                                  .sequence = &sequences[1],
                                                  .check_pixels = accept_bytes,
                                                  .shape = in_format<VIQ_Y8>,
                                                  .process = extract_bytes};
constexpr strip_operation<> yuv_operation = {.name = "VIQ_SPL_YUV422_to_RGB_pseudo_colour",
                                             .sequence = &sequences[2],
                                             .check_pixels = accept_yuv,
                                             .shape = in_format<VIQ_RGB24>,
                                             .process = show_yuv};
constexpr strip_operation<> hsi_operation = {.name = "VIQ_SPL_HSI_to_RGB_pseudo_colour",
                                             .sequence = &sequences[3],
                                             .check_pixels = accept_hsi,
                                             .shape = in_format<VIQ_RGB24>,
                                             .process = show_hsi};
constexpr strip_operation<> grey_operation = {.name = "VIQ_SPL_Y8_to_pseudo_colour",
                                              .sequence = &sequences[4],
                                              .check_pixels = accept_grey,
                                              .shape = in_format<VIQ_RGB16>,
                                              .process = show_grey};

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

// The option has no effect on the colours.
u32 VIQ_SPL_Y8_to_pseudo_colour(u32 hInImage, u32 hOutImage, u32, u16 wStripCommand) {
    return run_conversion(grey_operation, hInImage, hOutImage, wStripCommand);
}

namespace {

verdict accept_words(const strip_call &call) {
    return accept_formats(call, formats(VIQ_RGBX32, VIQ_BGRX32, VIQ_XRGB32, VIQ_XBGR32));
}

verdict accept_bytes(const strip_call &call, const u32 &number) {
    const verdict decision = accept_formats(call, formats(VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32));
    if (!decision.go_on || (number >= 1 && number <= 4))
        return decision;
    return stop_with(report(call.name, VIQ_ERR_PARAMETER, "Byte number out of range"));
}

verdict accept_yuv(const strip_call &call) {
    const verdict decision = accept_formats(call, formats(VIQ_YUV422));
    return decision.go_on ? accept_even(call, call.in->width) : decision;
}

verdict accept_hsi(const strip_call &call) {
    return call.in->pixel_format == VIQ_HSI ? proceed : accept_formats(call, 0);
}

verdict accept_grey(const strip_call &call) {
    return accept_formats(call, formats(VIQ_Y8), {.message = "Image format must be VIQ_Y8"});
}

template <class Row> u32 for_lines(const strip_call &call, Row row) {
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    for (u64 n = 0; n < in.lines; ++n)
        row(in.line(n), out.line(n), in.width);
    return success;
}

// Words follow one another on both sides without regard to padding; bytes behind them become 0.
u32 extract_words(const strip_call &call, const u32 &number) {
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    const u64 line = in.width;
    for (u64 n = 0; n < in.lines; ++n)
        process_rows().shift_words(in.data + static_cast<std::size_t>(4 * line * n),
                                   out.data + static_cast<std::size_t>(line * n), in.width,
                                   number & 31);
    std::fill(out.data + static_cast<std::size_t>(line * in.lines), out.line(out.lines), u8{0});
    return success;
}

u32 extract_bytes(const strip_call &call, const u32 &number) {
    const u32 byte = number - 1;
    const u32 shift = 8 * (std::endian::native == std::endian::little ? byte : 3 - byte);
    return for_lines(call, [shift](const u8 *from, u8 *to, u32 pixels) {
        process_rows().shift_words(from, to, pixels, shift);
    });
}

u32 show_yuv(const strip_call &call) {
    return for_lines(call, [](const u8 *from, u8 *to, u32 pixels) {
        process_rows().pseudo_yuv(from, to, pixels / 2);
    });
}

u32 show_hsi(const strip_call &call) {
    return for_lines(call, process_rows().pseudo_hsi);
}

u32 show_grey(const strip_call &call) {
    return for_lines(call, process_rows().pseudo_grey);
}

} // namespace
