#include "tools/frame_file.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "camera/frame_layouts.h"
#include "tools/file_path.h"
#include "tools/grey16_operations.h"
#include "tools/image_operations.h"
#include "tools/nearest_name.h"
#include "tools/number_arguments.h"

namespace tool {

namespace {

constexpr const char *description_form =
    "WIDTHxHEIGHT,LAYOUT[,bayer=PHASE][,stride=N][,offset=N][,gap=N][,values]";

constexpr const char *phase_names[] = {"rggb", "grbg", "gbrg", "bggr"};

uint64_t frame_interval(const frame_format &format);
tVIQ_FrameLayout find_layout(const std::string &name);
std::string layout_names();
uint64_t parse_number(const std::string &text, const std::string &argument, uint64_t most);
void take_option(frame_format &format, const std::string &option, const std::string &description);
void set_phase(frame_format &format, const std::string &name);

} // namespace

CLI::Option *declare_frames(CLI::App &app, std::string &description, std::string &frames,
                            const char *frames_purpose) {
    constexpr const char *group = "Camera frames";
    CLI::Option *raw =
        app.add_option(
               "--raw", description,
               "The inputs are files of camera frames without a header. LAYOUT is a PFNC name "
               "such as mono12p or BayerRG8, or its code. bayer: colours of the first two "
               "lines of the mosaic: rggb, grbg, gbrg or bggr. stride: bytes from line to line "
               "(default: no padding). offset: bytes before the first frame. gap: bytes after "
               "each frame. values: keep the values of the sensor instead of scaling them to 16 "
               "bits")
            ->type_name("WxH,LAYOUT,...")
            ->group(group);
    app.add_option("--frames", frames, frames_purpose)->type_name("A..B|N|all")->group(group);
    return raw;
}

frame_format parse_frame_format(const std::string &description) {
    const std::vector<std::string> parts = split(description);
    if (parts.size() < 2)
        reject_argument(description, description_form);
    const std::vector<std::string> size = split(parts[0], 'x');
    if (size.size() != 2)
        reject_argument(description, description_form);
    frame_format format;
    format.width = static_cast<uint32_t>(parse_number(size[0], description, UINT32_MAX));
    format.height = static_cast<uint32_t>(parse_number(size[1], description, UINT32_MAX));
    format.layout = find_layout(parts[1]);
    format.phase = format.layout.pixel_colour;
    for (std::size_t n = 2; n < parts.size(); ++n)
        take_option(format, parts[n], description);
    check(VIQ_frame_get_size(format.layout.pixel_format, format.width, format.height, format.stride,
                             &format.bytes),
          description);
    return format;
}

uint16_t parse_phase(const std::string &name) {
    const std::string lower = CLI::detail::to_lower(name);
    const auto *row = std::find(std::begin(phase_names), std::end(phase_names), lower);
    if (row == std::end(phase_names))
        throw failure{"'" + name + "' is not a mosaic (known: rggb grbg gbrg bggr)"};
    return static_cast<uint16_t>(row - std::begin(phase_names) + 1);
}

std::string phase_name(uint16_t phase) {
    return phase_names[phase - 1];
}

frame_file open_frames(const std::string &file, const frame_format &format) {
    frame_file opened = {file == standard_stream ? "standard input" : file, open_input(file),
                         format, 0, 0};
    std::error_code error;
    const uint64_t size = std::filesystem::file_size(path_from(opened.input.path), error);
    if (error)
        throw failure{opened.name + ": " + error.message()};
    if (size < format.offset || size - format.offset < format.bytes)
        throw failure{opened.name + ": has " + std::to_string(size) + " bytes, but a frame of " +
                      std::to_string(format.width) + " x " + std::to_string(format.height) +
                      " pixels " + format.layout.name + " needs " + std::to_string(format.bytes) +
                      (format.offset != 0 ? " after byte " + std::to_string(format.offset) : "")};
    const uint64_t interval = frame_interval(format);
    const uint64_t data = size - format.offset;
    opened.frames = (data - format.bytes) / interval + 1;
    // Padding or a gap may be missing after the last frame.
    const uint64_t used = std::min(opened.frames * interval, data);
    opened.rest_bytes = data - used;
    return opened;
}

frame_range parse_frames(const std::string &range, const frame_file &file) {
    if (range == "all")
        return {1, file.frames};
    const auto number = [&](const std::string &text, uint64_t otherwise) {
        return text.empty() ? otherwise : parse_number(text, "--frames " + range, UINT64_MAX);
    };
    const std::size_t dots = range.find("..");
    if (range.empty() || range == "..")
        reject_argument("--frames " + range, "N, A..B, A.., ..B or all");
    frame_range found = {number(range.substr(0, dots), 1), 0};
    found.last =
        dots == std::string::npos ? found.first : number(range.substr(dots + 2), file.frames);
    if (found.first == 0 || found.last < found.first)
        throw failure{"--frames " + range + ": frames are counted from 1, and A..B needs A <= B"};
    if (found.last > file.frames)
        throw failure{file.name + ": has no frame " + std::to_string(found.last) +
                      " (frames: 1 to " + std::to_string(file.frames) + ")"};
    return found;
}

image read_frame(const frame_file &file, uint64_t number) {
    const frame_format &format = file.format;
    std::vector<char> bytes(static_cast<std::size_t>(format.bytes));
    std::ifstream stream(file.input.path, std::ios::binary);
    stream.seekg(
        static_cast<std::streamoff>(format.offset + (number - 1) * frame_interval(format)));
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream)
        throw failure{file.name + ": frame " + std::to_string(number) + " cannot be read"};
    image frame;
    VIQ_image_set_parameter(frame.handle, VIQ_LINES_PER_STRIP, format.height);
    check(VIQ_frame_unpack(bytes.data(), bytes.size(), format.layout.pixel_format, format.width,
                           format.height, format.stride, frame.handle, VIQ_STRIP_NEXT),
          file.name);
    return frame;
}

image picture_of_frame(image frame, const frame_file &file) {
    if (format_of(frame.handle) == VIQ_RGGB32)
        return with_format(frame, VIQ_Y8, file.name);
    if (format_of(frame.handle) == VIQ_Y16 && !file.format.keeps_values)
        scale_to_16_bits(frame.handle);
    VIQ_image_set_parameter(frame.handle, VIQ_DATA_WIDTH,
                            format_of(frame.handle) == VIQ_Y16 ? 16 : 8);
    return frame;
}

picture_source source_of_image(image picture, const std::string &name) {
    picture_source source = picture_in_memory(picture.handle, name);
    source.owned = std::move(picture);
    return source;
}

namespace {

// Bytes from frame to frame. With a stride, the last line of a frame has padding as well.
uint64_t frame_interval(const frame_format &format) {
    const uint64_t padded = uint64_t{format.stride} * format.height;
    return std::max(format.bytes, padded) + format.gap;
}

tVIQ_FrameLayout find_layout(const std::string &name) {
    tVIQ_FrameLayout layout;
    constexpr int hexadecimal = 16;
    uint32_t code = 0;
    if (name.starts_with("0x") &&
        std::from_chars(name.data() + 2, name.data() + name.size(), code, hexadecimal).ptr ==
            name.data() + name.size()) {
        check(VIQ_frame_get_layout(code, &layout), "--raw");
        return layout;
    }
    if (!VIQ_IS_ERROR(VIQ_frame_find_layout(name.c_str(), &layout)))
        return layout;
    discard_error_message();
    const char *names[std::size(viq::frame_layouts)];
    std::transform(std::begin(viq::frame_layouts), std::end(viq::frame_layouts), names,
                   [](const viq::frame_layout &row) { return row.name; });
    const std::string nearest = nearest_name(name, names);
    throw failure{"'" + name + "' is not a known pixel layout; " +
                  (nearest.empty() ? "known: " + layout_names() : "did you mean " + nearest + "?")};
}

std::string layout_names() {
    std::string names;
    for (const viq::frame_layout &layout : viq::frame_layouts)
        names += std::string(names.empty() ? "" : " ") + layout.name;
    return names;
}

uint64_t parse_number(const std::string &text, const std::string &argument, uint64_t most) {
    uint64_t number = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number > most)
        throw failure{argument + ": '" + text + "' is not a number up to " + std::to_string(most)};
    return number;
}

void take_option(frame_format &format, const std::string &option, const std::string &description) {
    // Frames and offsets beyond any file, so that sums of a few do not overflow.
    constexpr uint64_t most_bytes = UINT64_C(1) << 60;
    const std::size_t equals = option.find('=');
    const std::string key = option.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : option.substr(equals + 1);
    if (option == "values")
        format.keeps_values = true;
    else if (key == "bayer")
        set_phase(format, value);
    else if (key == "stride")
        format.stride = static_cast<uint32_t>(parse_number(value, description, UINT32_MAX));
    else if (key == "offset")
        format.offset = parse_number(value, description, most_bytes);
    else if (key == "gap")
        format.gap = parse_number(value, description, most_bytes);
    else
        reject_argument(description, description_form);
}

void set_phase(frame_format &format, const std::string &name) {
    const uint16_t phase = parse_phase(name);
    const std::string layout = format.layout.name;
    if (format.layout.pixel_colour != 0 && format.layout.pixel_colour != phase)
        throw failure{"bayer=" + name + " contradicts " + layout + ", whose mosaic is " +
                      phase_name(format.layout.pixel_colour)};
    if (format.layout.image_type != VIQ_Y8 && format.layout.image_type != VIQ_Y16 &&
        format.layout.image_type != VIQ_RGGB32)
        throw failure{"bayer=" + name + ": pixels of " + layout + " are not samples of a mosaic"};
    format.phase = phase;
}

} // namespace

} // namespace tool
