// Shared by the tests: recorded error reports, scoped images, a scratch folder.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/cpu.h"
#include "core/types.h"

namespace viq {

using bytes = std::vector<u8>;
using words = std::vector<u16>;
using numbers = std::vector<u32>;

inline bool has(const words &formats, u32 format) {
    return std::find(formats.begin(), formats.end(), format) != formats.end();
}

// For SCOPED_TRACE.
template <class... Parts> std::string text_of(const Parts &...parts) {
    std::ostringstream out;
    ((out << parts << ' '), ...);
    return out.str();
}

constexpr u32 missing = 60000; // not the handle of an image

// ---- Reports

struct failure {
    std::string function;
    u32 code;
    std::string message;
    bool operator==(const failure &) const = default;
};
using failures = std::vector<failure>;

inline std::ostream &operator<<(std::ostream &out, const failure &f) {
    return out << f.function << " 0x" << std::hex << f.code << std::dec << " \"" << f.message
               << '"';
}

inline failures reported; // since the last expectation

inline u32 record_failure(u32 module, const char *function, u32 code, const char *message) {
    EXPECT_EQ(module, 1u);
    reported.push_back({function, code, message});
    return 0;
}

// A call has made exactly these reports and returned the code of the last one, or 0 without any.
inline void expect_outcome(u32 code, const failures &expected) {
    EXPECT_EQ(reported, expected);
    EXPECT_EQ(code, expected.empty() ? 0 : expected.back().code);
    reported.clear();
}

template <class Call> void expect_reports(Call call, const failures &expected) {
    reported.clear();
    expect_outcome(call(), expected);
}

// "f" of "f(a, b)".
inline std::string function_in(const char *call) {
    return std::string(call, std::strcspn(call, "("));
}

#define EXPECT_REPORTS(call, ...)                                                                  \
    do {                                                                                           \
        SCOPED_TRACE(#call);                                                                       \
        reported.clear();                                                                          \
        expect_outcome(call, __VA_ARGS__);                                                         \
    } while (false)
#define EXPECT_OK(call) EXPECT_REPORTS(call, {})
#define EXPECT_REPORT(call, function, code, message)                                               \
    EXPECT_REPORTS(call, {{function, code, message}})
#define EXPECT_ERROR(call, code, message) EXPECT_REPORT(call, function_in(#call), code, message)
// The image check rejects an image without a format; its caller reports that again.
#define EXPECT_NO_FORMAT(call, function, message)                                                  \
    EXPECT_REPORTS(call, {{"VIQ_image_check", 0x10050010, "Unrecognised image"},                   \
                          {function, 0x10050010, message}})

// ---- Pictures

inline u8 noise() {
    static std::mt19937 generator(1);
    return static_cast<u8>(generator() >> 11);
}

// A scoped image, which converts to its handle.
struct picture {
    u32 handle = VIQ_image_create();

    picture() = default;
    // The whole picture is one strip, without data.
    picture(u16 format, u32 width, u32 height, u32 alignment = 2) {
        VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, format);
        VIQ_image_set_parameter(handle, VIQ_WIDTH, width);
        VIQ_image_set_parameter(handle, VIQ_HEIGHT, height);
        VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, height);
        VIQ_image_set_parameter(handle, VIQ_LINE_ALIGNMENT, alignment);
    }
    picture(const picture &) = delete;
    picture &operator=(const picture &) = delete;
    ~picture() { VIQ_image_destroy(handle); }

    operator u32() const { return handle; }
    tVIQ_Image *operator->() const {
        return static_cast<tVIQ_Image *>(VIQ_image_get_ptr(handle, VIQ_PTR_IMAGE));
    }
};

inline void fill_with_noise(const picture &p) {
    ASSERT_EQ(VIQ_image_malloc_a_strip(p), 0u);
    std::generate_n(p->data, std::size_t{p->lines_per_strip} * p->bytes_per_line, noise);
}

// The pixels of the current strip, without line padding.
inline bytes pixels_of(const picture &p) {
    bytes result;
    for (std::size_t n = 0; n < p->lines_per_strip; ++n) {
        const u8 *line = p->data + n * p->bytes_per_line;
        result.insert(result.end(), line, line + (p->bytes_per_line - p->skip_bytes));
    }
    return result;
}

// In decibels; equal pictures of 8-bit samples give a large, finite value.
inline double psnr(const picture &a, const picture &b) {
    const bytes left = pixels_of(a);
    const bytes right = pixels_of(b);
    EXPECT_EQ(left.size(), right.size());
    double sum = 0.01;
    for (std::size_t i = 0; i < std::min(left.size(), right.size()); ++i)
        sum += (left[i] - right[i]) * (left[i] - right[i]);
    return 10 * std::log10(255.0 * 255 * static_cast<double>(left.size()) / sum);
}

inline void set_strip(const picture &p, const bytes &pixels) {
    ASSERT_EQ(VIQ_image_malloc_a_strip(p), 0u);
    const std::size_t line = p->bytes_per_line - p->skip_bytes;
    ASSERT_EQ(pixels.size(), line * p->lines_per_strip);
    for (std::size_t n = 0; n < p->lines_per_strip; ++n)
        std::memcpy(p->data + n * p->bytes_per_line, &pixels[n * line], line);
}

inline u32 set_lines(u32 handle, u32 lines) {
    return VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, lines);
}

// Calls the step with every strip of a picture that is held in one strip.
template <class Step> void by_strips(const picture &whole, u32 lines, Step step) {
    const picture strip;
    set_lines(whole, lines);
    for (u32 done = 0; done < whole->height; done += lines) {
        EXPECT_OK(VIQ_read_from_memory(whole, strip, 3));
        EXPECT_EQ(strip->lines_per_strip, std::min(lines, whole->height - done));
        step(strip);
    }
    set_lines(whole, whole->height);
}

// Converts a picture strip by strip and collects the results in one picture.
template <class Converter>
void convert_by_strips(const picture &whole, u32 lines, Converter convert, const picture &out,
                       const picture &gathered) {
    by_strips(whole, lines, [&](const picture &strip) {
        EXPECT_OK(convert(strip, out, u16{3}));
        EXPECT_OK(VIQ_write_to_memory(out, gathered, 3));
    });
}

// ---- The pixel formats with the values that they set and require

constexpr u16 same = 77; // unchanged
struct known_format {
    u16 code, depth, data_width, components;
    u32 line;       // bytes of 10 pixels at alignment 4
    u32 depth_code; // of the image check
};
constexpr known_format known_formats[] = {{VIQ_Y1, 1, same, 0, 0, 0x01},
                                          {VIQ_Y8, 8, 8, 1, 12, 0x02},
                                          {VIQ_PALETTED, 8, 8, 1, 12, 0x08},
                                          {VIQ_RGB8, 8, 8, 3, 12, 0x0d},
                                          {VIQ_RGB15, 15, same, 3, 20, 0x0c},
                                          {VIQ_RGB16, 16, 16, 3, 20, 0x09},
                                          {VIQ_RGB24, 24, same, 3, 32, 0x03},
                                          {VIQ_BGR24, 24, same, 3, 32, 0x03},
                                          {VIQ_RGBX32, 32, same, 4, 40, 0x04},
                                          {VIQ_BGRX32, 32, same, 4, 40, 0x04},
                                          {VIQ_XBGR32, 32, same, 4, 40, 0x04},
                                          {VIQ_YUV422, 16, 16, 3, 20, 0x09},
                                          {VIQ_CMYK32, 32, same, 4, 40, 0x04},
                                          {VIQ_Y16, 16, 16, 1, 20, 0x0b},
                                          {VIQ_XRGB32, 32, same, 4, 40, 0x04},
                                          {VIQ_RGGB32, 32, same, 4, 10, 0x0e},
                                          {VIQ_Y64, 64, same, 8, 20, 0x0f},
                                          {VIQ_JPEG_WORK100, 32, same, 4, 40, 0x04},
                                          {VIQ_JPEG_WORK101, 32, same, 4, 80, 0x05},
                                          {VIQ_JPEG_WORK102, 32, same, 4, 80, 0x05},
                                          {VIQ_WORK103, 16, 16, 2, 20, 0x09},
                                          {VIQ_WORK104, 16, 16, 2, 40, 0x06},
                                          {VIQ_YUV411, 16, 16, 2, 20, 0x09},
                                          {VIQ_HSI, 32, same, 4, 40, 0x04}};

inline const known_format *find_known(u32 code) {
    const auto *row = std::find_if(std::begin(known_formats), std::end(known_formats),
                                   [code](const known_format &f) { return f.code == code; });
    return row != std::end(known_formats) ? row : nullptr;
}

// ---- Files

inline const std::filesystem::path scratch_folder =
    std::filesystem::temp_directory_path() / ("viq" + std::to_string(std::random_device{}()));

inline std::string scratch_file(const char *name) {
    return (scratch_folder / name).string();
}

// Sets the names of the files that the image is read from and written to.
inline void name_files(u32 handle, const std::string &name) {
    ASSERT_EQ(VIQ_image_set_infilename(handle, name.c_str()), 0u);
    ASSERT_EQ(VIQ_image_set_outfilename(handle, name.c_str()), 0u);
}

inline bytes read_file(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    return bytes(std::istreambuf_iterator<char>(file), {});
}

// A file that is truncated and written again is sent to the disk when it is closed (ext4).
template <class Bytes> void write_file(const std::string &name, const Bytes &content) {
    std::remove(name.c_str());
    std::ofstream file(name, std::ios::binary);
    std::copy(content.begin(), content.end(), std::ostreambuf_iterator<char>(file));
}

// ---- Test environment and fixtures

// Runs a test with each instruction set that the machine supports.
class every_set : public testing::TestWithParam<instruction_set> {
protected:
    void SetUp() override {
        if (!set_available(GetParam()))
            GTEST_SKIP();
        force_set(GetParam());
    }
    void TearDown() override { force_set(before); }
    const instruction_set before = current_set();
};

#define WITH_EVERY_SET(suite)                                                                      \
    INSTANTIATE_TEST_SUITE_P(                                                                      \
        Sets, suite,                                                                               \
        testing::Values(instruction_set::plain, instruction_set::avx2, instruction_set::neon),     \
        [](const auto &set) { return "set" + std::to_string(static_cast<unsigned>(set.param)); })

struct test_environment : testing::Environment {
    void SetUp() override {
        std::filesystem::create_directory(scratch_folder);
        VIQ_Init();
        VIQ_ErrHandlerInstall(record_failure);
    }
    void TearDown() override {
        EXPECT_EQ(VIQ_image_destroy(VIQ_ANY_IMAGE), 0u) << "a test has not destroyed an image";
        std::filesystem::remove_all(scratch_folder);
    }
};
inline testing::Environment *const registered =
    testing::AddGlobalTestEnvironment(new test_environment);

} // namespace viq
