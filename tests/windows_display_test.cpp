// Windows: pictures on the screen, in windows of the program and of the library, and in metafiles;
// printing in device contexts of the program; the message box of the default error handler.
#include <chrono>
#include <thread>

#include "tests/file_support.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

using namespace viq;

namespace {

constexpr int width = 61, height = 47;
constexpr u16 methods[] = {VIQ_DISPLAY_DIB, VIQ_DISPLAY_DDB, VIQ_DISPLAY_SURFACE};

struct test_display {
    u32 handle = VIQ_display_create();
    test_display() = default;
    test_display(const test_display &) = delete;
    test_display &operator=(const test_display &) = delete;
    ~test_display() { VIQ_display_destroy(handle); }
    operator u32() const { return handle; }
};

// A window of the program, without a frame.
struct program_window {
    HWND window;
    program_window()
        : window(CreateWindowExW(WS_EX_TOPMOST, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 20, 30,
                                 width, height, nullptr, nullptr, nullptr, nullptr)) {
        paint();
    }
    void paint() const {
        RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW);
    }
    program_window(const program_window &) = delete;
    program_window &operator=(const program_window &) = delete;
    ~program_window() { DestroyWindow(window); }
};

// A bitmap in memory: 32 bits, top-down.
struct memory_bitmap {
    HDC context = CreateCompatibleDC(nullptr);
    void *bits = nullptr;
    HBITMAP bitmap;
    memory_bitmap() {
        BITMAPINFO info = {};
        info.bmiHeader = {sizeof info.bmiHeader, width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
        bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
        SelectObject(context, bitmap);
    }
    memory_bitmap(const memory_bitmap &) = delete;
    memory_bitmap &operator=(const memory_bitmap &) = delete;
    ~memory_bitmap() {
        DeleteDC(context);
        DeleteObject(bitmap);
    }
    // Red, green and blue of all pixels.
    bytes pixels() const {
        GdiFlush();
        bytes rgb;
        const u8 *bgrx = static_cast<const u8 *>(bits);
        for (int n = 0; n < width * height; ++n, bgrx += 4)
            rgb.insert(rgb.end(), {bgrx[2], bgrx[1], bgrx[0]});
        return rgb;
    }
    void play(HENHMETAFILE metafile) const {
        ENHMETAHEADER header = {};
        GetEnhMetaFileHeader(metafile, sizeof header, &header);
        const RECT bounds = {header.rclBounds.left, header.rclBounds.top, header.rclBounds.right,
                             header.rclBounds.bottom};
        PlayEnhMetaFile(context, metafile, &bounds);
    }
};

// What the screen shows where the window is.
bytes pixels_on_screen(HWND window) {
    const memory_bitmap copy;
    POINT corner = {};
    ClientToScreen(window, &corner);
    const HDC screen = GetDC(nullptr);
    BitBlt(copy.context, 0, 0, width, height, screen, corner.x, corner.y, SRCCOPY);
    ReleaseDC(nullptr, screen);
    return copy.pixels();
}

template <class Condition> bool becomes_true(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

// The bits that every way to a screen of 16 bits per pixel keeps; wine's device bitmaps have 5 bits
// of green, its screens 6.
bytes visible(bytes rgb) {
    const HDC screen = GetDC(nullptr);
    const u8 kept = GetDeviceCaps(screen, BITSPIXEL) == 16 ? 0xF8 : 0xFF;
    ReleaseDC(nullptr, screen);
    for (u8 &sample : rgb)
        sample &= kept;
    return rgb;
}

// A window can be erased at any time after it has been moved. Programs refresh it then.
bool screen_shows(u32 display, HWND window, const bytes &rgb) {
    return becomes_true([&] {
        if (visible(pixels_on_screen(window)) == visible(rgb))
            return true;
        VIQ_display_refresh(display);
        return false;
    });
}

struct shown_image : picture {
    shown_image() : picture(VIQ_RGB24, width, height, 1) { fill_with_noise(*this); }
};

bool has_event(u32 display, const tVIQ_DisplayEvent &expected) {
    tVIQ_DisplayEvent event;
    while (VIQ_display_next_event(display, &event, 20000) == 1)
        if (event.type == expected.type && event.key == expected.key &&
            event.button == expected.button && event.wheel_y == expected.wheel_y &&
            event.width == expected.width)
            return true;
    return false;
}

} // namespace

TEST(WindowsDisplay, EveryMethodShowsThePictureOnTheScreen) {
    const program_window shown;
    for (const u16 method : methods) {
        SCOPED_TRACE(method);
        const test_display display;
        const shown_image image;
        EXPECT_OK(VIQ_display_set_parameter(display, VIQ_DISPLAY_METHOD, method));
        EXPECT_OK(VIQ_display_set_window(display, shown.window, nullptr));
        EXPECT_OK(VIQ_display_image(display, image, VIQ_STRIP_NEXT));
        EXPECT_TRUE(screen_shows(display, shown.window, pixels_of(image)));
        u32 used = 0;
        EXPECT_OK(VIQ_display_get_parameter(display, VIQ_DISPLAY_METHOD_IN_USE, &used));
        EXPECT_EQ(used, method);

        // In part outside of the screen, painted over by the program, and strip by strip.
        SetWindowPos(shown.window, nullptr, -30, -10, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
        EXPECT_OK(VIQ_display_refresh(display));
        SetWindowPos(shown.window, nullptr, 40, 50, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
        shown.paint();
        EXPECT_OK(VIQ_display_refresh(display));
        EXPECT_TRUE(screen_shows(display, shown.window, pixels_of(image)));
        const shown_image whole;
        const picture strip;
        set_lines(whole, 10);
        for (int line = 0; line < height; line += 10) {
            EXPECT_OK(VIQ_read_from_memory(whole, strip, VIQ_STRIP_NEXT));
            EXPECT_OK(VIQ_display_image(display, strip, VIQ_STRIP_NEXT));
        }
        set_lines(whole, height);
        EXPECT_TRUE(screen_shows(display, shown.window, pixels_of(whole)));
    }
}

// A device of the program that is not a part of the screen has no surfaces.
TEST(WindowsDisplay, PicturesInMetafilesAreEqual) {
    const program_window unused;
    for (const u16 method : {VIQ_DISPLAY_DIB, VIQ_DISPLAY_DDB}) {
        SCOPED_TRACE(method);
        const test_display display;
        const shown_image image;
        const HDC recording = CreateEnhMetaFileW(nullptr, nullptr, nullptr, nullptr);
        EXPECT_OK(VIQ_display_set_parameter(display, VIQ_DISPLAY_METHOD, VIQ_DISPLAY_SURFACE));
        EXPECT_ERROR(VIQ_display_set_window(display, unused.window, recording), VIQ_ERR_UNSUPPORTED,
                     "Display method not available");
        EXPECT_OK(VIQ_display_set_parameter(display, VIQ_DISPLAY_METHOD, method));
        EXPECT_OK(VIQ_display_set_window(display, unused.window, recording));
        EXPECT_OK(VIQ_display_image(display, image, VIQ_STRIP_NEXT));
        EXPECT_OK(VIQ_display_close(display));
        const HENHMETAFILE metafile = CloseEnhMetaFile(recording);
        const memory_bitmap played;
        played.play(metafile);
        DeleteEnhMetaFile(metafile);
        EXPECT_EQ(visible(played.pixels()), visible(pixels_of(image)));
    }
}

TEST(WindowsDisplay, OwnWindowsShowPicturesAndReportEvents) {
    const test_display display;
    const shown_image image;
    EXPECT_OK(VIQ_display_open(display, "Bild \xC3\xA4 1", width, height));
    const HWND window = FindWindowW(nullptr, L"Bild \u00E4 1");
    ASSERT_NE(window, nullptr);
    EXPECT_OK(VIQ_display_image(display, image, VIQ_STRIP_NEXT));
    EXPECT_TRUE(screen_shows(display, window, pixels_of(image)));

    tVIQ_DisplayEvent expected = {};
    expected.type = VIQ_EVENT_KEY_DOWN;
    expected.key = VIQ_KEY_PAGE_UP;
    PostMessageW(window, WM_KEYDOWN, VK_PRIOR, 1);
    EXPECT_TRUE(has_event(display, expected));
    expected.key = 'a';
    PostMessageW(window, WM_KEYDOWN, 'A', 1);
    EXPECT_TRUE(has_event(display, expected));
    expected = {};
    expected.type = VIQ_EVENT_BUTTON_DOWN;
    expected.button = 3;
    PostMessageW(window, WM_RBUTTONDOWN, MK_RBUTTON, MAKELPARAM(5, 6));
    EXPECT_TRUE(has_event(display, expected));
    expected = {};
    expected.type = VIQ_EVENT_WHEEL;
    expected.wheel_y = -2;
    PostMessageW(window, WM_MOUSEWHEEL, MAKEWPARAM(0, -2 * WHEEL_DELTA), 0);
    EXPECT_TRUE(has_event(display, expected));
    expected = {};
    expected.type = VIQ_EVENT_CLOSE;
    PostMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_TRUE(has_event(display, expected));
    EXPECT_TRUE(IsWindow(window));

    RECT frame = {0, 0, 300, 200};
    AdjustWindowRectEx(&frame, WS_OVERLAPPEDWINDOW, FALSE, 0);
    SetWindowPos(window, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top,
                 SWP_NOMOVE | SWP_NOZORDER);
    expected.type = VIQ_EVENT_RESIZE;
    expected.width = 300;
    EXPECT_TRUE(has_event(display, expected));
    EXPECT_TRUE(screen_shows(display, window, pixels_of(image)));
    EXPECT_OK(VIQ_display_close(display));
    EXPECT_FALSE(IsWindow(window));
}

TEST(WindowsDisplay, MissingWindowsAreErrors) {
    const test_display display;
    const shown_image image;
    HWND gone = nullptr;
    {
        const program_window shown;
        gone = shown.window;
        EXPECT_ERROR(VIQ_display_set_window(display, gone, gone), VIQ_ERR_PARAMETER,
                     "No such device");
        EXPECT_OK(VIQ_display_set_window(display, gone, nullptr));
    }
    EXPECT_ERROR(VIQ_display_image(display, image, VIQ_STRIP_NEXT), VIQ_ERR_PARAMETER,
                 "No such window");
    EXPECT_ERROR(VIQ_display_set_window(display, gone, nullptr), VIQ_ERR_PARAMETER,
                 "No such window");
}

// A picture of this size is printed from the upper left corner of the device, in strips of `lines`.
void print_on(HDC device, const picture &whole, u32 lines, tVIQ_PrintOptions options = {}) {
    options.device_context = device;
    options.copies = 1;
    by_strips(whole, lines, [&](const picture &strip) {
        EXPECT_OK(VIQ_display_print(strip, nullptr, nullptr, &options, VIQ_STRIP_NEXT));
    });
}

// In 1/100 mm, at the 96 pixels per inch of screens and bitmaps.
constexpr u32 length_of(u32 pixels) {
    return pixels * 2540 / 96;
}

TEST(WindowsPrinting, BandsAreEqualToThePicture) {
    tVIQ_PrintOptions options = {};
    options.width = length_of(width);
    options.height = length_of(height);
    for (const u32 lines : {1, 10, height}) {
        SCOPED_TRACE(lines);
        const shown_image image;
        const memory_bitmap device, played;
        print_on(device.context, image, lines, options);
        EXPECT_EQ(device.pixels(), pixels_of(image));
        const HDC recording = CreateEnhMetaFileW(nullptr, nullptr, nullptr, nullptr);
        print_on(recording, image, lines, options);
        const HENHMETAFILE metafile = CloseEnhMetaFile(recording);
        played.play(metafile);
        DeleteEnhMetaFile(metafile);
        EXPECT_EQ(played.pixels(), pixels_of(image));
    }
}

// On paper that is wider than high, a picture that is higher than wide is turned: its lines become
// columns, which start at the lower edge.
TEST(WindowsPrinting, PicturesAreTurnedAndEnlarged) {
    const picture image(VIQ_Y8, 23, 30);
    fill_with_noise(image);
    const bytes grey = pixels_of(image);
    tVIQ_PrintOptions options = {};
    options.paper = "16.14x12.44"; // mm, the size of the bitmap at 96 pixels per inch
    options.width = length_of(46);
    const memory_bitmap device;
    print_on(device.context, image, 7, options);
    const bytes pixels = device.pixels();
    for (std::size_t y = 0; y < 46; ++y)
        for (std::size_t x = 0; x < 60; ++x) {
            const std::size_t at = 3 * ((height - 1 - y) * width + x);
            ASSERT_EQ(pixels[at], grey[x / 2 * 23 + y / 2]) << x << ' ' << y;
        }
}

TEST(WindowsPrinting, ReducedPicturesHaveNoGaps) {
    const picture image(VIQ_RGB24, 7 * width, 5 * height);
    set_strip(image, bytes(std::size_t{3} * 7 * width * 5 * height, 99));
    tVIQ_PrintOptions options = {};
    options.width = length_of(width);
    options.height = length_of(height);
    const memory_bitmap device;
    print_on(device.context, image, 3, options);
    EXPECT_EQ(device.pixels(), bytes(std::size_t{3} * width * height, 99));
}

TEST(WindowsPrinting, InvalidDevicesAreErrors) {
    const shown_image image;
    tVIQ_PrintOptions options;
    VIQ_display_print_defaults(&options);
    options.device_context = reinterpret_cast<void *>(1);
    EXPECT_ERROR(VIQ_display_print(image, nullptr, nullptr, &options, VIQ_STRIP_NEXT), VIQ_ERR_OPEN,
                 "Printer 'device context': invalid handle");
}

// The default handler shows a report, and returns when the user presses Return.
TEST(WindowsDisplay, MessageBoxShowsTheReport) {
    u32 result = 0;
    std::thread reporting(
        [&] { result = VIQ_ErrHandlerDefault(1, "f", VIQ_ERR_CORRUPT | 7, "details"); });
    HWND box = nullptr;
    EXPECT_TRUE(becomes_true([&] {
        box = FindWindowA("#32770", "ERROR REPORTED by VIQ Default Error Handler");
        return box != nullptr && IsWindowVisible(box);
    }));
    char text[200] = {};
    GetDlgItemTextA(box, 0xFFFF, text, sizeof text);
    EXPECT_EQ(std::string(text), "\nf:  Failed with VIQ error code 0x10050007.\n(Corrupt image)\n\n"
                                 "\"details\"\n");
    PostMessageW(GetDlgItem(box, IDOK), WM_KEYDOWN, VK_RETURN, 1);
    reporting.join();
    EXPECT_EQ(result, u32{IDOK});
}
