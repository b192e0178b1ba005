#include "tools/image_operations.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "tools/bilevel.h"
#include "tools/grey16_operations.h"
#include "tools/number_arguments.h"
#include "tools/pipeline.h"
#include "tools/pixel_format_table.h"
#include "tools/processing_steps.h"
#include "tools/upper_left_part.h"

namespace tool {

namespace {

// Numbers of VIQ_draw_get_ptr and of the named colours.
constexpr int medium_font = 1;
constexpr uint16_t white = 15;

// Background modes of text.
constexpr uint16_t darkened = 0;

// Named colours have numbers up to 15; the library rejects all others. A negative number is passed
// as the largest one.
uint16_t colour_number(int value) {
    return value < 0 ? uint16_t{65535} : checked_cast<uint16_t>(value);
}

// The output of a library call that processes one image into another.
template <class Call> image result_of(const image &from, const std::string &name, Call call) {
    image to;
    check(call(from.handle, to.handle), name);
    return to;
}

void check_not_empty(const image &picture, const operation_input &in) {
    if (VIQ_get_width(picture.handle) == 0 || VIQ_get_height(picture.handle) == 0)
        throw failure{in.name + ": smaller than " + in.argument + " pixels"};
}

image change_by_factor(image picture, const operation_input &in,
                       uint32_t (*call)(uint32_t, uint32_t, uint16_t, uint16_t)) {
    const numbers n = read_numbers(in.argument, 1, 1, "N");
    const auto factor = checked_cast<uint16_t>(n[0]);
    if (format_of(picture.handle) == VIQ_Y16) {
        // Pixels are copied, so that the operation can take them for another format of two bytes.
        const image words = with_format(picture, VIQ_RGB16, in.name);
        const image changed = result_of(words, in.name, [&](uint32_t from, uint32_t to) {
            return call(from, to, factor, VIQ_STRIP_NEXT);
        });
        check_not_empty(changed, in);
        return with_format(changed, VIQ_Y16, in.name);
    }
    picture = converted_with_notes(
        std::move(picture), {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED, VIQ_RGB15, VIQ_RGB16, VIQ_YUV422},
        in.name);
    image result = result_of(picture, in.name, [&](uint32_t from, uint32_t to) {
        return call(from, to, factor, VIQ_STRIP_NEXT);
    });
    check_not_empty(result, in);
    return result;
}

// Grey files can hold the mosaic of a camera.
image mosaic_from_grey(image picture, const std::string &name) {
    return with_format(converted_to_any(std::move(picture), {VIQ_Y8}, name), VIQ_RGGB32, name);
}

image read_as_yuv422(const std::string &file) {
    return converted_to_any(read_whole(file), {VIQ_YUV422}, file);
}

// Sets the key hue to the mean hue of a picture, and keys it at any luma.
void calibrate(const library_object &object, const image &picture, const operation_input &in) {
    constexpr uint32_t any_luma = 255;
    if (!in.options.screen.empty())
        check(VIQ_CK_calibrate(read_as_yuv422(in.options.screen).handle, object.handle,
                               VIQ_STRIP_NEXT),
              in.options.screen);
    else
        check(VIQ_CK_calibrate(picture.handle, object.handle, VIQ_STRIP_NEXT), in.name);
    check(VIQ_CK_set_parameter(object.handle, VIQ_CK_LUMA_TOLERANCE, any_luma), in.name);
}

const tVIQ_Font *font_of_number(int number, const std::string &name) {
    const tVIQ_Font *font = nullptr;
    check(VIQ_draw_get_ptr(static_cast<uint32_t>(number), &font), name);
    return font;
}

} // namespace

image with_format(const image &picture, uint16_t format, const std::string &name) {
    const pixels from = pixels_of(picture.handle);
    image result;
    check(set_shape(result.handle, format, from.width, from.lines, from.lines), name);
    const pixels to = pixels_of(result.handle);
    const std::size_t bytes = std::size_t{from.width} * bytes_per_pixel(format_of(picture.handle));
    for (uint32_t y = 0; y < from.lines; ++y)
        std::copy_n(from.line(y), bytes, to.line(y));
    return result;
}

// ---- Geometry

image subsample(image picture, const operation_input &in) {
    return change_by_factor(std::move(picture), in, VIQ_IP_subsample);
}

image replicate(image picture, const operation_input &in) {
    return change_by_factor(std::move(picture), in, VIQ_IP_pixel_rep);
}

image rotate_quarters(image picture, const operation_input &in) {
    const numbers n = read_numbers(in.argument, 1, 1, "ANGLE");
    return result_of(picture, in.name, [&](uint32_t from, uint32_t to) {
        return VIQ_IP_rotate_image(from, to, checked_cast<uint16_t>(n[0]));
    });
}

image bilevel(image picture, const operation_input &in) {
    constexpr int lowest_level = 1;
    constexpr int highest_level = 255;
    int level = 0; // error diffusion
    if (in.argument != "dither" &&
        (!read_number(in.argument, level) || level < lowest_level || level > highest_level))
        reject_argument(in.argument, "LEVEL, 1 to 255, or dither");
    picture = converted_to_any(std::move(picture), {VIQ_Y8}, in.name);
    return level == 0 ? dither_to_bits(picture, in.name)
                      : threshold_to_bits(picture, level, in.name);
}

// ---- Cameras and video

image mosaic(image picture, const operation_input &in) {
    picture = converted_with_notes(std::move(picture), {VIQ_RGB24}, in.name);
    return result_of(picture, in.name, [](uint32_t from, uint32_t to) {
        return VIQ_BAY_RGB24_to_RGGB32(from, to, VIQ_STRIP_NEXT);
    });
}

image demosaic(image picture, const operation_input &in) {
    const numbers n = read_numbers(in.argument, 1, 2, "SCHEME[,PHASE]");
    const int phase = n.size() > 1 ? n[1] : in.options.phase;
    if (format_of(picture.handle) != VIQ_RGGB32)
        picture = mosaic_from_grey(std::move(picture), in.name);
    return result_of(picture, in.name, [&](uint32_t from, uint32_t to) {
        return VIQ_BAY_RGGB32_to_BGRX32(from, to, checked_cast<uint16_t>(n[0]),
                                        checked_cast<uint16_t>(phase), VIQ_STRIP_NEXT);
    });
}

image field_to_frame(image picture, const operation_input &in) {
    const numbers n = read_numbers(in.argument, 1, 1, "SCHEME");
    picture = converted_with_notes(std::move(picture), {VIQ_RGB24, VIQ_Y8, VIQ_YUV422}, in.name);
    return result_of(picture, in.name, [&](uint32_t from, uint32_t to) {
        return VIQ_SPL_field_to_frame(from, to, checked_cast<uint16_t>(n[0]), VIQ_STRIP_NEXT);
    });
}

image pseudo_colour(image picture, const operation_input &in) {
    const uint16_t format = format_of(picture.handle);
    if (format != VIQ_YUV422 && format != VIQ_HSI)
        picture = converted_to_any(std::move(picture), {VIQ_Y8}, in.name);
    return result_of(picture, in.name, [&](uint32_t from, uint32_t to) {
        switch (format_of(from)) {
        case VIQ_YUV422:
            return VIQ_SPL_YUV422_to_RGB_pseudo_colour(from, to, VIQ_STRIP_NEXT);
        case VIQ_HSI:
            return VIQ_SPL_HSI_to_RGB_pseudo_colour(from, to, VIQ_STRIP_NEXT);
        default:
            return VIQ_SPL_Y8_to_pseudo_colour(from, to, 0, VIQ_STRIP_NEXT);
        }
    });
}

// ---- Chroma keying

image key(image picture, const operation_input &in) {
    constexpr uint16_t soft_edges = 1; // mode
    const std::size_t comma = in.argument.find(',');
    const bool has_background = comma != std::string::npos;
    int colour = 0;
    if (!read_number(in.argument.substr(0, comma), colour) || comma + 1 == in.argument.size())
        reject_argument(in.argument, "COLOUR[,BACKGROUND]");
    const uint32_t width = VIQ_get_width(picture.handle);
    picture = converted_with_notes(std::move(picture), {VIQ_YUV422}, in.name);
    const library_object object(VIQ_CK_create(), VIQ_CK_destroy);
    if (calibrates(in.options))
        calibrate(object, picture, in);
    image background = image(0);
    if (has_background)
        background = read_as_yuv422(in.argument.substr(comma + 1));
    image keyed = result_of(picture, in.name, [&](uint32_t from, uint32_t to) {
        return VIQ_CK_chroma_key(from, to, background.handle, colour_number(colour), object.handle,
                                 soft_edges, VIQ_STRIP_NEXT);
    });
    if (width == VIQ_get_width(keyed.handle))
        return keyed;
    // YUV 4:2:2 has an even width.
    keyed = converted_with_notes(std::move(keyed), {VIQ_RGB24}, in.name);
    return upper_left_part(keyed, width, VIQ_get_height(keyed.handle), in.name);
}

// ---- Drawing

// Up to five numbers after the last commas of the argument are the position, font, colour and
// background; the text itself can contain commas.
image text(image picture, const operation_input &in) {
    constexpr std::size_t most_numbers = 5;
    constexpr int defaults[most_numbers] = {1, 1, medium_font, white, darkened};
    std::string words = in.argument;
    numbers n;
    while (n.size() < most_numbers) {
        const std::size_t comma = words.rfind(',');
        int number = 0;
        if (comma == std::string::npos || !read_number(words.substr(comma + 1), number))
            break;
        n.insert(n.begin(), number);
        words.resize(comma);
    }
    n.insert(n.end(), std::begin(defaults) + n.size(), std::end(defaults));
    // The library rejects position 0 with a message that also fits negative positions.
    const auto position = [](int value) { return static_cast<uint32_t>(std::max(value, 0)); };
    picture = converted_with_notes(std::move(picture), {VIQ_RGB24, VIQ_Y8, VIQ_YUV422}, in.name);
    check(VIQ_draw_text(picture.handle, words.c_str(), font_of_number(n[2], in.name),
                        position(n[0]), position(n[1]), checked_cast<uint16_t>(n[4]),
                        colour_number(n[3])),
          in.name);
    return picture;
}

image timestamp(image picture, const operation_input &in) {
    constexpr uint32_t characters = 16; // of the date and time
    picture = converted_with_notes(std::move(picture), {VIQ_RGB24, VIQ_Y8, VIQ_YUV422}, in.name);
    const tVIQ_Font &font = *font_of_number(medium_font, in.name);
    const uint32_t width = VIQ_get_width(picture.handle);
    const uint32_t height = VIQ_get_height(picture.handle);
    const uint32_t text_width = characters * font.width;
    check(VIQ_draw_timestamp(picture.handle, &font, width > text_width ? width - text_width : 1,
                             height > font.height ? height - font.height : 1, darkened, white),
          in.name);
    return picture;
}

} // namespace tool
