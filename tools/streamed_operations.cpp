#include "tools/streamed_operations.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "tools/grey16_operations.h"
#include "tools/number_arguments.h"
#include "tools/pixel_format_table.h"

namespace tool {

namespace {

struct picture_size {
    uint32_t width, height;
};

// The size that an argument such as 640x480, 640x, x480 or 50% gives for a picture.
picture_size scaled_size(const std::string &argument, uint32_t width, uint32_t height) {
    constexpr const char *form = "WxH, Wx, xH or N%";
    constexpr uint64_t most = 1u << 24;
    const auto part = [&](const std::string &text) {
        int number = 0;
        if (!read_number(text, number) || number <= 0)
            reject_argument(argument, form);
        return static_cast<uint64_t>(number);
    };
    uint64_t w;
    uint64_t h;
    if (argument.ends_with('%')) {
        const uint64_t percent = part(argument.substr(0, argument.size() - 1));
        w = (width * percent + 50) / 100;
        h = (height * percent + 50) / 100;
    } else {
        const std::vector<std::string> sides = split(argument, 'x');
        if (sides.size() != 2 || argument == "x")
            reject_argument(argument, form);
        w = sides[0].empty() ? 0 : part(sides[0]);
        h = sides[1].empty() ? 0 : part(sides[1]);
        if (w == 0)
            w = (width * h + height / 2) / height;
        else if (h == 0)
            h = (height * w + width / 2) / width;
    }
    if (w > most || h > most)
        throw failure{"'" + argument + "': the picture would be too large"};
    return {static_cast<uint32_t>(std::max<uint64_t>(w, 1)),
            static_cast<uint32_t>(std::max<uint64_t>(h, 1))};
}

// The result of an operation that keeps the format.
picture_header with_size(picture_header header, const picture_size &size) {
    header.width = size.width;
    header.height = size.height;
    return header;
}

// So many source lines at a time that each strip gives at least one line of the result, and no more
// than a few MiB.
uint32_t strip_lines_for_scaling(const picture_header &from, const picture_size &to) {
    constexpr uint64_t most_bytes = 4 << 20;
    const uint64_t required = from.height / to.height + 2;
    const uint64_t line_bytes =
        std::max<uint64_t>(uint64_t{to.width} * rgb24_bytes * to.height / from.height, 1);
    const uint64_t usual = std::min<uint64_t>(most_bytes / line_bytes, default_strip_lines);
    return static_cast<uint32_t>(std::max(required, usual));
}

void require_pixels(const picture_header &header, const std::string &name) {
    if (header.width == 0 || header.height == 0)
        throw failure{name + ": contains no picture"};
}

} // namespace

// ---- Geometry

void crop(picture_flow &flow, const operation_input &in) {
    const numbers n = read_numbers(in.argument, 4, 4, "X,Y,W,H");
    const uint16_t format = header_of(flow).format;
    if (format == VIQ_RGB8 || format == VIQ_XRGB32)
        convert_flow(flow, {VIQ_RGB24});
    int16_t area[4];
    std::transform(n.begin(), n.end(), area, checked_cast<int16_t>);
    // The library rejects rectangles outside the picture.
    const picture_header &from = header_of(flow);
    const auto side = [](uint32_t whole, int16_t first, int16_t count) {
        const int64_t inside = std::min<int64_t>(count, int64_t{whole} - first);
        return static_cast<uint32_t>(std::max<int64_t>(inside, 1));
    };
    append_operation(
        flow, "crop",
        with_size(from, {side(from.width, area[0], area[2]), side(from.height, area[1], area[3])}),
        [x = area[0], y = area[1], width = area[2], height = area[3]](uint32_t strip, uint32_t out,
                                                                      uint16_t command) {
            return VIQ_IP_crop(strip, out, x, y, width, height, command);
        });
}

void scale(picture_flow &flow, const operation_input &in) {
    require_pixels(header_of(flow), in.name);
    const picture_size size =
        scaled_size(in.argument, header_of(flow).width, header_of(flow).height);
    if (header_of(flow).format == VIQ_Y16) {
        continue_with(flow, scale_grey16(take_whole(flow), size.width, size.height, in.name));
        return;
    }
    convert_flow(flow, {VIQ_RGB24, VIQ_Y8});
    const picture_header from = header_of(flow);
    if (from.width == size.width && from.height == size.height)
        return;
    append_stage(flow, from,
                 [lines = strip_lines_for_scaling(from, size), name = in.name](strip_sink next) {
                     return divide_into_strips(lines, name, std::move(next));
                 });
    append_operation(flow, "scale", with_size(from, size),
                     [size](uint32_t strip, uint32_t out, uint16_t command) {
                         return VIQ_IP_scale(strip, out, size.width, size.height, command);
                     });
}

void rotate(picture_flow &flow, const operation_input &in) {
    constexpr int half_turn = 180;
    if (read_numbers(in.argument, 1, 1, "ANGLE")[0] != half_turn) {
        process_whole<rotate_quarters>(flow, in);
        return;
    }
    mirror(flow, in);
    store_flow(flow, true);
}

void mirror(picture_flow &flow, const operation_input &) {
    append_operation(flow, "mirror", header_of(flow), VIQ_IP_mirror_image);
}

void flip(picture_flow &flow, const operation_input &) {
    store_flow(flow, true);
}

// ---- Filters and lookup tables

void filter(picture_flow &flow, const operation_input &in) {
    const struct {
        const char *name;
        numbers kernel;
    } named[] = {{"blur", {1, 1, 1, 1, 1, 1, 1, 1, 1}},
                 {"sharpen", {0, -1, 0, -1, 5, -1, 0, -1, 0}},
                 {"edge", {-1, -1, -1, -1, 8, -1, -1, -1, -1}}};
    numbers kernel;
    for (const auto &row : named)
        if (in.argument == row.name)
            kernel = row.kernel;
    if (kernel.empty())
        kernel = read_numbers(in.argument, 9, 9, "blur, sharpen, edge or k1,..,k9");
    const std::vector<int32_t> coefficients(kernel.begin(), kernel.end());
    if (header_of(flow).format != VIQ_Y16)
        convert_flow(flow, {VIQ_RGB24, VIQ_Y8});
    const auto filter_part = [kernel, coefficients, name = in.name](const image &part) {
        if (format_of(part.handle) == VIQ_Y16)
            return filter_grey16(part, kernel, name);
        image result;
        check(VIQ_IP_filter_3x3(part.handle, result.handle, coefficients.data(), VIQ_STRIP_NEXT),
              name);
        return result;
    };
    append_stage(flow, header_of(flow), [filter_part, name = in.name](strip_sink next) {
        return process_with_neighbours(filter_part, name, std::move(next));
    });
}

void look_up(picture_flow &flow, const operation_input &in) {
    constexpr const char *form = "brightness=N,contrast=N,gamma=N,r=N,g=N,b=N";
    constexpr const char *names[] = {"brightness", "contrast", "gamma", "r", "g", "b"};
    constexpr uint32_t entries = 256; // of one byte
    int16_t percent[] = {100, 100, 100, 100, 100, 100};
    for (const std::string &part : split(in.argument)) {
        const std::vector<std::string> pair = split(part, '=');
        const auto name = std::find(std::begin(names), std::end(names), pair[0]);
        int value = 0;
        if (pair.size() != 2 || name == std::end(names) || !read_number(pair[1], value))
            reject_argument(in.argument, form);
        percent[name - std::begin(names)] = checked_cast<int16_t>(value);
    }
    const auto lut = std::make_shared<library_object>(VIQ_LUT_create(entries, 1), VIQ_LUT_destroy);
    check(VIQ_LUT_generate(lut->handle, percent[0], percent[1], percent[2], percent[3], percent[4],
                           percent[5]),
          in.name);
    convert_flow(flow, {VIQ_RGB24, VIQ_Y8, VIQ_YUV422, VIQ_RGB16, VIQ_RGB15, VIQ_RGB8});
    append_operation(flow, "lookup table", header_of(flow),
                     [lut](uint32_t strip, uint32_t out, uint16_t command) {
                         return VIQ_LUT_apply(strip, out, lut->handle, command);
                     });
}

void threshold(picture_flow &flow, const operation_input &in) {
    const numbers n = read_numbers(in.argument, 2, 2, "LO,HI");
    convert_flow(flow, {VIQ_Y8}, false);
    append_operation(flow, "threshold", header_of(flow),
                     [low = checked_cast<uint16_t>(n[0]), high = checked_cast<uint16_t>(n[1])](
                         uint32_t strip, uint32_t out, uint16_t command) {
                         return VIQ_IP_threshold_grayscale(strip, out, high, low, command);
                     });
}

} // namespace tool
