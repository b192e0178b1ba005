// Prints the tables of the library that the manual shows, as JSON: pixel formats and error classes.
#include <cstdio>

#include "core/error_codes.h"
#include "core/pixel_formats.h"

namespace {

using namespace viq;

// The components of a format in the order of the bits of a pixel, or of two pixels that share
// chrominance: name, first bit and number of bits. Bit 0 is the lowest bit of the first byte.
struct component {
    const char *name;
    u32 bit, bits;
};

const char *separator = "";

void print_component(const component &part) {
    std::printf("%s{\"name\": \"%s\", \"bit\": %u, \"bits\": %u}", separator, part.name, part.bit,
                part.bits);
    separator = ", ";
}

void print_byte(const char *name, u8 position) {
    if (position != no_position)
        print_component({name, 8u * position, 8});
}

void print_components(const pixel_format &row) {
    switch (row.layout) {
    case pixel_layout::grey:
        print_component({"Y", 0, 8u * row.bytes_per_pixel});
        break;
    case pixel_layout::palette_index:
        print_component({"index", 0, 8});
        break;
    case pixel_layout::rgb_bytes:
        print_byte("R", row.rgb.red);
        print_byte("G", row.rgb.green);
        print_byte("B", row.rgb.blue);
        print_byte("X", row.rgb.spare);
        break;
    case pixel_layout::rgb_fields:
        print_component({"R", row.fields.red.shift, row.fields.red.bits});
        print_component({"G", row.fields.green.shift, row.fields.green.bits});
        print_component({"B", row.fields.blue.shift, row.fields.blue.bits});
        break;
    case pixel_layout::cmyk_bytes:
        print_byte("C", row.cmyk.cyan);
        print_byte("M", row.cmyk.magenta);
        print_byte("Y", row.cmyk.yellow);
        print_byte("K", row.cmyk.black);
        break;
    case pixel_layout::yuv_pair:
        print_byte("Y0", row.yuv.first_y);
        print_byte("U", row.yuv.u);
        print_byte("Y1", row.yuv.second_y);
        print_byte("V", row.yuv.v);
        break;
    case pixel_layout::hsi:
        print_component({"H", 8u * row.hsi.hue, 16});
        print_byte("S", row.hsi.saturation);
        print_byte("I", row.hsi.intensity);
        break;
    case pixel_layout::other:
        break;
    }
}

} // namespace

int main() {
    std::printf("{\"formats\": [");
    for (const pixel_format &row : pixel_formats) {
        std::printf("%s\n  {\"code\": %u, \"name\": \"%s\", \"depth\": %u, \"bytes\": %u, "
                    "\"colour\": %s, \"mosaic\": %s, \"components\": [",
                    &row == pixel_formats ? "" : ",", row.code, row.name != nullptr ? row.name : "",
                    row.bits_per_pixel, row.bytes_per_pixel, row.is_colour ? "true" : "false",
                    row.chroma == chroma_layout::mosaic ? "true" : "false");
        separator = "";
        print_components(row);
        std::printf("]}");
    }
    std::printf("],\n \"errors\": [");
    for (const error_class &row : error_classes)
        std::printf("%s\n  {\"code\": %u, \"name\": \"%s\", \"text\": \"%s\", \"handler\": \"%s\"}",
                    &row == error_classes ? "" : ",", row.code, row.name, row.text,
                    row.handler_text);
    std::printf("]}\n");
}
