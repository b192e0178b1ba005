// EPS reader for the files that the EPS writer produces.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "files/eps.h"
#include "files/eps_text.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_read_EPS_file";
constexpr const char *strip_name = "VIQ_read_EPS_file_1_strip";
constexpr const char *word_name = "fread_word_ascii";

VIQ_PER_CONTEXT(file_sequence, state);
VIQ_PER_CONTEXT(text_source, file_text);

u32 read_header(const read_call &call);
u32 read_lines(const read_call &call);

constexpr strip_reader reader = {.name = name,
                                 .state = state,
                                 .read_header = read_header,
                                 .read_lines = read_lines,
                                 .unbuffered = true,
                                 .line = padded_bit_line};

} // namespace

u32 VIQ_read_EPS_file(u32 hImage, u16 wMode) {
    return run_reader(reader, hImage, wMode);
}

namespace {

bool fits_file(const tVIQ_Image &image, u64 file_size);
u32 read_dictionary(const read_call &call);
u32 read_palette(const read_call &call, u32 last_colour);
u32 read_numbers(const read_call &call);

u32 set_format(const read_call &call, u16 format) {
    return VIQ_image_set_parameter(call.handle, VIQ_IMAGE_TYPE, format);
}

u32 report_no_hex(const char *function) {
    return report(function, VIQ_ERR_UNEXPECTED, "Expecting hexadecimal digits");
}

u32 read_header(const read_call &call) {
    text_source &text = *file_text;
    tVIQ_Image &image = call.image;
    start_text(text, call.file);
    image.pixel_format = 0;
    image.width = image.height = 0;
    image.bits_per_pixel = 8;
    bool level_2 = false;
    char line[longest_text + 1];
    while (peek_text(text) == '%' && read_text_line(text, line))
        level_2 = level_2 || std::strstr(line, "LANGUAGELEVEL: 2") != nullptr;
    const u32 code = level_2 ? read_dictionary(call) : read_numbers(call);
    if (is_error(code))
        return code;
    return fits_file(image, file_size(call.file)) ? success : report_corrupt(name);
}

// Each byte of pixels has two digits in the file.
bool fits_file(const tVIQ_Image &image, u64 file_size) {
    const u64 line = 2 * eps::line_bytes(image);
    return line == 0 || image.height <= file_size / line;
}

// The decimal number at the start of a text; numbers that exceed 32 bits become UINT32_MAX.
u32 number_at(const char *digits) {
    return static_cast<u32>(
        std::min<unsigned long long>(std::strtoull(digits, nullptr, 10), UINT32_MAX));
}

// Level 2: name and value pairs up to the image operator, which the pixels follow.
u32 read_dictionary(const read_call &call) {
    text_source &text = *file_text;
    tVIQ_Image &image = call.image;
    u32 code = set_format(call, VIQ_PALETTED);
    text_word word;
    text_result result = text_result::found;
    const auto read_value = [&] {
        result = read_word(text, word);
        return number_at(word.text);
    };
    while (!is_error(code) && result == text_result::found) {
        result = read_word(text, word);
        if (result != text_result::found ||
            (!word.is_name && std::strncmp(word.text, "IMAGE", 5) == 0))
            break;
        if (std::strcmp(word.text, "DEVICERGB") == 0) {
            const u32 last_colour = read_value();
            if (result == text_result::found)
                code = read_palette(call, last_colour);
        } else if (std::strcmp(word.text, "WIDTH") == 0) {
            image.width = read_value();
        } else if (std::strcmp(word.text, "HEIGHT") == 0) {
            image.height = read_value();
        } else if (std::strcmp(word.text, "BITSPERCOMPONENT") == 0) {
            image.bits_per_pixel = static_cast<u16>(std::min(read_value(), 0xFFFFu));
        }
    }
    return result == text_result::broken
               ? report(word_name, VIQ_ERR_INTERNAL, "Unexpected EOF read")
               : code;
}

u32 read_palette(const read_call &call, u32 last_colour) {
    text_source &text = *file_text;
    if (last_colour >= colourmap_size)
        return report_corrupt(name);
    if (call.image.colourmap == nullptr)
        return report_no_colourmap(name);
    if (!skip_expected(text, '<'))
        return report_no_hex(name);
    call.image.num_colours = static_cast<u16>(last_colour);
    for (u32 i = 0; i <= last_colour; ++i) {
        u8 components[3];
        if (!read_hex(text, components, sizeof components))
            return report_no_hex(name);
        tVIQ_Colour &entry = call.image.colourmap[i];
        entry.red = components[0];
        entry.green = components[1];
        entry.blue = components[2];
    }
    return success;
}

// Level 1: the fifth line after the comments has the size, the fourth line after that one the kind
// of image.
u32 read_numbers(const read_call &call) {
    text_source &text = *file_text;
    tVIQ_Image &image = call.image;
    char line[longest_text + 1] = "";
    const auto skip_lines = [&](int count) {
        while (count-- > 0 && read_text_line(text, line)) {
        }
    };
    skip_lines(5);
    const char *numbers = line;
    image.width = number_at(numbers);
    numbers = VIQ_sscanf(numbers, nullptr);
    image.height = number_at(numbers);
    const u32 bits = number_at(VIQ_sscanf(numbers, nullptr));
    skip_lines(4);
    if (std::strstr(line, "FALSE 3") == nullptr)
        return set_format(call, bits == 1 ? VIQ_Y1 : VIQ_Y8);
    skip_lines(1);
    return set_format(call, VIQ_RGB24);
}

u32 read_lines(const read_call &call) {
    text_source &text = *file_text;
    const tVIQ_Image &image = call.image;
    const auto bytes = static_cast<std::size_t>(eps::line_bytes(image));
    u8 *line = image.data;
    for (u32 n = 0; n < image.lines_per_strip; ++n, line += image.bytes_per_line) {
        if (!read_hex(text, line, bytes))
            return report_no_hex(strip_name);
        std::memset(line + bytes, 0, image.bytes_per_line - bytes);
    }
    return success;
}

} // namespace
