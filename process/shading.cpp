// Flat-field correction of 16-bit grey images.
#include <algorithm>
#include <cstring>
#include <span>

#include "core/byte_order.h"
#include "core/lines.h"
#include "core/report.h"
#include "core/strip_driver.h"
#include "process/process_rows.h"

using namespace viq;

namespace {

struct named_image {
    u32 handle;
    const char *corrupt;
};

constexpr const char *corrupt_in = "Corrupt image - hInImage";
constexpr const char *corrupt_out = "Corrupt image - hOutImage";
constexpr const char *corrupt_offset = "Corrupt image - hOffsetRefImage";
constexpr const char *corrupt_gain = "Corrupt image - hGainRefImage";
constexpr const char *corrupt_black = "Corrupt image - hBlackRefImage";
constexpr const char *corrupt_white = "Corrupt image - hWhiteRefImage";

using named_images = std::span<const named_image>;

u32 check_matching(const char *function, named_images images);
u32 check_target(const char *function, const named_image &target, named_images sources);
u32 prepare_target(const char *function, u32 hFrom, const named_image &to);
void make_references(const tVIQ_Image &black, const tVIQ_Image &white, const tVIQ_Image &offset,
                     const tVIQ_Image &gain);
void correct(const tVIQ_Image &in, const tVIQ_Image &out, const tVIQ_Image &offset,
             const tVIQ_Image &gain);

} // namespace

u32 VIQ_IP_ShadingCorrection_Generate(u32 hBlackRefImage, u32 hWhiteRefImage, u32 hOffsetRefImage,
                                      u32 hGainRefImage) {
    constexpr const char *name = "VIQ_IP_ShadingCorrection_Generate";
    const named_image sources[] = {{hWhiteRefImage, corrupt_white},
                                   {hBlackRefImage, corrupt_black}};
    const named_image gain = {hGainRefImage, corrupt_gain};
    const named_image offset = {hOffsetRefImage, corrupt_offset};
    u32 code = check_matching(name, sources);
    if (!is_error(code))
        code = check_target(name, gain, sources);
    if (!is_error(code))
        code = check_target(name, offset, sources);
    if (!is_error(code))
        code = check_target(name, offset, {&gain, 1});
    if (!is_error(code))
        code = prepare_target(name, hWhiteRefImage, gain);
    if (!is_error(code))
        code = prepare_target(name, hBlackRefImage, offset);
    if (!is_error(code))
        make_references(*find_image(hBlackRefImage), *find_image(hWhiteRefImage),
                        *find_image(hOffsetRefImage), *find_image(hGainRefImage));
    return code;
}

u32 VIQ_IP_ShadingCorrection(u32 hInImage, u32 hOutImage, u32 hOffsetRefImage, u32 hGainRefImage) {
    constexpr const char *name = "VIQ_IP_ShadingCorrection";
    const named_image sources[] = {
        {hInImage, corrupt_in}, {hOffsetRefImage, corrupt_offset}, {hGainRefImage, corrupt_gain}};
    const named_image out = {hOutImage, corrupt_out};
    u32 code = check_matching(name, sources);
    if (!is_error(code))
        code = check_target(name, out, sources);
    if (!is_error(code))
        code = prepare_target(name, hInImage, out);
    if (!is_error(code))
        correct(*find_image(hInImage), *find_image(hOutImage), *find_image(hOffsetRefImage),
                *find_image(hGainRefImage));
    return code;
}

namespace {

// All images must be Y16, have the size of the first one, and hold the lines of their strips.
u32 check_matching(const char *function, named_images images) {
    for (const named_image &image : images) {
        const u32 code = check_image(function, image.handle, image.corrupt);
        if (is_error(code))
            return code;
    }
    const tVIQ_Image &first = *find_image(images[0].handle);
    for (const named_image &image : images)
        if (find_image(image.handle)->pixel_format != VIQ_Y16)
            return report(function, VIQ_ERR_UNSUPPORTED, "Unsupported image format");
    for (const named_image &image : images)
        if (!same_lines(*find_image(image.handle), first))
            return report(function, VIQ_ERR_UNSUPPORTED, "Images do not match");
    for (const named_image &image : images)
        if (!has_lines(*find_image(image.handle), first.lines_per_strip))
            return report_no_data(function);
    return success;
}

// The target must exist and share no buffer with a source, because it gets a new buffer.
u32 check_target(const char *function, const named_image &target, named_images sources) {
    const tVIQ_Image *image = find_image(target.handle);
    if (image == nullptr)
        return check_image(function, target.handle, target.corrupt);
    for (const named_image &source : sources) {
        const tVIQ_Image *from = find_image(source.handle);
        if (from == image || uses_buffer_of(*from, *image))
            return report_same_image(function);
    }
    return success;
}

u32 prepare_target(const char *function, u32 hFrom, const named_image &to) {
    u32 code = VIQ_image_copy_parameters(hFrom, to.handle);
    if (!is_error(code))
        code = check_image(function, to.handle, to.corrupt);
    return is_error(code) ? code : renew_strip(to.handle);
}

// 4.12 fixed point. The integer part is limited to 15; the fraction is kept regardless.
u16 gain_of(u32 black, u32 white) {
    if (white <= black)
        return 65535;
    const double g = 65535.0 / (white - black);
    const u32 whole = std::min(static_cast<u32>(g), 15u);
    return static_cast<u16>((whole << 12) + static_cast<u32>((g - whole) * 4096));
}

void make_references(const tVIQ_Image &black, const tVIQ_Image &white, const tVIQ_Image &offset,
                     const tVIQ_Image &gain) {
    const line_view blacks = lines_of(black);
    const line_view whites = lines_of(white);
    const line_view gains = lines_of(gain);
    for (u64 n = 0; n < blacks.lines; ++n) {
        std::memcpy(lines_of(offset).line(n), blacks.line(n), std::size_t{2} * blacks.width);
        for (std::size_t x = 0; x < blacks.width; ++x)
            store_word(gains.line(n) + 2 * x, gain_of(load_word(blacks.line(n) + 2 * x),
                                                      load_word(whites.line(n) + 2 * x)));
    }
}

// Pixels are processed in pairs: if the width is odd, the last one of a line is not corrected.
void correct(const tVIQ_Image &in, const tVIQ_Image &out, const tVIQ_Image &offset,
             const tVIQ_Image &gain) {
    const line_view source = lines_of(in);
    const line_view target = lines_of(out);
    const u32 pixels = source.width / 2 * 2;
    for (u64 n = 0; n < source.lines; ++n) {
        process_rows().shade(source.line(n), lines_of(offset).line(n), lines_of(gain).line(n),
                             target.line(n), pixels);
        if (pixels != source.width && owns_data(out))
            store_word(target.line(n) + std::size_t{2} * pixels, 0);
    }
}

} // namespace
