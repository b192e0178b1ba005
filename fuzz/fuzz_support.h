// Shared by the fuzz targets: starting the library, checks, input files, and the target for file
// readers.
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

// Initialises the library on the first call and turns its error reports off.
inline void start_library() {
    static const bool started = [] {
        VIQ_Init();
        VIQ_ErrHandlerInstall(nullptr);
        return true;
    }();
    (void)started;
}

// Aborts, so that the fuzzer reports the input, unless the condition holds.
inline void demand(bool holds) {
    if (!holds)
        std::abort();
}

// The input as a file, for the length of a scope. All files of a process have the same name.
struct input_file {
    std::string name;

    input_file(const u8 *data, std::size_t size) {
        static const std::string process_file =
            (std::filesystem::temp_directory_path() /
             ("viq_fuzz" + std::to_string(std::random_device{}())))
                .string();
        start_library();
        name = process_file;
        std::FILE *file = std::fopen(name.c_str(), "wb");
        demand(file != nullptr);
        demand(size == 0 || std::fwrite(data, 1, size, file) == size);
        demand(std::fclose(file) == 0);
    }
    input_file(const input_file &) = delete;
    input_file &operator=(const input_file &) = delete;
    ~input_file() { std::remove(name.c_str()); }
};

// Calls the function in the original and in the conforming reading mode.
template <class Visit> void in_both_modes(Visit visit) {
    start_library();
    for (const u32 mode : {u32{VIQ_READING_ORIGINAL}, u32{VIQ_READING_CONFORMING}}) {
        demand(VIQ_set_file_reading(mode) == 0);
        visit();
    }
}

// Reads the input with a file reader to its end or its first error: the header, then the picture in
// one strip. Repeats this with strips of three lines, which starts with the header again because
// the reader is idle after VIQ_STRIP_FINISH.
inline void read_input_once(const input_file &file, u32 (*read)(u32, u16)) {
    VIQ_image_find_file_format(file.name.c_str());
    for (const u32 lines_per_strip : {UINT32_MAX, 3u}) {
        const u32 image = VIQ_image_create();
        VIQ_image_set_infilename(image, file.name.c_str());
        VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, 0);
        u32 code = read(image, VIQ_STRIP_NEXT);
        const u32 height = VIQ_get_height(image);
        for (u32 done = 0; !is_error(code) && done < height;
             done += VIQ_get_lines_this_strip(image)) {
            VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, std::min(lines_per_strip, height));
            code = read(image, VIQ_STRIP_NEXT);
        }
        read(image, VIQ_STRIP_FINISH);
        VIQ_image_destroy(image);
    }
    VIQ_image_destroy(VIQ_ANY_IMAGE);
}

// The same in both reading modes.
inline void read_input(const u8 *data, std::size_t size, u32 (*read)(u32, u16)) {
    const input_file file(data, size);
    in_both_modes([&] { read_input_once(file, read); });
}

} // namespace viq
