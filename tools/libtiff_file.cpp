#include "tools/libtiff_file.h"

#if VIQ_HAS_LIBTIFF

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include <tiffio.h>

#include "tools/pixel_format_table.h"

namespace tool {

namespace {

using tiff_ptr = std::unique_ptr<TIFF, void (*)(TIFF *)>;

struct page_layout {
    uint32_t width = 0, height = 0;
    uint16_t bits = 1, channels = 1, photometric = 0, planar = PLANARCONFIG_CONTIG;
    uint16_t sample_format = SAMPLEFORMAT_UINT;
    uint32_t block_width = 0, block_lines = 0; // of a strip or a tile
    bool is_tiled = false;

    bool is_grey() const {
        return photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    }
    // Whether the samples are copied; all others are converted by libtiff.
    bool is_plain() const {
        return (bits == 8 || bits == 16) && sample_format == SAMPLEFORMAT_UINT &&
               (is_grey() || (photometric == PHOTOMETRIC_RGB && channels >= 3));
    }
};

tiff_ptr open_tiff(const std::string &path);
page_layout layout_of(TIFF *tiff, const std::string &name);
void read_plain(TIFF *tiff, const page_layout &page, const pixels &to, const std::string &name);
void copy_block(const page_layout &page, const uint8_t *block, uint32_t left, uint32_t top,
                uint16_t plane, const pixels &to);
void read_converted(TIFF *tiff, const page_layout &page, const pixels &to, const std::string &name);
std::vector<std::string> notes_of(const page_layout &page);
void store_error(const char *module, const char *format, va_list values);

thread_local std::string first_error;

[[noreturn]] void fail(const std::string &name) {
    throw failure{name + ": " + (first_error.empty() ? "damaged TIFF file" : first_error)};
}

} // namespace

uint32_t count_pages_by_libtiff(const std::string &path) {
    const tiff_ptr tiff = open_tiff(path);
    return tiff != nullptr ? TIFFNumberOfDirectories(tiff.get()) : 1;
}

decoded_picture read_by_libtiff(const std::string &path, const std::string &name, uint32_t page) {
    const tiff_ptr tiff = open_tiff(path);
    if (tiff == nullptr)
        fail(name);
    const uint32_t pages = TIFFNumberOfDirectories(tiff.get());
    if (page == 0 || page > pages)
        throw failure{name + ": has no page " + std::to_string(page) + " (pages: 1 to " +
                      std::to_string(pages) + ")"};
    if (!TIFFSetDirectory(tiff.get(), static_cast<tdir_t>(page - 1)))
        fail(name);
    const page_layout layout = layout_of(tiff.get(), name);
    const bool is_deep = layout.is_plain() && layout.bits == 16;
    const uint16_t format = !layout.is_grey() ? VIQ_RGB24 : is_deep ? VIQ_Y16 : VIQ_Y8;
    std::string version = TIFFGetVersion();
    version = version.substr(0, version.find('\n'));
    decoded_picture decoded = {whole_picture(format, layout.width, layout.height, name),
                               version.starts_with("LIBTIFF, Version ")
                                   ? "libtiff " + version.substr(std::strlen("LIBTIFF, Version "))
                                   : version,
                               notes_of(layout), pages};
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_ORIENTATION, &decoded.orientation);
    const pixels to = pixels_of(decoded.picture.handle);
    if (layout.is_plain())
        read_plain(tiff.get(), layout, to, name);
    else
        read_converted(tiff.get(), layout, to, name);
    return decoded;
}

namespace {

// The handlers are those of all threads.
bool set_handlers() {
    TIFFSetErrorHandler(store_error);
    TIFFSetWarningHandler(nullptr);
    return true;
}

tiff_ptr open_tiff(const std::string &path) {
    static const bool handlers_set = set_handlers();
    static_cast<void>(handlers_set);
    first_error.clear();
    return {TIFFOpen(path.c_str(), "r"), TIFFClose};
}

page_layout layout_of(TIFF *tiff, const std::string &name) {
    page_layout page;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &page.width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &page.height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &page.bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &page.channels);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &page.planar);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &page.sample_format);
    if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &page.photometric) || page.width == 0 ||
        page.height == 0)
        fail(name);
    page.is_tiled = TIFFIsTiled(tiff) != 0;
    if (page.is_tiled) {
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &page.block_width);
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &page.block_lines);
    } else {
        page.block_width = page.width;
        TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &page.block_lines);
        page.block_lines = std::min(page.block_lines, page.height);
    }
    if (page.block_width == 0 || page.block_lines == 0)
        fail(name);
    return page;
}

// Each block holds all channels of its pixels, or those of one plane.
void read_plain(TIFF *tiff, const page_layout &page, const pixels &to, const std::string &name) {
    const tmsize_t size = page.is_tiled ? TIFFTileSize(tiff) : TIFFStripSize(tiff);
    const bool has_planes = page.planar == PLANARCONFIG_SEPARATE;
    const uint64_t line_bytes =
        uint64_t{page.block_width} * (has_planes ? 1 : page.channels) * page.bits / 8;
    if (size <= 0 || static_cast<uint64_t>(size) < line_bytes * page.block_lines)
        fail(name);
    std::vector<uint8_t> block(static_cast<std::size_t>(size));
    const uint16_t planes = !has_planes ? 1 : page.is_grey() ? 1 : 3;
    for (uint16_t plane = 0; plane < planes; ++plane)
        for (uint32_t top = 0; top < page.height; top += page.block_lines)
            for (uint32_t left = 0; left < page.width; left += page.block_width) {
                const tmsize_t read =
                    page.is_tiled ? TIFFReadTile(tiff, block.data(), left, top, 0, plane)
                                  : TIFFReadEncodedStrip(tiff, TIFFComputeStrip(tiff, top, plane),
                                                         block.data(), size);
                const uint64_t lines = std::min(page.block_lines, page.height - top);
                if (read < 0 || static_cast<uint64_t>(read) < lines * line_bytes)
                    fail(name);
                copy_block(page, block.data(), left, top, plane, to);
            }
}

void copy_block(const page_layout &page, const uint8_t *block, uint32_t left, uint32_t top,
                uint16_t plane, const pixels &to) {
    const bool has_planes = page.planar == PLANARCONFIG_SEPARATE;
    const std::size_t stride = has_planes ? 1 : page.channels; // samples from pixel to pixel
    const std::size_t kept = page.is_grey() ? 1 : 3;           // channels of the result
    const std::size_t copied = has_planes ? 1 : kept;
    const uint32_t lines = std::min(page.block_lines, page.height - top);
    const uint32_t width = std::min(page.block_width, page.width - left);
    const uint32_t invert = page.photometric == PHOTOMETRIC_MINISWHITE ? 0xFFFF : 0;
    for (uint32_t y = 0; y < lines; ++y)
        for (std::size_t x = 0; x < width; ++x)
            for (std::size_t c = 0; c < copied; ++c) {
                const std::size_t from = (std::size_t{y} * page.block_width + x) * stride + c;
                const std::size_t target = (left + x) * kept + c + plane;
                uint8_t *line = to.line(top + y);
                if (page.bits == 8) {
                    line[target] = static_cast<uint8_t>(block[from] ^ invert);
                    continue;
                }
                uint16_t sample;
                std::memcpy(&sample, block + 2 * from, sizeof sample);
                sample = static_cast<uint16_t>(sample ^ invert);
                if (page.is_grey())
                    std::memcpy(line + 2 * target, &sample, sizeof sample);
                else
                    line[target] = upper_byte(sample);
            }
}

// libtiff converts palettes, CMYK, YCbCr and few bits a sample to RGB with alpha.
void read_converted(TIFF *tiff, const page_layout &page, const pixels &to,
                    const std::string &name) {
    char problem[1024] = "";
    TIFFRGBAImage source;
    if (!TIFFRGBAImageOK(tiff, problem) || !TIFFRGBAImageBegin(&source, tiff, 1, problem))
        throw failure{name + ": " + problem};
    source.req_orientation = ORIENTATION_TOPLEFT;
    source.orientation = ORIENTATION_TOPLEFT; // another one is not applied here
    std::vector<uint32_t> raster(std::size_t{page.width} * page.height);
    const bool done = TIFFRGBAImageGet(&source, raster.data(), page.width, page.height) != 0;
    TIFFRGBAImageEnd(&source);
    if (!done)
        fail(name);
    for (uint32_t y = 0; y < page.height; ++y)
        for (std::size_t x = 0; x < page.width; ++x) {
            const uint32_t pixel = raster[std::size_t{y} * page.width + x];
            const uint8_t rgb[] = {static_cast<uint8_t>(TIFFGetR(pixel)),
                                   static_cast<uint8_t>(TIFFGetG(pixel)),
                                   static_cast<uint8_t>(TIFFGetB(pixel))};
            if (page.is_grey())
                to.line(y)[x] = rgb[0];
            else
                std::copy_n(rgb, rgb24_bytes, to.line(y) + rgb24_bytes * x);
        }
}

std::vector<std::string> notes_of(const page_layout &page) {
    std::vector<std::string> notes;
    const uint16_t colours = page.is_grey()                              ? 1
                             : page.photometric == PHOTOMETRIC_SEPARATED ? 4
                             : page.photometric == PHOTOMETRIC_PALETTE   ? 1
                                                                         : 3;
    if (page.channels > colours)
        notes.emplace_back(alpha_dropped);
    if (page.bits == 16 && !page.is_grey())
        notes.emplace_back(depth_reduced);
    if (page.photometric == PHOTOMETRIC_SEPARATED)
        notes.emplace_back("CMYK is converted to RGB without a colour profile");
    return notes;
}

void store_error(const char *, const char *format, va_list values) {
    char text[256];
    std::vsnprintf(text, sizeof text, format, values);
    if (first_error.empty())
        first_error = text;
}

} // namespace

} // namespace tool

#endif
