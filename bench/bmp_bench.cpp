// Writing and reading a 24-bit BMP file of 20000 x 20000 pixels in strips of 64 lines, compared
// with fwrite and fread of the same number of bytes, and the peak memory of the process. An
// argument replaces the side length.
#include <filesystem>
#include <string>

#include "bench/bench_support.h"

#if defined(__unix__)
#include <sys/resource.h>
#endif

using namespace bench;

namespace {

constexpr u32 strip_lines = 64;
constexpr u32 rounds = 3;

struct picture_file {
    std::string path;
    u32 side;
    std::size_t strip_bytes;
    std::size_t bytes; // of the whole file
};

void write_by_library(const picture_file &file) {
    const u32 image = VIQ_image_create();
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, VIQ_RGB24);
    VIQ_image_set_parameter(image, VIQ_WIDTH, file.side);
    VIQ_image_set_parameter(image, VIQ_HEIGHT, file.side);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, strip_lines);
    VIQ_image_set_outfilename(image, file.path.c_str());
    need_ok(VIQ_image_malloc_a_strip(image), "allocation");
    for (u32 line = 0; line < file.side; line += strip_lines)
        need_ok(VIQ_write_BMP_file(image, VIQ_STRIP_NEXT), "writing");
    VIQ_image_destroy(image);
}

void read_by_library(const picture_file &file) {
    const u32 image = VIQ_image_create();
    VIQ_image_set_infilename(image, file.path.c_str());
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, 0);
    need_ok(VIQ_read_BMP_file(image, VIQ_STRIP_NEXT), "reading the header");
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, strip_lines);
    for (u32 line = 0; line < file.side; line += strip_lines)
        need_ok(VIQ_read_BMP_file(image, VIQ_STRIP_NEXT), "reading");
    VIQ_image_destroy(image);
}

// Transfers the bytes of the file by fread or fwrite, a strip at a time.
template <class Transfer>
void plain_transfer(const picture_file &file, const char *mode, Transfer transfer) {
    std::vector<u8> strip(file.strip_bytes);
    std::FILE *stream = std::fopen(file.path.c_str(), mode);
    need(stream != nullptr, "opening");
    for (std::size_t done = 0; done < file.bytes; done += strip.size())
        transfer(strip.data(), 1, std::min(strip.size(), file.bytes - done), stream);
    need(std::fclose(stream) == 0, "closing");
}

void compare(const char *name, const job &library, const job &plain) {
    const std::vector<double> best = best_seconds({library, plain}, rounds);
    std::printf("BMP %-6s library %.3f s, plain %.3f s, ratio %.2f\n", name, best[0], best[1],
                best[0] / best[1]);
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
