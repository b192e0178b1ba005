#include "tools/png_file.h"

#if VIQ_HAS_PNG

#include <algorithm>
#include <bit>
#include <csetjmp>
#include <memory>
#include <utility>
#include <vector>

#include <png.h>

#include "tools/file_lines.h"
#include "tools/orientation.h"
#include "tools/temporary_folder.h"

namespace tool {

namespace {

// libpng ends a failed call with a jump to the last setjmp. Each function below that calls it sets
// the target of the jump first and has no objects with destructors.
struct png_codec {
    png_structp png = nullptr;
    png_infop info = nullptr;
    file_ptr file;
    std::string name;
    char error[128] = "";
    bool reads = false;

    png_codec(const std::string &path, const std::string &file_name, bool reading);
    ~png_codec();
    png_codec(const png_codec &) = delete;
    png_codec &operator=(const png_codec &) = delete;
};

bool start_reading(png_codec &codec);
bool read_lines(png_codec &codec, const pixels &to);
bool start_writing(png_codec &codec, uint32_t width, uint32_t height, int depth, int colour);
bool write_line(png_codec &codec, const uint8_t *line);
bool finish_writing(png_codec &codec);

void require(bool done, const png_codec &codec) {
    if (!done)
        throw failure{codec.name + ": " + codec.error};
}

} // namespace

decoded_picture read_png(const std::string &path, const std::string &name) {
    png_codec codec(path, name, true);
    require(start_reading(codec), codec);
    const uint8_t stored_colour = png_get_color_type(codec.png, codec.info);
    const bool is_colour = (stored_colour & PNG_COLOR_MASK_COLOR) != 0;
    const bool is_deep = png_get_bit_depth(codec.png, codec.info) == 16;
    decoded_picture decoded = {image(0), std::string("libpng ") + png_get_libpng_ver(nullptr)};
    if ((stored_colour & PNG_COLOR_MASK_ALPHA) != 0 ||
        png_get_valid(codec.png, codec.info, PNG_INFO_tRNS) != 0)
        decoded.notes.emplace_back(alpha_dropped);
    if (is_colour && is_deep)
        decoded.notes.emplace_back(depth_reduced);
    png_set_palette_to_rgb(codec.png);
    png_set_expand_gray_1_2_4_to_8(codec.png);
    png_set_strip_alpha(codec.png);
    if (is_deep && is_colour)
        png_set_scale_16(codec.png);
    else if (is_deep && std::endian::native == std::endian::little)
        png_set_swap(codec.png);
    decoded.picture = whole_picture(is_colour ? VIQ_RGB24
                                    : is_deep ? VIQ_Y16
                                              : VIQ_Y8,
                                    png_get_image_width(codec.png, codec.info),
                                    png_get_image_height(codec.png, codec.info), name);
    require(read_lines(codec, pixels_of(decoded.picture.handle)), codec);
#ifdef PNG_eXIf_SUPPORTED
    // The chunk can follow the pixels.
    png_uint_32 size = 0;
    png_bytep exif = nullptr;
    if (png_get_eXIf_1(codec.png, codec.info, &size, &exif) != 0)
        decoded.orientation = exif_orientation(exif, size);
#endif
    return decoded;
}

strip_sink png_sink(const std::string &path, const std::string &name, const coding_options &) {
    const auto codec = std::make_shared<png_codec>(path, name, false);
    const auto take = [codec, is_first = true](uint32_t strip, bool is_last) mutable {
        const uint16_t format = format_of(strip);
        const pixels from = pixels_of(strip);
        if (std::exchange(is_first, false))
            require(start_writing(*codec, from.width, VIQ_get_height(strip),
                                  format == VIQ_Y16  ? 16
                                  : format == VIQ_Y1 ? 1
                                                     : 8,
                                  format == VIQ_RGB24 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY),
                    *codec);
        // PNG samples use all 16 bits.
        const uint32_t shift =
            format == VIQ_Y16 ? 16 - VIQ_image_get_parameter(strip, VIQ_DATA_WIDTH) : 0;
        std::vector<uint8_t> line(packed_bytes(format, from.width));
        for (uint32_t y = 0; y < from.lines; ++y) {
            std::copy_n(from.line(y), line.size(), line.begin());
            if (shift != 0)
                for (uint32_t x = 0; x < from.width; ++x) {
                    auto *sample = reinterpret_cast<uint16_t *>(line.data()) + x;
                    *sample = static_cast<uint16_t>(*sample << shift);
                }
            swap_samples(format, line.data(), from.width);
            require(write_line(*codec, line.data()), *codec);
        }
        if (is_last)
            require(finish_writing(*codec), *codec);
        if (is_last && std::fflush(codec->file.get()) != 0)
            fail_by_system(codec->name, "cannot be written");
    };
    return {take};
}

namespace {

void fail(png_structp png, png_const_charp text) {
    auto *codec = static_cast<png_codec *>(png_get_error_ptr(png));
    std::snprintf(codec->error, sizeof codec->error, "%s", text);
    png_longjmp(png, 1);
}

void ignore_warning(png_structp, png_const_charp) {}

png_codec::png_codec(const std::string &path, const std::string &file_name, bool reading)
    : file(open_or_fail(path, reading ? "rb" : "wb", file_name,
                        reading ? "cannot be opened" : "cannot be created")),
      name(file_name), reads(reading) {
    png = reading ? png_create_read_struct(PNG_LIBPNG_VER_STRING, this, fail, ignore_warning)
                  : png_create_write_struct(PNG_LIBPNG_VER_STRING, this, fail, ignore_warning);
    if (png != nullptr)
        info = png_create_info_struct(png);
    if (info == nullptr)
        throw failure{name + ": Memory allocation failed"};
}

png_codec::~png_codec() {
    if (reads)
        png_destroy_read_struct(&png, &info, nullptr);
    else
        png_destroy_write_struct(&png, &info);
}

bool start_reading(png_codec &codec) {
    if (setjmp(png_jmpbuf(codec.png)))
        return false;
    png_init_io(codec.png, codec.file.get());
    png_read_info(codec.png, codec.info);
    return true;
}

// Interlaced pictures are read in several passes over the lines.
bool read_lines(png_codec &codec, const pixels &to) {
    if (setjmp(png_jmpbuf(codec.png)))
        return false;
    const int passes = png_set_interlace_handling(codec.png);
    png_read_update_info(codec.png, codec.info);
    if (png_get_rowbytes(codec.png, codec.info) > to.bytes_per_line)
        png_error(codec.png, "lines are longer than expected");
    for (int pass = 0; pass < passes; ++pass)
        for (uint32_t y = 0; y < to.lines; ++y)
            png_read_row(codec.png, to.line(y), nullptr);
    png_read_end(codec.png, codec.info);
    return true;
}

bool start_writing(png_codec &codec, uint32_t width, uint32_t height, int depth, int colour) {
    if (setjmp(png_jmpbuf(codec.png)))
        return false;
    png_init_io(codec.png, codec.file.get());
    png_set_IHDR(codec.png, codec.info, width, height, depth, colour, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(codec.png, codec.info);
    return true;
}

bool write_line(png_codec &codec, const uint8_t *line) {
    if (setjmp(png_jmpbuf(codec.png)))
        return false;
    png_write_row(codec.png, line);
    return true;
}

bool finish_writing(png_codec &codec) {
    if (setjmp(png_jmpbuf(codec.png)))
        return false;
    png_write_end(codec.png, nullptr);
    return true;
}

} // namespace

} // namespace tool

#endif
