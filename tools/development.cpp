#include "tools/development.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "tools/file_kinds.h"
#include "tools/grey16_operations.h"
#include "tools/image_operations.h"
#include "tools/pipeline.h"
#include "tools/pixel_format_table.h"
#include "tools/upper_left_part.h"

namespace tool {

namespace {

constexpr uint32_t full = 65535;

// Mean samples of frames of 16 bits, line by line without padding.
struct reference {
    uint32_t width = 0, height = 0;
    std::vector<uint16_t> samples = {};
};

reference read_reference(const std::string &file, const std::optional<frame_format> &format);
reference mean_of_frames(const frame_file &file);
image to_16_bits(image grey, const std::string &name);
image image_of(const reference &from, uint32_t width);
void normalise(reference &flat, const reference &dark, const std::string &name);
image with_even_width(const image &grey, const std::string &name);
uint16_t black_level_of(const development &how);

} // namespace

shading make_shading(const reference_files &files, const std::optional<frame_format> &format,
                     uint16_t black_level) {
    reference dark;
    reference flat;
    if (!files.flat.empty())
        flat = read_reference(files.flat, format);
    if (!files.dark.empty()) {
        dark = read_reference(files.dark, format);
    } else {
        const uint32_t bits = !format                                ? 16
                              : format->layout.image_type == VIQ_Y16 ? format->layout.sample_bits
                                                                     : 8;
        const uint32_t level = std::min(black_level * full / ((1u << bits) - 1), full);
        dark = {flat.width, flat.height,
                std::vector<uint16_t>(flat.samples.size(), static_cast<uint16_t>(level))};
    }
    if (files.flat.empty())
        flat = {dark.width, dark.height, std::vector<uint16_t>(dark.samples.size(), full)};
    if (flat.width != dark.width || flat.height != dark.height)
        throw failure{files.flat + ": has another size than " + files.dark};
    normalise(flat, dark, files.flat.empty() ? files.dark : files.flat);
    shading made = {image(), image(), flat.width, flat.height};
    // The library corrects pairs of pixels.
    const uint32_t even = flat.width + flat.width % 2;
    check(VIQ_IP_ShadingCorrection_Generate(image_of(dark, even).handle,
                                            image_of(flat, even).handle, made.offset.handle,
                                            made.gain.handle),
          files.flat);
    return made;
}

image correct_shading(image frame, const development &how, const std::string &name) {
    if (how.references == nullptr)
        return frame;
    const shading &references = *how.references;
    const uint32_t width = VIQ_get_width(frame.handle);
    const uint32_t height = VIQ_get_height(frame.handle);
    if (width != references.width || height != references.height)
        throw failure{name + ": has " + std::to_string(width) + " x " + std::to_string(height) +
                      " pixels, the dark frame or flat field " + std::to_string(references.width) +
                      " x " + std::to_string(references.height)};
    frame = with_even_width(to_16_bits(std::move(frame), name), name);
    image corrected;
    check(VIQ_IP_ShadingCorrection(frame.handle, corrected.handle, references.offset.handle,
                                   references.gain.handle),
          name);
    return upper_left_part(corrected, width, height, name);
}

colour_gains measure_gains(const image &corrected, const development &how,
                           const std::string &name) {
    colour_gains gains = no_gains;
    check(VIQ_BAY_grey_world_gains(corrected.handle, how.phase, black_level_of(how), gains.data()),
          name);
    return gains;
}

image develop(image corrected, const development &how, const colour_gains &gains,
              const std::string &name) {
    constexpr uint16_t any_phase = 1; // of a grey frame, whose gains are equal
    if (format_of(corrected.handle) == VIQ_Y8)
        corrected = with_format(corrected, VIQ_RGGB32, name);
    image balanced;
    check(VIQ_BAY_apply_gains(corrected.handle, balanced.handle,
                              how.phase != 0 ? how.phase : any_phase, black_level_of(how),
                              gains.data(), how.gamma, VIQ_STRIP_NEXT),
          name);
    if (how.phase == 0)
        return with_format(balanced, VIQ_Y8, name);
    image picture;
    check(VIQ_BAY_RGGB32_to_BGRX32(balanced.handle, picture.handle, how.scheme, how.phase,
                                   VIQ_STRIP_NEXT),
          name);
    return picture;
}

namespace {

// Frames without a header have the extension .raw or one that no picture file has.
reference read_reference(const std::string &file, const std::optional<frame_format> &format) {
    if (format && !has_picture_extension(file))
        return mean_of_frames(open_frames(file, *format));
    image picture = read_whole(file);
    if (!is_grey_format(format_of(picture.handle)))
        throw failure{file + ": a dark frame or flat field must be a grey picture"};
    picture = to_16_bits(std::move(picture), file);
    const pixels from = pixels_of(picture.handle);
    reference read = {from.width, from.lines};
    for (uint32_t y = 0; y < from.lines; ++y) {
        const auto *line = reinterpret_cast<const uint16_t *>(from.line(y));
        read.samples.insert(read.samples.end(), line, line + from.width);
    }
    return read;
}

reference mean_of_frames(const frame_file &file) {
    const uint32_t width = file.format.width;
    const uint32_t height = file.format.height;
    std::vector<uint64_t> sums(std::size_t{width} * height);
    for (uint64_t n = 1; n <= file.frames; ++n) {
        const image frame = to_16_bits(read_frame(file, n), file.name);
        const pixels from = pixels_of(frame.handle);
        for (uint32_t y = 0; y < height; ++y) {
            const auto *line = reinterpret_cast<const uint16_t *>(from.line(y));
            uint64_t *sum = sums.data() + std::size_t{y} * width;
            for (uint32_t x = 0; x < width; ++x)
                sum[x] += line[x];
        }
    }
    reference mean = {width, height, std::vector<uint16_t>(sums.size())};
    std::transform(sums.begin(), sums.end(), mean.samples.begin(), [&](uint64_t sum) {
        return static_cast<uint16_t>((sum + file.frames / 2) / file.frames);
    });
    return mean;
}

image to_16_bits(image grey, const std::string &name) {
    constexpr uint16_t byte_to_word = 257; // both bytes of the word have the value
    const uint16_t format = format_of(grey.handle);
    if (format == VIQ_Y16) {
        scale_to_16_bits(grey.handle);
        return grey;
    }
    if (format != VIQ_Y8 && format != VIQ_RGGB32)
        throw failure{name + ": frames of this pixel format cannot be developed"};
    const pixels from = pixels_of(grey.handle);
    image wide;
    check(set_shape(wide.handle, VIQ_Y16, from.width, from.lines, from.lines), name);
    VIQ_image_set_parameter(wide.handle, VIQ_DATA_WIDTH, 16);
    const pixels to = pixels_of(wide.handle);
    for (uint32_t y = 0; y < from.lines; ++y)
        std::transform(from.line(y), from.line(y) + from.width,
                       reinterpret_cast<uint16_t *>(to.line(y)),
                       [](uint8_t value) { return static_cast<uint16_t>(value * byte_to_word); });
    return wide;
}

image image_of(const reference &from, uint32_t width) {
    image made;
    check(set_shape(made.handle, VIQ_Y16, width, from.height, from.height), "reference");
    VIQ_image_set_parameter(made.handle, VIQ_DATA_WIDTH, 16);
    const pixels to = pixels_of(made.handle);
    for (uint32_t y = 0; y < from.height; ++y) {
        auto *line = reinterpret_cast<uint16_t *>(to.line(y));
        std::copy_n(from.samples.begin() + static_cast<std::ptrdiff_t>(std::size_t{y} * from.width),
                    from.width, line);
        std::fill(line + from.width, line + width, uint16_t{0});
    }
    return made;
}

// The correction scales the flat field to white. A flat field is darker than white, which would
// make bright parts of the frames white; it is scaled so that its brightest part gets a gain that
// maps the largest sample to white.
void normalise(reference &flat, const reference &dark, const std::string &name) {
    constexpr std::size_t ignored = 1000; // one in so many pixels may be brighter: hot pixels
    const std::size_t count = flat.samples.size();
    std::vector<uint16_t> light(count);
    uint64_t dark_sum = 0;
    for (std::size_t n = 0; n < count; ++n) {
        light[n] = static_cast<uint16_t>(
            flat.samples[n] > dark.samples[n] ? flat.samples[n] - dark.samples[n] : 0);
        dark_sum += dark.samples[n];
    }
    std::vector<uint16_t> sorted = light;
    const auto brightest =
        sorted.begin() + static_cast<std::ptrdiff_t>(count - 1 - count / ignored);
    std::nth_element(sorted.begin(), brightest, sorted.end());
    if (*brightest == 0)
        throw failure{name + ": the flat field is not brighter than the dark frame"};
    const uint64_t range = full - dark_sum / count;
    for (std::size_t n = 0; n < count; ++n) {
        const uint64_t white = dark.samples[n] + light[n] * range / *brightest;
        flat.samples[n] = static_cast<uint16_t>(std::min<uint64_t>(white, full));
    }
}

image with_even_width(const image &grey, const std::string &name) {
    const pixels from = pixels_of(grey.handle);
    image even;
    check(set_shape(even.handle, VIQ_Y16, from.width + from.width % 2, from.lines, from.lines),
          name);
    VIQ_image_set_parameter(even.handle, VIQ_DATA_WIDTH, 16);
    const pixels to = pixels_of(even.handle);
    for (uint32_t y = 0; y < from.lines; ++y) {
        std::copy_n(from.line(y), std::size_t{from.width} * sizeof(uint16_t), to.line(y));
        if (to.width != from.width)
            reinterpret_cast<uint16_t *>(to.line(y))[from.width] = 0;
    }
    return even;
}

// The correction subtracts the black level.
uint16_t black_level_of(const development &how) {
    return how.references != nullptr ? uint16_t{0} : how.black_level;
}

} // namespace

} // namespace tool
