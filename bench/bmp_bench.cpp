// A 24-bit BMP file of 20000 x 20000 pixels in strips of 64 lines against plain reading and writing
// of the same bytes, and the most memory that the process ever held.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/types.h"

#if defined(__unix__)
#include <sys/resource.h>
#endif

namespace {

constexpr u32 strip_lines = 64;
constexpr int rounds = 3;

struct picture_file {
    std::string path;
    u32 side;
    std::size_t strip_bytes;
    std::size_t bytes;
};

void need(bool good, const char *what) {
    if (good)
        return;
    std::fprintf(stderr, "%s failed\n", what);
    std::exit(2);
}

void write_by_library(const picture_file &file) {
    const u32 image = VIQ_image_create();
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, VIQ_RGB24);
    VIQ_image_set_parameter(image, VIQ_WIDTH, file.side);
    VIQ_image_set_parameter(image, VIQ_HEIGHT, file.side);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, strip_lines);
    VIQ_image_set_outfilename(image, file.path.c_str());
    need(!VIQ_IS_ERROR(VIQ_image_malloc_a_strip(image)), "allocation");
    for (u32 line = 0; line < file.side; line += strip_lines)
        need(!VIQ_IS_ERROR(VIQ_write_BMP_file(image, VIQ_STRIP_NEXT)), "writing");
    VIQ_image_destroy(image);
}

void read_by_library(const picture_file &file) {
    const u32 image = VIQ_image_create();
    VIQ_image_set_infilename(image, file.path.c_str());
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, 0);
    need(!VIQ_IS_ERROR(VIQ_read_BMP_file(image, VIQ_STRIP_NEXT)), "reading the header");
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, strip_lines);
    for (u32 line = 0; line < file.side; line += strip_lines)
        need(!VIQ_IS_ERROR(VIQ_read_BMP_file(image, VIQ_STRIP_NEXT)), "reading");
    VIQ_image_destroy(image);
}

template <class Transfer>
void plain_transfer(const picture_file &file, const char *mode, Transfer transfer) {
    std::vector<u8> strip(file.strip_bytes);
    std::FILE *stream = std::fopen(file.path.c_str(), mode);
    need(stream != nullptr, "opening");
    for (std::size_t done = 0; done < file.bytes; done += strip.size())
        transfer(strip.data(), 1, std::min(strip.size(), file.bytes - done), stream);
    need(std::fclose(stream) == 0, "closing");
}

template <class Work> double seconds(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

template <class Work, class Plain> void compare(const char *name, Work work, Plain plain) {
    double ours = 1e9;
    double theirs = 1e9;
    for (int round = 0; round < rounds; ++round) {
        ours = std::min(ours, seconds(work));
        theirs = std::min(theirs, seconds(plain));
    }
    std::printf("BMP %-6s library %.3f s, plain %.3f s, ratio %.2f\n", name, ours, theirs,
                ours / theirs);
}

} // namespace

int main(int argc, char **argv) {
    const u32 side = argc > 1 ? static_cast<u32>(std::atoi(argv[1])) : 20000;
    const auto path = std::filesystem::temp_directory_path() / "viq_bmp_bench.bmp";
    const std::size_t line = std::size_t{side} * 3;
    const picture_file file = {path.string(), side, line * strip_lines, line * side + 54};

    compare(
        "write", [&] { write_by_library(file); }, [&] { plain_transfer(file, "wb", std::fwrite); });
    write_by_library(file);
    compare(
        "read", [&] { read_by_library(file); }, [&] { plain_transfer(file, "rb", std::fread); });
    std::filesystem::remove(path);
#if defined(__unix__)
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("most memory held: %.1f MiB\n", static_cast<double>(usage.ru_maxrss) / 1024);
#endif
    return 0;
}
