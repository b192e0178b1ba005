// The C++ interface viq.hpp. Its names are those of the library's own namespace, so that this
// source includes no internal header.
#include <algorithm>
#include <filesystem>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include "viq.hpp"

namespace {

static_assert(std::is_nothrow_move_constructible_v<viq::image> &&
              !std::is_copy_constructible_v<viq::image>);

std::string temporary(const char *name) {
    return (std::filesystem::temp_directory_path() /
            (std::to_string(reinterpret_cast<std::uintptr_t>(&name)) + name))
        .string();
}

viq::image ramp(std::uint32_t width, std::uint32_t height) {
    viq::image made(VIQ_RGB24, width, height);
    std::uint8_t value = 0;
    for (const std::span<std::uint8_t> line : made.lines())
        std::ranges::generate(line, [&] { return value++; });
    return made;
}

bool same_pixels(const viq::image &a, const viq::image &b) {
    return a.format() == b.format() &&
           std::equal(a.lines().begin(), a.lines().end(), b.lines().begin(), b.lines().end(),
                      [](auto one, auto other) { return std::ranges::equal(one, other); });
}

} // namespace

TEST(CppInterface, ImagesMoveAndEnd) {
    viq::image first = ramp(5, 3);
    const std::uint32_t handle = first.handle();
    viq::image second = std::move(first);
    EXPECT_EQ(second.handle(), handle);
    EXPECT_EQ(first.handle(), 0u);
    second = ramp(2, 2);
    EXPECT_EQ(second.width(), 2u);
    second = viq::image(second.release());
    EXPECT_EQ(second.line(1).size(), 6u);
    EXPECT_EQ(second.lines().size(), 2u);
    EXPECT_EQ(second.stride(), 6u);
}

TEST(CppInterface, ThrowsWhatWasReported) {
    try {
        ramp(4, 4).through(VIQ_IP_crop, 9, 9, 1, 1);
        FAIL();
    } catch (const viq::error &failure) {
        EXPECT_EQ(failure.code(), VIQ_ERR_PARAMETER);
        EXPECT_STREQ(failure.name(), "VIQ_ERR_PARAMETER");
        EXPECT_EQ(failure.function(), "VIQ_IP_crop");
        EXPECT_EQ(failure.text(), "Rectangle outside the image");
        EXPECT_STREQ(failure.what(),
                     "VIQ_IP_crop: Rectangle outside the image (VIQ_ERR_PARAMETER)");
    }
    EXPECT_THROW(viq::image::open("missing"), viq::error);
    EXPECT_EQ(ramp(4, 4).through(VIQ_IP_crop, 1, 1, 2, 2).width(), 2u); // no sequence is left
}

TEST(CppInterface, SavesOpensAndConverts) {
    const viq::image picture = ramp(31, 20);
    const std::string name = temporary("picture.tif");
    picture.save(name);
    EXPECT_TRUE(same_pixels(viq::image::open(name), picture));
    EXPECT_TRUE(same_pixels(viq::image::decode(picture.encode(VIQ_FILE_BMP)), picture));
    EXPECT_TRUE(same_pixels(viq::image::open(name, VIQ_Y8), picture.to(VIQ_Y8)));
    EXPECT_EQ(picture.encode(VIQ_FILE_JPEG, 100)[1], 0xD8);
    std::filesystem::remove(name);
}

TEST(CppInterface, StripsGiveTheWholePicture) {
    const std::string in = temporary("in.bmp");
    const std::string out = temporary("out.tif");
    const viq::image picture = ramp(40, 37);
    picture.save(in);
    for (const std::uint32_t lines : {3u, 16u, 100u}) {
        viq::strips strips(in, lines);
        viq::strip_stage smaller(VIQ_IP_scale, 20u, 19u);
        viq::strip_stage grey(VIQ_convert_to_Y8);
        const viq::strip_file result(out, VIQ_FILE_TIFF);
        for (const viq::image &strip : strips)
            result.write(grey(smaller(strip)));
        EXPECT_TRUE(
            same_pixels(viq::image::open(out), picture.through(VIQ_IP_scale, 20u, 19u).to(VIQ_Y8)));
    }
    // What is abandoned in the middle leaves no sequence and no open file behind.
    {
        viq::strips abandoned(in, 4);
        for (const viq::image &strip : abandoned) {
            viq::strip_stage grey(VIQ_convert_to_Y8);
            EXPECT_EQ(grey(strip).lines_in_strip(), 4u);
            break;
        }
    }
    EXPECT_EQ(picture.through(VIQ_convert_to_Y8).height(), 37u);
    EXPECT_TRUE(std::filesystem::remove(in)); // on Windows an open file cannot be removed
    EXPECT_TRUE(std::filesystem::remove(out));
}

TEST(CppInterface, ContextsGuardThreads) {
    const auto handler = [] {
        return reinterpret_cast<const tVIQ_ErrRecord *>(VIQ_ErrProcess(1, "", 0, ""))->handler;
    };
    const VIQ_ErrHandler installed = handler();
    const std::uint32_t before = VIQ_context_current();
    std::uint32_t inside = before;
    {
        const viq::context own;
        inside = VIQ_context_current();
        EXPECT_NE(inside, before);
        EXPECT_EQ(handler(), installed);
    }
    EXPECT_EQ(VIQ_context_current(), before);
    EXPECT_EQ(handler(), installed);
    std::thread threads[4];
    for (std::thread &thread : threads)
        thread = std::thread([] {
            const viq::context own;
            const viq::image mine = ramp(64, 64);
            EXPECT_TRUE(same_pixels(viq::image::decode(mine.encode(VIQ_FILE_TIFF)), mine));
        });
    for (std::thread &thread : threads)
        thread.join();
}
