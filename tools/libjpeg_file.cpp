#include "tools/libjpeg_file.h"

#if VIQ_HAS_LIBJPEG

#include <csetjmp>
#include <cstdio>
#include <vector>

#include <jpeglib.h>

#include "tools/orientation.h"
#include "tools/pixel_format_table.h"
#include "tools/temporary_folder.h"

namespace tool {

namespace {

// libjpeg ends a failed call with a call of the error handler, which jumps to the last setjmp. Each
// function below that calls it sets the target of the jump first and has no objects with
// destructors.
struct decoder {
    jpeg_decompress_struct jpeg = {};
    jpeg_error_mgr handler = {};
    std::jmp_buf target = {};
    char error[JMSG_LENGTH_MAX] = "";

    decoder();
    ~decoder();
    decoder(const decoder &) = delete;
    decoder &operator=(const decoder &) = delete;
};

bool start(decoder &from, std::FILE *file);
bool read_line(decoder &from, uint8_t *line);
bool finish(decoder &from);
void cmyk_to_rgb(const decoder &from, const uint8_t *cmyk, uint8_t *rgb);

void require(bool done, const decoder &from, const std::string &name) {
    if (!done)
        throw failure{name + ": " + from.error};
}

} // namespace

decoded_picture read_by_libjpeg(const std::string &path, const std::string &name) {
    const file_ptr file = open_or_fail(path, "rb", name, "cannot be opened");
    decoder from;
    require(start(from, file.get()), from, name);
    const bool is_cmyk = from.jpeg.out_color_space == JCS_CMYK;
    const bool is_grey = from.jpeg.out_color_space == JCS_GRAYSCALE;
    decoded_picture decoded = {whole_picture(is_grey ? VIQ_Y8 : VIQ_RGB24, from.jpeg.output_width,
                                             from.jpeg.output_height, name),
                               "libjpeg"};
    decoded.orientation = jpeg_orientation(path);
    if (is_cmyk)
        decoded.notes.emplace_back("CMYK is converted to RGB without a colour profile");
    const pixels to = pixels_of(decoded.picture.handle);
    std::vector<uint8_t> cmyk(is_cmyk ? std::size_t{to.width} * 4 : 0);
    for (uint32_t y = 0; y < to.lines; ++y) {
        require(read_line(from, is_cmyk ? cmyk.data() : to.line(y)), from, name);
        if (is_cmyk)
            cmyk_to_rgb(from, cmyk.data(), to.line(y));
    }
    require(finish(from), from, name);
    return decoded;
}

namespace {

void jump_out(j_common_ptr jpeg) {
    auto *from = static_cast<decoder *>(jpeg->client_data);
    jpeg->err->format_message(jpeg, from->error);
    std::longjmp(from->target, 1);
}

// A warning means that data is damaged or missing.
void reject_warnings(j_common_ptr jpeg, int level) {
    if (level < 0)
        jump_out(jpeg);
}

decoder::decoder() {
    jpeg.err = jpeg_std_error(&handler);
    handler.error_exit = jump_out;
    handler.emit_message = reject_warnings;
    jpeg.client_data = this;
}

decoder::~decoder() {
    jpeg_destroy_decompress(&jpeg);
}

bool start(decoder &from, std::FILE *file) {
    if (setjmp(from.target))
        return false;
    jpeg_create_decompress(&from.jpeg);
    jpeg_stdio_src(&from.jpeg, file);
    jpeg_read_header(&from.jpeg, TRUE);
    if (from.jpeg.num_components == 4)
        from.jpeg.out_color_space = JCS_CMYK;
    else if (from.jpeg.num_components == 3)
        from.jpeg.out_color_space = JCS_RGB;
    jpeg_start_decompress(&from.jpeg);
    return true;
}

bool read_line(decoder &from, uint8_t *line) {
    if (setjmp(from.target))
        return false;
    JSAMPROW rows[] = {line};
    return jpeg_read_scanlines(&from.jpeg, rows, 1) == 1;
}

bool finish(decoder &from) {
    if (setjmp(from.target))
        return false;
    return jpeg_finish_decompress(&from.jpeg) != 0;
}

// Files with Adobe's marker hold the complements of the ink.
void cmyk_to_rgb(const decoder &from, const uint8_t *cmyk, uint8_t *rgb) {
    const int flip = from.jpeg.saw_Adobe_marker ? 0 : 255;
    for (uint32_t x = 0; x < from.jpeg.output_width; ++x, cmyk += 4, rgb += rgb24_bytes)
        for (int c = 0; c < 3; ++c)
            rgb[c] = static_cast<uint8_t>(((cmyk[c] ^ flip) * (cmyk[3] ^ flip) + 127) / 255);
}

} // namespace

} // namespace tool

#endif
