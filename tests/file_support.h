// What the tests of readers and writers share.
#pragma once

#include "tests/support.h"

namespace viq {

using file_function = u32 (*)(u32 hImage, u16 wMode);

// A 1-bit picture, whose lines the image check does not size.
inline void give_bits(const picture &p, std::size_t line) {
    p->bytes_per_line = static_cast<u32>(line);
    VIQ_image_set_ptr(p, VIQ_PTR_DATA, VIQ_malloc_N_lines(p, p->height));
    std::generate_n(p->data, line * p->height, noise);
}

// So many bytes of each line of the current strip.
inline bytes lines_of(const picture &p, std::size_t line) {
    bytes result;
    for (std::size_t n = 0; n < p->lines_per_strip; ++n) {
        const u8 *start = p->data + n * p->bytes_per_line;
        result.insert(result.end(), start, start + line);
    }
    return result;
}

// The file that a held picture becomes, written in strips of so many lines.
inline bytes written(const picture &p, file_function write, u32 lines) {
    const std::string name = scratch_file("written");
    VIQ_image_set_outfilename(p, name.c_str());
    u8 *start = p->data;
    const u32 held = p->lines_per_strip;
    const u32 line = p->bytes_per_line;
    p->flags |= VIQ_FLAG_LOCKED;
    for (u32 done = 0; done < p->height; done += p->lines_per_strip) {
        p->data = start + std::size_t{done} * line;
        p->bytes_per_line = line;
        p->lines_per_strip = lines;
        EXPECT_OK(write(p, VIQ_STRIP_NEXT));
    }
    p->data = start;
    p->flags &= ~VIQ_FLAG_LOCKED;
    p->lines_per_strip = held;
    return read_file(name);
}

inline void set_input(const picture &p, const bytes &content) {
    write_file(scratch_file("input"), content);
    VIQ_image_set_infilename(p, scratch_file("input").c_str());
}

inline u32 read_header(const picture &p, const bytes &content, file_function read) {
    set_input(p, content);
    set_lines(p, 0);
    return read(p, VIQ_STRIP_NEXT);
}

// Header, then all lines in strips of so many; `line` is what of each line counts, 0 its pixels.
inline bytes pixels_read(const picture &p, const bytes &content, file_function read, u32 lines,
                         std::size_t line = 0) {
    EXPECT_OK(read_header(p, content, read));
    bytes result;
    for (u32 done = 0; done < p->height; done += p->lines_per_strip) {
        set_lines(p, lines);
        expect_reports([&] { return read(p, VIQ_STRIP_NEXT); }, {});
        if (testing::Test::HasFailure())
            return result;
        const bytes strip = line != 0 ? lines_of(p, line) : pixels_of(p);
        result.insert(result.end(), strip.begin(), strip.end());
    }
    return result;
}

// No beginning of a file passes for the whole, and after each failure the whole one can be read.
inline void expect_every_cut_refused(const bytes &whole, file_function read, std::size_t needed) {
    const picture p;
    VIQ_image_set_parameter(p, VIQ_LINE_ALIGNMENT, 1);
    for (std::size_t size = 0; size < needed; ++size) {
        u32 code =
            read_header(p, bytes(whole.begin(), whole.begin() + static_cast<long>(size)), read);
        set_lines(p, p->height);
        if (!is_error(code))
            code = read(p, VIQ_STRIP_NEXT);
        ASSERT_TRUE(is_error(code)) << size;
        ASSERT_GE(reported.size(), 1u) << size;
        reported.clear();
    }
    pixels_read(p, whole, read, 1);
}

// A device that is full, where there is one: the failure shows while writing or when closing.
inline void expect_full_disk_reported(const picture &p, file_function write) {
    if (!std::filesystem::exists("/dev/full"))
        GTEST_SKIP();
    VIQ_image_set_outfilename(p, "/dev/full");
    const u32 code = write(p, VIQ_STRIP_NEXT);
    EXPECT_TRUE(code == 0x100a0000 || code == 0x100d0000) << std::hex << code;
    EXPECT_EQ(reported.size(), 1u);
    reported.clear();
    EXPECT_OK(write(p, VIQ_STRIP_FINISH));
}

} // namespace viq
