// Reads picture files in the conforming mode by strips and writes the pixels of each as PPM, for
// the comparison with other programs. Arguments: lines per strip (0: all), bits of a written sample
// (8 or 16), the files. The output of FILE is FILE.ppm, or FILE.error with the message.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "viq.h"

namespace {

std::string message;

uint32_t keep_message(uint32_t, const char *, uint32_t, const char *text) {
    if (message.empty())
        message = text;
    return 0;
}

struct picture {
    uint32_t handle;
    uint32_t coded = 0; // JPEG
    uint32_t width = 0, height = 0;
    std::string samples; // RGB
};

void add_sample(std::string &to, uint32_t value, uint32_t largest, uint32_t bits) {
    const uint32_t scaled_to = (1u << bits) - 1;
    const auto scaled =
        static_cast<uint32_t>((uint64_t{value} * scaled_to + largest / 2) / largest);
    if (bits == 16)
        to += static_cast<char>(scaled >> 8);
    to += static_cast<char>(scaled);
}

void add_line(picture &p, const uint8_t *line, uint32_t bits) {
    const uint32_t format = VIQ_image_get_parameter(p.handle, VIQ_IMAGE_TYPE);
    const uint32_t largest = (1u << VIQ_image_get_parameter(p.handle, VIQ_DATA_WIDTH)) - 1;
    const auto *map = static_cast<const tVIQ_Colour *>(VIQ_image_get_ptr(p.handle, VIQ_PTR_CMAP));
    for (uint32_t x = 0; x < p.width; ++x) {
        uint32_t rgb[3] = {};
        uint32_t most = 255;
        if (format == VIQ_PALETTED) {
            const tVIQ_Colour &colour = map[line[x]];
            rgb[0] = colour.red;
            rgb[1] = colour.green;
            rgb[2] = colour.blue;
        } else if (format == VIQ_RGB24) {
            std::copy(line + 3 * x, line + 3 * x + 3, rgb);
        } else if (format == VIQ_CMYK32) {
            for (uint32_t i = 0; i < 3; ++i)
                rgb[i] = line[4 * x + i];
        } else if (format == VIQ_Y16) {
            uint16_t word = 0;
            std::memcpy(&word, line + 2 * x, sizeof word);
            std::fill(rgb, rgb + 3, uint32_t{word});
            most = largest;
        } else {
            const bool one_bit = format == VIQ_Y1;
            std::fill(rgb, rgb + 3,
                      one_bit ? (line[x / 8] >> (7 - x % 8) & 1u) * 255u : uint32_t{line[x]});
        }
        for (const uint32_t value : rgb)
            add_sample(p.samples, value, most, bits);
    }
}

uint32_t next_strip(const picture &p) {
    return p.coded != 0 ? VIQ_JPEG_decompress(p.coded, p.handle, VIQ_STRIP_NEXT)
                        : VIQ_image_read(p.handle, 0, VIQ_STRIP_NEXT);
}

uint32_t open_picture(picture &p, const char *name) {
    if (VIQ_image_find_file_format(name) == VIQ_FILE_JPEG) {
        p.coded = VIQ_JPEG_image_create();
        VIQ_image_set_infilename(p.coded, name);
        return VIQ_image_read(p.coded, 0, VIQ_STRIP_NEXT);
    }
    VIQ_image_set_infilename(p.handle, name);
    VIQ_image_set_parameter(p.handle, VIQ_HEIGHT, 0);
    VIQ_image_set_parameter(p.handle, VIQ_LINES_PER_STRIP, 0);
    return VIQ_image_read(p.handle, 0, VIQ_STRIP_NEXT);
}

uint32_t read_lines(picture &p, uint32_t lines, uint32_t bits) {
    const uint32_t source = p.coded != 0 ? p.coded : p.handle;
    p.width = VIQ_get_width(source);
    p.height = VIQ_get_height(source);
    uint32_t code = 0;
    for (uint32_t done = 0; done < p.height && code == 0;) {
        VIQ_image_set_parameter(source, VIQ_LINES_PER_STRIP,
                                lines != 0 ? std::min(lines, p.height) : p.height);
        code = next_strip(p);
        const uint32_t count = VIQ_get_lines_this_strip(p.handle);
        const auto *data = static_cast<const uint8_t *>(VIQ_image_get_ptr(p.handle, VIQ_PTR_DATA));
        for (uint32_t y = 0; y < count && code == 0; ++y)
            add_line(p, data + std::size_t{y} * VIQ_get_bytes_per_line(p.handle), bits);
        done += count;
    }
    return code;
}

void process(const std::string &name, uint32_t lines, uint32_t bits) {
    message.clear();
    picture p{VIQ_image_create(), 0, 0, 0, {}};
    uint32_t code = open_picture(p, name.c_str());
    if (code == 0)
        code = read_lines(p, lines, bits);
    std::remove((name + ".ppm").c_str());
    std::remove((name + ".error").c_str());
    std::ofstream out(name + (code == 0 ? ".ppm" : ".error"), std::ios::binary);
    if (code == 0)
        out << "P6\n"
            << p.width << ' ' << p.height << '\n'
            << (1u << bits) - 1 << '\n'
            << p.samples;
    else
        out << message << '\n';
    if (p.coded != 0)
        VIQ_image_destroy(p.coded);
    VIQ_image_destroy(p.handle);
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 3)
        return 2;
    VIQ_Init();
    VIQ_ErrHandlerInstall(keep_message);
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
    for (int i = 3; i < argc; ++i)
        process(argv[i], static_cast<uint32_t>(std::atoi(argv[1])),
                static_cast<uint32_t>(std::atoi(argv[2])));
    return 0;
}
