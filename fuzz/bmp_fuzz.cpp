// BMP files: format detection, reading in one strip and in several, conversion, writing.
#include <vector>

#include "core/image.h"
#include "fuzz/fuzz_support.h"

using namespace viq;

namespace {

// Reads by strips of so many lines, up to 64 lines, and converts each strip. Finishing the reader
// succeeds after any strip.
void read_with(u32 (*read)(u32 handle, u32 memory, u16 mode), const std::string &name, u32 lines) {
    const scoped_image strip, out;
    VIQ_image_set_infilename(strip.handle, name.c_str());
    VIQ_image_set_parameter(strip.handle, VIQ_HEIGHT, 0);
    VIQ_image_set_parameter(strip.handle, VIQ_LINES_PER_STRIP, 0);
    u32 done = 0;
    if (read(strip.handle, 0, VIQ_STRIP_NEXT) == 0)
        do {
            VIQ_image_set_parameter(strip.handle, VIQ_LINES_PER_STRIP, lines);
            if (read(strip.handle, 0, VIQ_STRIP_NEXT) != 0)
                break;
            VIQ_image_convert(strip.handle, out.handle, VIQ_RGB24_OR_Y8, 0, VIQ_STRIP_NEXT);
            done += VIQ_get_lines_this_strip(strip.handle);
        } while (done < VIQ_get_height(strip.handle) && done < 64);
    VIQ_image_convert(strip.handle, out.handle, VIQ_RGB24_OR_Y8, 0, VIQ_STRIP_FINISH);
    demand(read(strip.handle, 0, VIQ_STRIP_FINISH) == 0 || done == 0);
}

u32 read_bmp(u32 handle, u32, u16 mode) {
    return VIQ_read_BMP_file(handle, mode);
}

// Writes the picture to a buffer and to the file; the file, read again, gives the same buffer.
void write_back(const std::string &name) {
    const scoped_image whole, memory;
    VIQ_image_set_infilename(whole.handle, name.c_str());
    if (VIQ_image_find_file_format(name.c_str()) != VIQ_FILE_BMP ||
        VIQ_image_read(whole.handle, 0, VIQ_STRIP_NEXT) != 0)
        return;
    const tVIQ_Image &image = *find_image(whole.handle);
    std::vector<u8> first(std::size_t{image.height} * (image.bytes_per_line + 4) + 1078), second;
    second = first;
    u32 size = 0;
    demand(VIQ_image_write_BMP_buffer(whole.handle, first.data(), &size, VIQ_STRIP_NEXT) == 0);
    VIQ_image_set_outfilename(whole.handle, name.c_str());
    demand(VIQ_write_BMP_file(whole.handle, VIQ_STRIP_NEXT) == 0);
    demand(VIQ_image_read(whole.handle, 0, VIQ_STRIP_NEXT) == 0);
    demand(VIQ_image_write_BMP_buffer(whole.handle, second.data(), &size, VIQ_STRIP_NEXT) == 0);
    demand(first == second);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    const input_file file(data, size);
    in_both_modes(data, size, 7, [&](u32 variant) {
        constexpr u32 heights[] = {1, 3, 1000};
        if (variant == 6)
            write_back(file.name);
        else
            read_with(variant < 3 ? VIQ_image_read : read_bmp, file.name, heights[variant % 3]);
        demand(VIQ_image_destroy(VIQ_ANY_IMAGE) == 0);
    });
    return 0;
}
