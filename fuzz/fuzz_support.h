// Shared by the fuzz targets: starting the library, checks, input files, variants of a run, and the
// target for file readers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/types.h"
#include "fuzz/memory_files.h"

namespace viq {

// Initialises the library on the first call and turns its error reports off.
inline void start_library() {
    static const bool started = [] {
        VIQ_Init();
        VIQ_ErrHandlerInstall(nullptr);
        use_memory_files();
        return true;
    }();
    (void)started;
}

// Aborts, so that the fuzzer reports the input, unless the condition holds.
inline void demand(bool holds) {
    if (!holds)
        std::abort();
}

// The input as a file, for the length of a scope.
struct input_file {
    std::string name = file_name(0);

    input_file(const u8 *data, std::size_t size) {
        start_library();
        store_file(0, data, size);
    }
    input_file(const input_file &) = delete;
    input_file &operator=(const input_file &) = delete;
    ~input_file() { remove_file(0); }
};

inline u32 checksum(const u8 *data, std::size_t size) {
    u64 sum = size;
    for (std::size_t at = 0; at < size; at += sizeof(u64)) {
        u64 part = 0;
        std::memcpy(&part, data + at, std::min(sizeof part, size - at));
        sum = (sum ^ part) * 0x9E3779B97F4A7C15;
        sum ^= sum >> 29;
    }
    return static_cast<u32>(sum >> 32);
}

// What takes long is done in all inputs that the tests replay, but in few of those that the fuzzer
// makes.
inline bool is_one_of(const u8 *data, std::size_t size, u32 count) {
#if defined(VIQ_REPLAY)
    (void)data, (void)size, (void)count;
    return true;
#else
    return checksum(data, size) % count == 0;
#endif
}

// Calls the function with the number of a variant. The tests replay an input in all variants; the
// fuzzer runs it in one, which the input chooses, and runs many similar inputs. Then most pictures
// are small as well.
template <class Visit> void in_variants(const u8 *data, std::size_t size, u32 count, Visit visit) {
    start_library();
#if defined(VIQ_REPLAY)
    (void)data, (void)size;
    for (u32 variant = 0; variant < count; ++variant)
        visit(variant);
#else
    constexpr u64 few_pixels = 1 << 13, many_pixels = 1 << 22;
    VIQ_set_limit(VIQ_LIMIT_PIXELS, is_one_of(data, size, 64) ? many_pixels : few_pixels);
    visit(checksum(data, size) / 64 % count);
#endif
}

// The same with a reading mode in addition.
template <class Visit>
void in_both_modes(const u8 *data, std::size_t size, u32 count, Visit visit) {
    constexpr u32 modes[] = {VIQ_READING_ORIGINAL, VIQ_READING_CONFORMING};
    in_variants(data, size, 2 * count, [&](u32 variant) {
        demand(VIQ_set_file_reading(modes[variant % 2]) == 0);
        visit(variant / 2);
    });
}

// Reads the input with a file reader to its end or its first error: the header, then the picture in
// strips, in both reading modes.
inline void read_input(const u8 *data, std::size_t size, u32 (*read)(u32, u16)) {
    constexpr u32 heights[] = {UINT32_MAX, 3};
    const input_file file(data, size);
    in_both_modes(data, size, 2, [&](u32 variant) {
        if (variant == 0)
            VIQ_image_find_file_format(file.name.c_str());
        const u32 lines_per_strip = heights[variant];
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
        demand(VIQ_image_destroy(VIQ_ANY_IMAGE) == 0);
    });
}

} // namespace viq
