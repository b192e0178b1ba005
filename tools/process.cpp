#include "tools/process.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <utility>
#include <vector>

#include "tools/pipeline.h"

namespace tool {

namespace {

using numbers = std::vector<int>;

// An operation: how its argument reads, the formats it takes (empty: any), and what it does.
struct operation {
    std::string process_options::*argument; // one of the two is null
    bool process_options::*flag;
    image (*run)(image picture, const std::string &argument, const std::string &file);
};

image crop(image picture, const std::string &argument, const std::string &file);
image scale(image picture, const std::string &argument, const std::string &file);
image subsample(image picture, const std::string &argument, const std::string &file);
image replicate(image picture, const std::string &argument, const std::string &file);
image rotate(image picture, const std::string &argument, const std::string &file);
image mirror(image picture, const std::string &argument, const std::string &file);
image filter(image picture, const std::string &argument, const std::string &file);
image look_up(image picture, const std::string &argument, const std::string &file);
image threshold(image picture, const std::string &argument, const std::string &file);
image mosaic(image picture, const std::string &argument, const std::string &file);
image demosaic(image picture, const std::string &argument, const std::string &file);
image field_to_frame(image picture, const std::string &argument, const std::string &file);
image pseudo_colour(image picture, const std::string &argument, const std::string &file);
image key(image picture, const process_options &options, const std::string &file);
image text(image picture, const std::string &argument, const std::string &file);
image timestamp(image picture, const std::string &argument, const std::string &file);

constexpr operation operations[] = {
    {&process_options::crop, nullptr, crop},
    {&process_options::scale, nullptr, scale},
    {&process_options::subsample, nullptr, subsample},
    {&process_options::replicate, nullptr, replicate},
    {&process_options::rotate, nullptr, rotate},
    {nullptr, &process_options::mirror, mirror},
    {&process_options::filter, nullptr, filter},
    {&process_options::lut, nullptr, look_up},
    {&process_options::threshold, nullptr, threshold},
    {nullptr, &process_options::mosaic, mosaic},
    {&process_options::demosaic, nullptr, demosaic},
    {&process_options::field_to_frame, nullptr, field_to_frame},
    {nullptr, &process_options::pseudo, pseudo_colour},
    {&process_options::key, nullptr, nullptr}, // takes other options as well
    {&process_options::text, nullptr, text},
    {nullptr, &process_options::timestamp, timestamp},
};

bool calibrates(const process_options &options) {
    return options.calibrate || !options.screen.empty();
}

bool is_wanted(const operation &step, const process_options &options) {
    return step.flag != nullptr ? options.*step.flag : !(options.*step.argument).empty();
}

} // namespace

bool wants_processing(const process_options &options) {
    if (calibrates(options) && options.key.empty())
        throw failure{"--calibrate and --screen need --key"};
    return std::any_of(std::begin(operations), std::end(operations),
                       [&](const operation &step) { return is_wanted(step, options); });
}

image process(image picture, const process_options &options, const std::string &file) {
    for (const operation &step : operations) {
        if (!is_wanted(step, options))
            continue;
        if (step.argument == &process_options::key)
            picture = key(std::move(picture), options, file);
        else
            picture = step.run(std::move(picture),
                               step.argument != nullptr ? options.*step.argument : "", file);
    }
    // A mosaic that is still one is shown in its colours.
    if (format_of(picture.handle) == VIQ_RGGB32) {
        image shown;
        check(VIQ_BAY_RGGB32_map_to_RGB24(picture.handle, shown.handle, VIQ_STRIP_NEXT), file);
        return shown;
    }
    return picture;
}

image brought_to(image picture, std::initializer_list<u16> formats, const std::string &file) {
    route way = route_from(picture_of(picture.handle));
    way.whole = true;
    if (std::find(formats.begin(), formats.end(), way.format) != formats.end())
        return picture;
    extend_to_any(way, std::vector<u16>(formats), file);
    return run_to_memory({file, picture.handle, way.steps, VIQ_get_height(picture.handle)});
}

namespace {

// ---- Arguments

std::vector<std::string> split(const std::string &text, char separator = ',') {
    std::vector<std::string> parts(1);
    for (const char c : text)
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

bool read_number(const std::string &text, int &number) {
    const char *end = text.data() + text.size();
    const auto [rest, trouble] = std::from_chars(text.data(), end, number);
    return trouble == std::errc() && rest == end && !text.empty();
}

[[noreturn]] void reject(const std::string &argument, const char *form) {
    throw failure{"'" + argument + "' is not of the form " + form};
}

numbers read_numbers(const std::string &argument, std::size_t least, std::size_t most,
                     const char *form, char separator = ',') {
    numbers found;
    for (const std::string &part : split(argument, separator)) {
        found.push_back(0);
        if (!read_number(part, found.back()))
            reject(argument, form);
    }
    if (found.size() < least || found.size() > most)
        reject(argument, form);
    return found;
}

template <class Number> Number narrowed(int value) {
    if (!std::in_range<Number>(value))
        throw failure{"'" + std::to_string(value) + "' is out of range"};
    return static_cast<Number>(value);
}

u16 word(int value) {
    return narrowed<u16>(value);
}

// No colour has a negative number, and the library knows none so high.
u16 number_of_colour(int value) {
    return value < 0 ? u16{65535} : word(value);
}

i16 short_of(int value) {
    return narrowed<i16>(value);
}

// ---- Operations

// The result of a call that turns one image into another.
template <class Call> image made(const image &from, const std::string &file, Call call) {
    image to;
    check(call(from.handle, to.handle), file);
    return to;
}

image crop(image picture, const std::string &argument, const std::string &file) {
    const numbers n = read_numbers(argument, 4, 4, "X,Y,W,H");
    if (format_of(picture.handle) == VIQ_RGB8 || format_of(picture.handle) == VIQ_XRGB32)
        picture = brought_to(std::move(picture), {VIQ_RGB24}, file);
    return made(picture, file, [&](u32 in, u32 out) {
        return VIQ_IP_crop(in, out, short_of(n[0]), short_of(n[1]), short_of(n[2]), short_of(n[3]),
                           VIQ_STRIP_NEXT);
    });
}

image scale(image picture, const std::string &argument, const std::string &file) {
    const numbers n = read_numbers(argument, 2, 2, "WxH", 'x');
    if (n[0] <= 0 || n[1] <= 0)
        reject(argument, "WxH");
    picture = brought_to(std::move(picture), {VIQ_RGB24, VIQ_Y8}, file);
    return made(picture, file, [&](u32 in, u32 out) {
        return VIQ_IP_scale(in, out, static_cast<u32>(n[0]), static_cast<u32>(n[1]),
                            VIQ_STRIP_NEXT);
    });
}

image by_factor(image picture, const std::string &argument, const std::string &file,
                u32 (*call)(u32, u32, u16, u16)) {
    const numbers n = read_numbers(argument, 1, 1, "N");
    picture = brought_to(std::move(picture),
                         {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED, VIQ_RGB15, VIQ_RGB16, VIQ_YUV422}, file);
    image result = made(picture, file,
                        [&](u32 in, u32 out) { return call(in, out, word(n[0]), VIQ_STRIP_NEXT); });
    if (VIQ_get_width(result.handle) == 0 || VIQ_get_height(result.handle) == 0)
        throw failure{file + ": smaller than " + argument + " pixels"};
    return result;
}

image subsample(image picture, const std::string &argument, const std::string &file) {
    return by_factor(std::move(picture), argument, file, VIQ_IP_subsample);
}

image replicate(image picture, const std::string &argument, const std::string &file) {
    return by_factor(std::move(picture), argument, file, VIQ_IP_pixel_rep);
}

image rotate(image picture, const std::string &argument, const std::string &file) {
    const numbers n = read_numbers(argument, 1, 1, "ANGLE");
    return made(picture, file,
                [&](u32 in, u32 out) { return VIQ_IP_rotate_image(in, out, word(n[0])); });
}

image mirror(image picture, const std::string &, const std::string &file) {
    return made(picture, file,
                [](u32 in, u32 out) { return VIQ_IP_mirror_image(in, out, VIQ_STRIP_NEXT); });
}

image filter(image picture, const std::string &argument, const std::string &file) {
    const struct {
        const char *name;
        numbers kernel;
    } named[] = {{"blur", {1, 1, 1, 1, 1, 1, 1, 1, 1}},
                 {"sharpen", {0, -1, 0, -1, 5, -1, 0, -1, 0}},
                 {"edge", {-1, -1, -1, -1, 8, -1, -1, -1, -1}}};
    numbers kernel;
    for (const auto &row : named)
        if (argument == row.name)
            kernel = row.kernel;
    if (kernel.empty())
        kernel = read_numbers(argument, 9, 9, "blur, sharpen, edge or k1,..,k9");
    const std::vector<i32> coefficients(kernel.begin(), kernel.end());
    picture = brought_to(std::move(picture), {VIQ_RGB24, VIQ_Y8}, file);
    return made(picture, file, [&](u32 in, u32 out) {
        return VIQ_IP_filter_3x3(in, out, coefficients.data(), VIQ_STRIP_NEXT);
    });
}

struct scoped_lut {
    u32 handle = VIQ_LUT_create(256, 1);
    scoped_lut() = default;
    scoped_lut(const scoped_lut &) = delete;
    scoped_lut &operator=(const scoped_lut &) = delete;
    ~scoped_lut() { VIQ_LUT_destroy(handle); }
};

image look_up(image picture, const std::string &argument, const std::string &file) {
    constexpr const char *form = "brightness=N,contrast=N,gamma=N,r=N,g=N,b=N";
    constexpr const char *names[] = {"brightness", "contrast", "gamma", "r", "g", "b"};
    i16 percent[] = {100, 100, 100, 100, 100, 100};
    for (const std::string &part : split(argument)) {
        const std::vector<std::string> pair = split(part, '=');
        const auto name = std::find(std::begin(names), std::end(names), pair[0]);
        int value = 0;
        if (pair.size() != 2 || name == std::end(names) || !read_number(pair[1], value))
            reject(argument, form);
        percent[name - std::begin(names)] = short_of(value);
    }
    const scoped_lut lut;
    check(lut.handle, file);
    check(VIQ_LUT_generate(lut.handle, percent[0], percent[1], percent[2], percent[3], percent[4],
                           percent[5]),
          file);
    picture = brought_to(std::move(picture),
                         {VIQ_RGB24, VIQ_Y8, VIQ_YUV422, VIQ_RGB16, VIQ_RGB15, VIQ_RGB8}, file);
    return made(picture, file, [&](u32 in, u32 out) {
        return VIQ_LUT_apply(in, out, lut.handle, VIQ_STRIP_NEXT);
    });
}

image threshold(image picture, const std::string &argument, const std::string &file) {
    const numbers n = read_numbers(argument, 2, 2, "LO,HI");
    picture = brought_to(std::move(picture), {VIQ_Y8}, file);
    return made(picture, file, [&](u32 in, u32 out) {
        return VIQ_IP_threshold_grayscale(in, out, word(n[1]), word(n[0]), VIQ_STRIP_NEXT);
    });
}

image mosaic(image picture, const std::string &, const std::string &file) {
    picture = brought_to(std::move(picture), {VIQ_RGB24}, file);
    return made(picture, file,
                [](u32 in, u32 out) { return VIQ_BAY_RGB24_to_RGGB32(in, out, VIQ_STRIP_NEXT); });
}

// A grey picture counts as a mosaic as it comes from a camera.
image demosaic(image picture, const std::string &argument, const std::string &file) {
    numbers n = read_numbers(argument, 1, 2, "SCHEME[,PHASE]");
    n.resize(2, n.size() > 1 ? n[1] : 1);
    if (format_of(picture.handle) != VIQ_RGGB32) {
        const image grey = brought_to(std::move(picture), {VIQ_Y8}, file);
        const pixels from = pixels_of(grey.handle);
        image samples;
        check(shape(samples.handle, VIQ_RGGB32, from.width, from.lines, from.lines), file);
        const pixels to = pixels_of(samples.handle);
        for (u32 y = 0; y < from.lines; ++y)
            std::copy_n(from.line(y), from.width, to.line(y));
        picture = std::move(samples);
    }
    return made(picture, file, [&](u32 in, u32 out) {
        return VIQ_BAY_RGGB32_to_BGRX32(in, out, word(n[0]), word(n[1]), VIQ_STRIP_NEXT);
    });
}

image field_to_frame(image picture, const std::string &argument, const std::string &file) {
    const numbers n = read_numbers(argument, 1, 1, "SCHEME");
    picture = brought_to(std::move(picture), {VIQ_RGB24, VIQ_Y8, VIQ_YUV422}, file);
    return made(picture, file, [&](u32 in, u32 out) {
        return VIQ_SPL_field_to_frame(in, out, word(n[0]), VIQ_STRIP_NEXT);
    });
}

image pseudo_colour(image picture, const std::string &, const std::string &file) {
    picture = brought_to(std::move(picture), {VIQ_Y8, VIQ_YUV422, VIQ_HSI}, file);
    return made(picture, file, [&](u32 in, u32 out) {
        switch (format_of(in)) {
        case VIQ_YUV422:
            return VIQ_SPL_YUV422_to_RGB_pseudo_colour(in, out, VIQ_STRIP_NEXT);
        case VIQ_HSI:
            return VIQ_SPL_HSI_to_RGB_pseudo_colour(in, out, VIQ_STRIP_NEXT);
        default:
            return VIQ_SPL_Y8_to_pseudo_colour(in, out, 0, VIQ_STRIP_NEXT);
        }
    });
}

image yuv422_of_file(const std::string &file) {
    return brought_to(run_to_memory({file, 0, {}}), {VIQ_YUV422}, file);
}

// Calibrated, the mean hue of the empty screen, or of the picture itself, is keyed at whatever
// brightness.
image key(image picture, const process_options &options, const std::string &file) {
    constexpr const char *form = "COLOUR[,BACKGROUND]";
    const std::string &argument = options.key;
    const std::size_t comma = argument.find(',');
    int colour = 0;
    if (!read_number(argument.substr(0, comma), colour) || comma + 1 == argument.size())
        reject(argument, form);
    picture = brought_to(std::move(picture), {VIQ_YUV422}, file);
    const scoped_key object;
    check(object.handle, file);
    if (!options.screen.empty()) {
        const image screen = yuv422_of_file(options.screen);
        check(VIQ_CK_calibrate(screen.handle, object.handle, VIQ_STRIP_NEXT), options.screen);
    } else if (options.calibrate) {
        check(VIQ_CK_calibrate(picture.handle, object.handle, VIQ_STRIP_NEXT), file);
    }
    if (calibrates(options))
        check(VIQ_CK_set_parameter(object.handle, VIQ_CK_LUMA_TOLERANCE, 255), file);
    image background;
    if (comma != std::string::npos)
        background = yuv422_of_file(argument.substr(comma + 1));
    return made(picture, file, [&](u32 in, u32 out) {
        return VIQ_CK_chroma_key(in, out, comma != std::string::npos ? background.handle : 0,
                                 number_of_colour(colour), object.handle, 1, VIQ_STRIP_NEXT);
    });
}

const tVIQ_Font *font_number(int number, const std::string &file) {
    const tVIQ_Font *font = nullptr;
    check(VIQ_draw_get_ptr(static_cast<u32>(number), &font), file);
    return font;
}

// Numbers behind the text's last commas are the place, font, colour and background.
image text(image picture, const std::string &argument, const std::string &file) {
    std::string words = argument;
    numbers n;
    while (n.size() < 5) {
        const std::size_t comma = words.rfind(',');
        int number = 0;
        if (comma == std::string::npos || !read_number(words.substr(comma + 1), number))
            break;
        n.insert(n.begin(), number);
        words.resize(comma);
    }
    constexpr int usual[] = {1, 1, 1, 15, 0};
    for (std::size_t i = n.size(); i < 5; ++i)
        n.push_back(usual[i]);
    picture = brought_to(std::move(picture), {VIQ_RGB24, VIQ_Y8, VIQ_YUV422}, file);
    check(VIQ_draw_text(picture.handle, words.c_str(), font_number(n[2], file),
                        static_cast<u32>(std::max(n[0], 0)), static_cast<u32>(std::max(n[1], 0)),
                        word(n[4]), number_of_colour(n[3])),
          file);
    return picture;
}

image timestamp(image picture, const std::string &, const std::string &file) {
    picture = brought_to(std::move(picture), {VIQ_RGB24, VIQ_Y8, VIQ_YUV422}, file);
    const tVIQ_Font &font = *font_number(1, file);
    const u32 width = VIQ_get_width(picture.handle);
    const u32 height = VIQ_get_height(picture.handle);
    const u32 needed = 16 * font.width;
    check(VIQ_draw_timestamp(picture.handle, &font, width > needed ? width - needed : 1,
                             height > font.height ? height - font.height : 1, 0, 15),
          file);
    return picture;
}

} // namespace

} // namespace tool
