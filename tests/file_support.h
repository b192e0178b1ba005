// Shared by the tests of readers and writers.
#pragma once

#include "tests/support.h"

namespace viq {

using file_function = u32 (*)(u32 hImage, u16 wMode);

// A failed image check is reported twice: by the check and by its caller.
#define EXPECT_CHECKED(call, function, code, message)                                              \
    EXPECT_REPORTS(                                                                                \
        call, {{"VIQ_image_check", code, message}, {function, code, "VIQ_image_check failed"}})

// Fills the picture and its colourmap with noise. The image check does not set the stride of 1-bit
// pictures; it becomes `bit_line`.
inline void paint(const picture &p, std::size_t bit_line) {
    std::generate_n(&p->colourmap[0].red, 1024, noise);
    if (p->pixel_format != VIQ_Y1) {
        fill_with_noise(p);
        return;
    }
    p->bytes_per_line = static_cast<u32>(bit_line);
    VIQ_image_set_ptr(p, VIQ_PTR_DATA, VIQ_malloc_N_lines(p, p->height));
    std::generate_n(p->data, bit_line * p->height, noise);
}

// The first `line` bytes of each line of the current strip.
inline bytes lines_of(const picture &p, std::size_t line) {
    bytes result;
    for (std::size_t n = 0; n < p->lines_per_strip; ++n) {
        const u8 *start = p->data + n * p->bytes_per_line;
        result.insert(result.end(), start, start + line);
    }
    return result;
}

// Writes a picture that is held in one strip by strips of `lines` lines, and returns the file.
inline bytes written(const picture &p, file_function write, u32 lines) {
    const std::string name = scratch_file("written");
    name_files(p, name);
    u8 *start = p->data;
    const u32 line = p->bytes_per_line;
    p->flags |= VIQ_FLAG_LOCKED;
    for (u32 done = 0; done < p->height; done += p->lines_per_strip) {
        p->data = start + std::size_t{done} * line;
        p->bytes_per_line = line;
        set_lines(p, lines);
        EXPECT_OK(write(p, VIQ_STRIP_NEXT));
    }
    p->data = start;
    p->flags &= ~VIQ_FLAG_LOCKED;
    set_lines(p, p->height);
    return read_file(name);
}

inline u32 read_header(const picture &p, const bytes &content, file_function read) {
    name_files(p, scratch_file("input"));
    write_file(p->infilename, content);
    set_lines(p, 0);
    return read(p, VIQ_STRIP_NEXT);
}

// Reads the header, then all lines by strips of `lines` lines. Returns `line` bytes of each line,
// or its pixels if `line` is 0.
inline bytes pixels_read(const picture &p, const bytes &content, file_function read, u32 lines,
                         std::size_t line = 0) {
    EXPECT_OK(read_header(p, content, read));
    EXPECT_NE(p->bytes_per_line, 0u);
    bytes result;
    for (u32 done = 0; done < p->height && !testing::Test::HasFailure();
         done += p->lines_per_strip) {
        set_lines(p, lines);
        EXPECT_OK(read(p, VIQ_STRIP_NEXT));
        const bytes strip = line != 0 ? lines_of(p, line) : pixels_of(p);
        result.insert(result.end(), strip.begin(), strip.end());
    }
    return result;
}

// Every truncation of the file is rejected, and the whole file can be read afterwards.
inline void expect_every_cut_refused(const bytes &whole, file_function read, std::size_t needed) {
    const picture p(0, 0, 0, 1);
    for (std::size_t size = 0; size < needed; ++size) {
        u32 code = read_header(p, bytes(whole.begin(), whole.begin() + long(size)), read);
        set_lines(p, p->height);
        if (!is_error(code))
            code = read(p, VIQ_STRIP_NEXT);
        ASSERT_TRUE(is_error(code)) << size;
        reported.clear();
    }
    pixels_read(p, whole, read, 1);
}

} // namespace viq
