// TIFF, TGA and EPS files beside what a user would take instead, and conversion by lookup table
// beside the direct way; the best of many runs, all in turn.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/types.h"

#if defined(VIQ_HAVE_LIBTIFF)
#include <tiffio.h>
#endif

namespace {

constexpr u32 width = 4000;
constexpr u32 height = 3000;

using job = std::function<void()>;
using file_function = u32 (*)(u32, u16);

void need(bool good, const char *what) {
    if (good)
        return;
    std::fprintf(stderr, "%s failed\n", what);
    std::exit(2);
}

void need_ok(u32 code, const char *what) {
    need(!VIQ_IS_ERROR(code), what);
}

std::string place(const char *name) {
    return (std::filesystem::temp_directory_path() / name).string();
}

std::vector<double> best_seconds(const std::vector<job> &jobs, int rounds = 15) {
    std::vector<double> best(jobs.size(), 1e9);
    for (int round = 0; round < rounds; ++round)
        for (std::size_t n = 0; n < jobs.size(); ++n) {
            const auto begin = std::chrono::steady_clock::now();
            jobs[n]();
            const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
            best[n] = std::min(best[n], time.count());
        }
    return best;
}

void compare(const char *name, std::size_t bytes, const job &ours, const job &theirs) {
    const std::vector<double> best = best_seconds({ours, theirs});
    std::printf("%-24s library %7.0f MB/s, peer %7.0f MB/s, ratio %.2f\n", name,
                static_cast<double>(bytes) / 1e6 / best[0],
                static_cast<double>(bytes) / 1e6 / best[1], best[0] / best[1]);
}

u32 made_picture(u16 format, u32 columns, u32 lines) {
    const u32 image = VIQ_image_create();
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(image, VIQ_WIDTH, columns);
    VIQ_image_set_parameter(image, VIQ_HEIGHT, lines);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, lines);
    need_ok(VIQ_image_malloc_a_strip(image), "allocation");
    auto *data = static_cast<u8 *>(VIQ_image_get_ptr(image, VIQ_PTR_DATA));
    const std::size_t size = std::size_t{VIQ_get_bytes_per_line(image)} * lines;
    u32 state = 1;
    for (std::size_t i = 0; i < size; ++i) { // slow changes with a little noise, as in photographs
        state = state * 1664525 + 1013904223;
        data[i] = static_cast<u8>((i >> 9) + (i % 4) * 40 + (state >> 29));
    }
    return image;
}

job writing(u32 image, file_function write, const std::string &path) {
    return [=] {
        VIQ_image_set_outfilename(image, path.c_str());
        need_ok(write(image, VIQ_STRIP_NEXT), "writing");
    };
}

// The image keeps its buffer from one run to the next.
job reading(u32 image, file_function read, const std::string &path) {
    VIQ_image_set_infilename(image, path.c_str());
    return [=] {
        VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, height);
        need_ok(read(image, VIQ_STRIP_NEXT), "reading");
    };
}

// ---- TIFF

#if defined(VIQ_HAVE_LIBTIFF)
void put_by_libtiff(const std::string &path, u32 samples, u32 bits, std::vector<u8> &pixels) {
    TIFF *file = TIFFOpen(path.c_str(), "wb");
    need(file != nullptr, "opening");
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, samples);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC,
                 samples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(file, 0));
    u32 rows = 0;
    TIFFGetField(file, TIFFTAG_ROWSPERSTRIP, &rows);
    const std::size_t line = std::size_t{width} * samples * bits / 8;
    for (u32 row = 0, strip = 0; row < height; row += rows, ++strip)
        need(TIFFWriteEncodedStrip(file, strip, pixels.data() + row * line,
                                   static_cast<tmsize_t>(std::min(rows, height - row) * line)) >= 0,
             "writing");
    TIFFClose(file);
}

void get_by_libtiff(const std::string &path, std::vector<u8> &pixels) {
    TIFF *file = TIFFOpen(path.c_str(), "r");
    need(file != nullptr, "opening");
    u8 *to = pixels.data();
    for (u32 strip = 0; strip < TIFFNumberOfStrips(file); ++strip) {
        const tmsize_t size = TIFFReadEncodedStrip(file, strip, to, -1);
        need(size >= 0, "reading");
        to += size;
    }
    TIFFClose(file);
}

void compare_tiff(const char *name, u16 format, u32 samples, u32 bits) {
    const u32 image = made_picture(format, width, height);
    const std::string ours = place("viq_bench_ours.tif");
    const std::string theirs = place("viq_bench_theirs.tif");
    const std::size_t bytes = std::size_t{width} * height * samples * bits / 8;
    std::vector<u8> pixels(bytes);
    std::memcpy(pixels.data(), VIQ_image_get_ptr(image, VIQ_PTR_DATA), bytes);
    compare((std::string("TIFF ") + name + " write").c_str(), bytes,
            writing(image, VIQ_write_TIFF_file, ours),
            [&] { put_by_libtiff(theirs, samples, bits, pixels); });
    compare((std::string("TIFF ") + name + " read").c_str(), bytes,
            reading(image, VIQ_read_TIFF_file, ours), [&] { get_by_libtiff(ours, pixels); });
    compare((std::string("TIFF ") + name + " read strips").c_str(), bytes,
            reading(image, VIQ_read_TIFF_file, theirs), [&] { get_by_libtiff(theirs, pixels); });
    std::filesystem::remove(ours);
    std::filesystem::remove(theirs);
    VIQ_image_destroy(image);
}
#endif

// ---- TGA

void swap_channels(std::vector<u8> &pixels) {
    for (std::size_t i = 0; i < pixels.size(); i += 3)
        std::swap(pixels[i], pixels[i + 2]);
}

void compare_tga() {
    const u32 image = made_picture(VIQ_RGB24, width, height);
    const std::string path = place("viq_bench.tga");
    const std::string plain = place("viq_bench_plain.tga");
    std::vector<u8> pixels(std::size_t{width} * height * 3);
    u8 header[18] = {};
    compare("TGA write", pixels.size(), writing(image, VIQ_write_TGA_file, path), [&] {
        std::FILE *file = std::fopen(plain.c_str(), "wb");
        need(file != nullptr, "opening");
        swap_channels(pixels);
        std::fwrite(header, 1, sizeof header, file);
        std::fwrite(pixels.data(), 1, pixels.size(), file);
        need(std::fclose(file) == 0, "closing");
    });
    compare("TGA read", pixels.size(), reading(image, VIQ_read_TGA_file, path), [&] {
        std::FILE *file = std::fopen(path.c_str(), "rb");
        need(file != nullptr && std::fread(header, 1, sizeof header, file) == sizeof header &&
                 std::fread(pixels.data(), 1, pixels.size(), file) == pixels.size(),
             "reading");
        std::fclose(file);
        swap_channels(pixels);
    });
    std::filesystem::remove(path);
    std::filesystem::remove(plain);
    VIQ_image_destroy(image);
}

// ---- EPS

void measure_eps() {
    const u32 image = made_picture(VIQ_RGB24, width, height);
    const std::string path = place("viq_bench.eps");
    const double bytes = double{width} * height * 3;
    for (const auto &[name, work] :
         {std::pair<const char *, job>{"EPS write", writing(image, VIQ_write_EPS_file, path)},
          {"EPS read", reading(image, VIQ_read_EPS_file, path)}})
        std::printf("%-24s library %7.0f MB/s of pixels\n", name,
                    bytes / 1e6 / best_seconds({work})[0]);
    std::filesystem::remove(path);
    VIQ_image_destroy(image);
}

// ---- Lookup tables

void measure_tables() {
    const u32 in = made_picture(VIQ_YUV422, 1920, 1080);
    const u32 rgb = made_picture(VIQ_RGB24, 1920, 1080);
    const u32 out = VIQ_image_create();
    for (const u32 image : {in, rgb})
        VIQ_cmap_set_type(image, 3);
    for (const u16 type : {u16{200}, u16{205}, u16{203}, u16{204}})
        std::printf("table %u made in          %.2f ms\n", type,
                    1e3 * best_seconds({[=] {
                        need_ok(VIQ_image_conv_LUT_generate(in, type), "table");
                    }})[0]);
    need_ok(VIQ_cmap_generate(rgb, 256, VIQ_STRIP_NEXT), "colours");
    struct pair {
        const char *name;
        u32 (*by_table)(u32, u32, u16);
        u32 direct_in;
        u32 (*direct)(u32, u32, u16);
    };
    for (const pair &p :
         {pair{"YUV422 to RGB16", VIQ_YUV422_to_RGB16_LUT, in, VIQ_YUV422_to_RGB16},
          pair{"YUV422 to RGB24", VIQ_YUV422_to_RGB24_LUT, in, VIQ_YUV422_to_RGB24},
          pair{"YUV422 to paletted", VIQ_YUV422_to_paletted_LUT, rgb, VIQ_convert_to_paletted}}) {
        const std::vector<double> best =
            best_seconds({[&] { need_ok(p.by_table(in, out, VIQ_STRIP_NEXT), p.name); },
                          [&] { need_ok(p.direct(p.direct_in, out, VIQ_STRIP_NEXT), p.name); }},
                         3);
        const double pixels = 1920.0 * 1080;
        std::printf("%-24s by table %.3f ns/pixel, %s %.3f ns/pixel, ratio %.2f\n", p.name,
                    best[0] * 1e9 / pixels, p.direct_in == in ? "direct" : "RGB24 by search",
                    best[1] * 1e9 / pixels, best[0] / best[1]);
    }
    VIQ_image_destroy(VIQ_ALL_IMAGES);
}

} // namespace

int main() {
#if defined(VIQ_HAVE_LIBTIFF)
    compare_tiff("RGB24", VIQ_RGB24, 3, 8);
    compare_tiff("Y16", VIQ_Y16, 1, 16);
#endif
    compare_tga();
    measure_eps();
    measure_tables();
    return 0;
}
