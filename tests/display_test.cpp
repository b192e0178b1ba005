// Displays without a server, and the parts of X11 that a script cannot see. tests/display/ compares
// windows of real servers.
#include <bit>
#include <cstdlib>
#include <thread>

#include "core/allocation.h"
#include "tests/memory_windows.h"
#include "tests/support.h"

namespace viq {
namespace {

constexpr u32 width = 38, height = 21;

u32 make_picture(u16 format) {
    const u32 handle = VIQ_image_create();
    VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(handle, VIQ_WIDTH, width);
    VIQ_image_set_parameter(handle, VIQ_HEIGHT, height);
    VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, height);
    VIQ_image_set_parameter(handle, VIQ_DATA_WIDTH, 12);
    VIQ_cmap_set_type(handle, VIQ_CMAP_CUBE);
    VIQ_image_malloc_a_strip(handle);
    const tVIQ_Image &image = *find_image(handle);
    for (std::size_t n = 0; n < std::size_t{image.bytes_per_line} * height; ++n)
        image.data[n] = static_cast<u8>(n * 37 >> 2);
    return handle;
}

struct DisplayTest : testing::Test {
    u32 display = 0;
    void SetUp() override {
        set_window_system(&memory_windows);
        memory_pixel = bgrx32_pixel;
        display = VIQ_display_create();
    }
    void TearDown() override {
        VIQ_image_destroy(VIQ_ALL_IMAGES);
        set_window_system(nullptr);
    }
};

u32 component(u32 value, u32 mask) {
    const u32 bits = static_cast<u32>(std::popcount(mask));
    const u64 repeated = u64{value} << 8 | value; // 16 bits, of which the upper ones are stored
    return static_cast<u32>(repeated >> (16 - bits) << std::countr_zero(mask));
}

TEST_F(DisplayTest, PacksColoursByTheMasksOfTheWindow) {
    constexpr window_pixel layouts[] = {
        bgrx32_pixel,
        rgb16_pixel,
        rgb15_pixel,
        {4, false, 0xFF, 0xFF00, 0xFF0000, 0},
        {4, true, 0xFF0000, 0xFF00, 0xFF, 0},
        {4, false, 0xFF0000, 0xFF00, 0xFF, 0xFF000000},
        {4, false, 0x3FF00000, 0xFFC00, 0x3FF, 0},
        {3, false, 0xFF, 0xFF00, 0xFF0000, 0},
        {3, true, 0xFF, 0xFF00, 0xFF0000, 0},
        {2, false, 0x1F, 0x7E0, 0xF800, 0},
        {2, true, 0xF800, 0x7E0, 0x1F, 0},
        {1, false, 0x07, 0x38, 0xC0, 0},
    };
    const u32 image = make_picture(VIQ_RGB24);
    const tVIQ_Image &picture = *find_image(image);
    for (const window_pixel &layout : layouts) {
        memory_pixel = layout;
        ASSERT_EQ(VIQ_display_open(display, "", width, height), success);
        ASSERT_EQ(VIQ_display_image(display, image, VIQ_STRIP_NEXT), success);
        const u8 *shown = memory_of(*find_display(display)).shown.data();
        for (u32 n = 0; n < width * height; ++n) {
            const u8 *rgb = picture.data + n / width * picture.bytes_per_line + n % width * 3;
            const u32 expected = component(rgb[0], layout.red) | component(rgb[1], layout.green) |
                                 component(rgb[2], layout.blue) | layout.opaque;
            u32 value = 0;
            for (u32 k = 0; k < layout.bytes; ++k)
                value |= u32{shown[n * layout.bytes + k]}
                         << 8 * (layout.swapped ? layout.bytes - 1 - k : k);
            ASSERT_EQ(value, expected) << "red " << layout.red << ", pixel " << n;
        }
        VIQ_display_close(display);
    }
}

u64 allocations;
bool count_allocation() {
    ++allocations;
    return false;
}

void expect_no_allocations(u32 display) {
    for (const u16 format : {VIQ_YUV422, VIQ_RGB24, VIQ_BGRX32, VIQ_Y8, VIQ_Y16, VIQ_PALETTED,
                             VIQ_CMYK32, VIQ_RGGB32, VIQ_RGB8})
        for (const u16 zoom : {VIQ_DISPLAY_NEAREST, VIQ_DISPLAY_BILINEAR})
            for (const u16 fit : {VIQ_DISPLAY_FIT_NONE, VIQ_DISPLAY_FIT_ASPECT}) {
                VIQ_display_set_parameter(display, VIQ_DISPLAY_ZOOM, zoom);
                VIQ_display_set_parameter(display, VIQ_DISPLAY_FIT, fit);
                VIQ_display_set_parameter(display, VIQ_DISPLAY_MOSAIC, 2);
                const u32 image = make_picture(format);
                ASSERT_EQ(VIQ_display_image(display, image, VIQ_STRIP_NEXT), success);
                tVIQ_DisplayEvent event;
                allocations = 0;
                set_allocation_fault(count_allocation);
                for (int n = 0; n < 3; ++n) {
                    EXPECT_EQ(VIQ_display_image(display, image, VIQ_STRIP_NEXT), success);
                    VIQ_display_next_event(display, &event, 0);
                }
                VIQ_display_refresh(display);
                set_allocation_fault(nullptr);
                EXPECT_EQ(allocations, 0u) << format << ", fit " << fit << ", zoom " << zoom;
                VIQ_image_destroy(image);
            }
}

TEST_F(DisplayTest, AllocatesNothingForPicturesOfOneKind) {
    ASSERT_EQ(VIQ_display_open(display, "", 50, 40), success);
    expect_no_allocations(display);
}

TEST_F(DisplayTest, MergesMotionsAndKeepsSizesWhenTheQueueIsFull) {
    ASSERT_EQ(VIQ_display_open(display, "", 50, 40), success);
    struct viq::display &d = *find_display(display);
    tVIQ_DisplayEvent event = {};
    const auto push = [&](u16 type, i32 x) {
        event = {};
        event.type = type;
        event.window_x = x;
        push_event(d, event);
    };
    for (i32 x = 0; x < 200; ++x)
        push(VIQ_EVENT_MOTION, x);
    for (i32 x = 0; x < 100; ++x)
        push(VIQ_EVENT_KEY_DOWN, x);
    push(VIQ_EVENT_RESIZE, 7);
    push(VIQ_EVENT_CLOSE, 8);
    std::vector<std::pair<u16, i32>> events;
    while (VIQ_display_next_event(display, &event, 0) == 1)
        events.emplace_back(event.type, event.window_x);
    ASSERT_EQ(events.size(), event_queue::capacity);
    EXPECT_EQ(events[0], (std::pair<u16, i32>(VIQ_EVENT_MOTION, 199)));
    EXPECT_EQ(events[61], (std::pair<u16, i32>(VIQ_EVENT_KEY_DOWN, 60)));
    EXPECT_EQ(events[62], (std::pair<u16, i32>(VIQ_EVENT_RESIZE, 7)));
    EXPECT_EQ(events[63], (std::pair<u16, i32>(VIQ_EVENT_CLOSE, 8)));
    EXPECT_EQ(event.type, VIQ_EVENT_NONE);
}

u32 calls_from_handler(u32, const char *, u32, const char *) {
    EXPECT_EQ(VIQ_display_create(), VIQ_ERR_STATE);
    EXPECT_EQ(VIQ_display_refresh(1), VIQ_ERR_STATE);
    EXPECT_EQ(VIQ_display_destroy(VIQ_ALL_IMAGES), VIQ_ERR_STATE);
    return 0;
}

TEST_F(DisplayTest, RefusesCallsOfErrorHandlers) {
    VIQ_ErrHandlerInstall(calls_from_handler);
    EXPECT_EQ(VIQ_display_refresh(display), VIQ_ERR_STATE);
}

TEST_F(DisplayTest, EndsASequenceOfStripsWithItsImage) {
    ASSERT_EQ(VIQ_display_open(display, "", 50, 40), success);
    u32 image = make_picture(VIQ_Y8);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, 4);
    EXPECT_EQ(VIQ_display_image(display, image, VIQ_STRIP_NEXT), success);
    VIQ_image_destroy(image);
    image = make_picture(VIQ_RGB24);
    EXPECT_EQ(VIQ_display_image(display, image, VIQ_STRIP_NEXT), success);
}

// ---- With a server, which tests/display_test.sh starts

struct X11DisplayTest : testing::Test {
    void SetUp() override {
        if ((platform_windows.methods >> VIQ_DISPLAY_IMAGE & 1) == 0)
            GTEST_SKIP() << "skipped: no X11 on this system";
        if (std::getenv("DISPLAY") == nullptr)
            GTEST_SKIP() << "skipped: DISPLAY is not set";
    }
    void TearDown() override { VIQ_image_destroy(VIQ_ALL_IMAGES); }
};

TEST_F(X11DisplayTest, AllocatesNothingForPicturesOfOneKind) {
    for (const u32 method : {VIQ_DISPLAY_IMAGE, VIQ_DISPLAY_PIXMAP, VIQ_DISPLAY_SHARED_MEMORY}) {
        const u32 display = VIQ_display_create();
        ASSERT_EQ(VIQ_display_set_parameter(display, VIQ_DISPLAY_METHOD, method), success);
        ASSERT_EQ(VIQ_display_open(display, "", 50, 40), success);
        expect_no_allocations(display);
        VIQ_display_destroy(display);
    }
}

void show_frames(u32 context) {
    ASSERT_EQ(VIQ_context_use(context), success);
    const u32 image = make_picture(VIQ_YUV422);
    for (int n = 0; n < 5; ++n) {
        const u32 display = VIQ_display_create();
        ASSERT_EQ(VIQ_display_open(display, "thread", 60, 50), success);
        for (int frame = 0; frame < 100; ++frame)
            ASSERT_EQ(VIQ_display_image(display, image, VIQ_STRIP_NEXT), success);
        VIQ_display_destroy(display);
    }
    VIQ_image_destroy(image);
}

TEST_F(X11DisplayTest, ThreadsShowPicturesAtTheSameTime) {
    const memory_in_use before = current_memory();
    u32 contexts[4];
    std::vector<std::thread> threads;
    for (u32 &context : contexts) {
        context = VIQ_context_create();
        threads.emplace_back(show_frames, context);
    }
    for (std::thread &thread : threads)
        thread.join();
    for (const u32 context : contexts)
        VIQ_context_destroy(context);
    EXPECT_LE(current_memory().bytes, before.bytes + 65536); // tables of handles stay
}

} // namespace
} // namespace viq
