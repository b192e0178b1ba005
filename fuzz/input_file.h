// Fuzz targets for files: the input lies in a file, and a picture is read from it in strips.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "core/types.h"

namespace viq {

// A started library without reports, and the input in a file, which the target removes.
inline const std::string &input_file(const u8 *data, std::size_t size) {
    static const std::string name = [] {
        VIQ_Init();
        VIQ_ErrHandlerInstall(nullptr);
        return (std::filesystem::temp_directory_path() /
                ("viq_fuzz" + std::to_string(std::random_device{}())))
            .string();
    }();
    std::FILE *file = std::fopen(name.c_str(), "wb");
    if (file == nullptr || (size > 0 && std::fwrite(data, 1, size, file) != size) ||
        std::fclose(file) != 0)
        std::abort();
    return name;
}

// The whole of what a reader takes, twice: in one strip and in strips of three lines. A reader must
// end idle, so the second reading starts with the header again.
inline void read_input(const u8 *data, std::size_t size, u32 (*read)(u32, u16)) {
    const std::string &name = input_file(data, size);
    VIQ_image_find_file_format(name.c_str());
    for (const u32 most : {UINT32_MAX, 3u}) {
        const u32 image = VIQ_image_create();
        VIQ_image_set_infilename(image, name.c_str());
        VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, 0);
        u32 code = read(image, VIQ_STRIP_NEXT);
        const u32 height = VIQ_get_height(image);
        for (u32 done = 0; !is_error(code) && done < height;
             done += VIQ_get_lines_this_strip(image)) {
            VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, std::min(most, height));
            code = read(image, VIQ_STRIP_NEXT);
        }
        read(image, VIQ_STRIP_FINISH);
        VIQ_image_destroy(image);
    }
    VIQ_image_destroy(VIQ_ANY_IMAGE);
    std::remove(name.c_str());
}

} // namespace viq

using namespace viq;
