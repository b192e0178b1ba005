// Handles, parameters, flags, pointers and names of images, error handlers, and buffer ownership.
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <tuple>

#include "tests/support.h"

namespace viq {
namespace {

constexpr u32 empty_handles[] = {0, 60000, 65536, VIQ_ANY_IMAGE, 0xFFFFFFFF};

TEST(Images, HaveDefaultsWhenCreated) {
    const picture p;
    EXPECT_EQ(p.handle, 1u);
    const u32 expected[][2] = {{VIQ_IMAGE_TYPE, 0},      {VIQ_WIDTH, 0},
                               {VIQ_HEIGHT, 32767},      {VIQ_PIXEL_DEPTH, 0},
                               {VIQ_LINES_PER_STRIP, 8}, {VIQ_BYTES_PER_LINE, 0},
                               {VIQ_PARAM_16, 0},        {VIQ_DATA_WIDTH, 0},
                               {VIQ_PARAM_18, 0},        {VIQ_PARAM_19, 1},
                               {VIQ_NUM_COLOURS, 0},     {VIQ_PARAM_23, 0},
                               {VIQ_LINE_ALIGNMENT, 2},  {VIQ_PARAM_25, 0},
                               {VIQ_COMPONENTS, 0},      {VIQ_LIBRARY_VERSION, 0x00042006}};
    for (const auto &[id, value] : expected)
        EXPECT_EQ(VIQ_image_get_parameter(p, static_cast<u16>(id)), value) << id;
    EXPECT_EQ(p->data, nullptr);
    EXPECT_EQ(p->flags, 0u);
    const u8 *map = reinterpret_cast<const u8 *>(p->colourmap);
    EXPECT_EQ(std::count(map, map + 1024, 0xAA), 1024);
}

TEST(Images, UseTheLowestFreeHandle) {
    const picture first;
    const picture third;
    EXPECT_EQ(third.handle, 2u);
    VIQ_image_destroy(first);
    const picture again;
    EXPECT_EQ(again.handle, 1u);
    const picture next;
    EXPECT_EQ(next.handle, 3u);
    EXPECT_EQ(VIQ_image_destroy(60000), 0u);
}

TEST(Images, ReportWhenHandlesRunOut) {
    u32 last = 0;
    for (u32 handle = 1; !is_error(handle = VIQ_image_create());)
        last = handle;
    EXPECT_EQ(last, 65535u);
    reported.clear();
    EXPECT_ERROR(VIQ_image_create(), 0x10080000, "Run out of image handles");
    EXPECT_EQ(VIQ_image_destroy(VIQ_ANY_IMAGE), 0x10020000u);
    EXPECT_TRUE(reported.empty());
    EXPECT_OK(VIQ_image_destroy(VIQ_ALL_IMAGES));
    EXPECT_OK(VIQ_image_destroy(VIQ_ANY_IMAGE));
}

TEST(Images, ReportEmptyHandles) {
    const picture p;
#define ON(call)                                                                                   \
    {                                                                                              \
        function_in(#call), [&](u32 h) { return call; }                                            \
    }
    const std::pair<std::string, std::function<u32(u32)>> calls[] = {
        ON(VIQ_image_set_parameter(h, 11, 1)),
        ON(VIQ_image_get_parameter(h, 11)),
        ON(VIQ_image_set_flags(h, 1, 1)),
        ON(VIQ_image_get_flags(h, 1)),
        ON(VIQ_image_set_ptr(h, 100, nullptr)),
        ON(VIQ_image_free_data(h)),
        ON(VIQ_image_set_infilename(h, "x")),
        ON(VIQ_image_set_outfilename(h, "x")),
        ON(VIQ_copy_outfilename(h, p)),
        ON(VIQ_copy_outfilename(p, h)),
        ON(VIQ_image_calc_total_strips(h)),
        ON(VIQ_test_pattern_1_strip(h)),
        ON(VIQ_print_Huffman_tables(h)),
        ON(VIQ_image_is_colour(h)),
        ON(VIQ_cmap_set_type(h, 1)),
        ON(VIQ_cmap_set_colour(h, 0, 0)),
        ON(VIQ_cmap_set_RGB_colour(h, 0, 0, 0, 0)),
        ON(VIQ_cmap_get_RGB_colour(h, 0)),
        ON(VIQ_cmap_is_grayscale(h)),
        ON(VIQ_cmap_get_occurrences(h, 0)),
        ON(VIQ_cmap_set_bits(h, 4, 4, 4, 8)),
        ON(VIQ_cmap_copy(h, p)),
        ON(VIQ_cmap_copy(p, h)),
        ON(VIQ_read_BMP_file(h, 3)),
        ON(VIQ_image_read(h, 0, 3))};
#undef ON
    for (const u32 handle : empty_handles)
        for (const auto &[function, call] : calls)
            EXPECT_REPORT(call(handle), function, 0x10040000, "");
}

TEST(Images, ReturnNeutralValuesForEmptyHandles) {
    for (const u32 handle : empty_handles) {
        EXPECT_EQ(VIQ_get_width(handle) | VIQ_get_height(handle) | VIQ_get_bytes_per_line(handle) |
                      VIQ_get_lines_this_strip(handle) | VIQ_get_depth(handle),
                  0u);
        EXPECT_EQ(VIQ_cmap_find_closest_colour(handle, 1, 2, 3), 0u);
        EXPECT_EQ(VIQ_image_get_ptr(handle, VIQ_PTR_CMAP), nullptr);
        EXPECT_EQ(VIQ_image_get_infilename(handle), nullptr);
        EXPECT_EQ(VIQ_image_get_outfilename(handle), nullptr);
        EXPECT_EQ(VIQ_malloc_N_lines(handle, 1), nullptr);
        EXPECT_EQ(VIQ_image_get_parameter(handle, VIQ_LIBRARY_VERSION), 0x00042006u);
        EXPECT_OK(VIQ_cmap_destroy_info(handle));
        EXPECT_EQ(VIQ_image_check(handle), 0x10050000u);
        EXPECT_TRUE(reported.empty());
    }
}

TEST(Images, StoreTheirParameters) {
    const picture p;
    const words narrow = {VIQ_PIXEL_DEPTH, VIQ_DATA_WIDTH, VIQ_NUM_COLOURS, VIQ_PARAM_23};
    const words read_only = {VIQ_LIBRARY_VERSION, VIQ_COMPONENTS};
    for (u16 id = 0; id < 40; ++id) {
        const u32 value = 0x12345u + id;
        if (id == VIQ_JPEG_PARAM) {
            const char *message = "JPEG structure does not exist";
            EXPECT_ERROR(VIQ_image_set_parameter(p, id, 1), 0x10040000, message);
            EXPECT_ERROR(VIQ_image_get_parameter(p, id), 0x10040000, message);
        } else if (id < 10 || id > 25 || has(read_only, id)) {
            EXPECT_ERROR(VIQ_image_set_parameter(p, id, 1), 0x10030000, "");
            if (!has(read_only, id))
                EXPECT_ERROR(VIQ_image_get_parameter(p, id), 0x10030000, "Unknown parameter");
        } else if (id != VIQ_IMAGE_TYPE) {
            EXPECT_OK(VIQ_image_set_parameter(p, id, value));
            EXPECT_EQ(VIQ_image_get_parameter(p, id), value & (has(narrow, id) ? 0xFFFF : ~0u));
        }
    }
    EXPECT_EQ(VIQ_get_width(p), 0x12345u + VIQ_WIDTH);
    EXPECT_EQ(VIQ_get_height(p), 0x12345u + VIQ_HEIGHT);
    EXPECT_EQ(VIQ_get_bytes_per_line(p), 0x12345u + VIQ_BYTES_PER_LINE);
    EXPECT_EQ(VIQ_get_lines_this_strip(p), 0x12345u + VIQ_LINES_PER_STRIP);
    EXPECT_EQ(VIQ_get_depth(p), 0x2345u + VIQ_PIXEL_DEPTH);
}

TEST(Images, FormatSetsDepthAndDataWidth) {
    const picture p;
    for (u32 code = 0; code < 300; ++code) {
        p->bits_per_pixel = p->data_width = same;
        p->num_colours = 0;
        p->flags = VIQ_FLAG_DIB | VIQ_FLAG_2;
        const known_format none = {0, same, same, same / 8, 0, 0};
        const known_format *row = code == 0 ? &none : find_known(code);
        if (row == nullptr) {
            EXPECT_ERROR(VIQ_image_set_parameter(p, VIQ_IMAGE_TYPE, code), 0x10070000,
                         "Unrecognized image type");
        } else {
            EXPECT_OK(VIQ_image_set_parameter(p, VIQ_IMAGE_TYPE, code));
            EXPECT_EQ(p->bits_per_pixel, row->depth) << code;
            EXPECT_EQ(p->data_width, row->data_width) << code;
            EXPECT_EQ(VIQ_image_get_parameter(p, VIQ_COMPONENTS), row->components) << code;
            EXPECT_EQ(p->num_colours, code == VIQ_PALETTED ? 256 : 0);
            EXPECT_EQ(p->flags, VIQ_FLAG_2);
        }
        EXPECT_EQ(VIQ_image_get_parameter(p, VIQ_IMAGE_TYPE), code);
    }
}

TEST(Images, FlagsAreSetByOneAndClearedByOtherValues) {
    const picture p, q;
    EXPECT_OK(VIQ_image_set_flags(p, 0x190, 1));
    EXPECT_EQ(VIQ_image_get_flags(p, 0x101), 1u);
    EXPECT_EQ(VIQ_image_get_flags(p, 0x20F), 0u);
    EXPECT_OK(VIQ_image_set_flags(p, 0x10, 2));
    EXPECT_EQ(p->flags, 0x180u);
    EXPECT_OK(VIQ_image_set_flags(VIQ_ALL_IMAGES, 0x20, 1));
    EXPECT_EQ(p->flags, 0x1A0u);
    EXPECT_EQ(q->flags, 0x20u);
}

TEST(Images, PointersAreStoredAsGiven) {
    const picture p;
    tVIQ_Colour map[256] = {};
    u8 data[4] = {};
    VIQ_image_set_flags(p, VIQ_FLAG_LOCKED, 1);
    EXPECT_OK(VIQ_image_set_ptr(p, VIQ_PTR_DATA, data));
    EXPECT_OK(VIQ_image_set_ptr(p, VIQ_PTR_CMAP, map));
    EXPECT_EQ(VIQ_image_get_ptr(p, VIQ_PTR_DATA), data);
    EXPECT_EQ(VIQ_image_get_ptr(p, VIQ_PTR_CMAP), map);
    for (const u16 type :
         words{0, 99, 107, VIQ_PTR_JPEG_DATA, VIQ_PTR_JPEG_DATA2, VIQ_PTR_JPEG_ID}) {
        const bool jpeg = type > 101 && type < 107;
        EXPECT_ERROR(VIQ_image_set_ptr(p, type, data), jpeg ? 0x10040000u : 0x10030000u,
                     jpeg ? "Not a JPEG image" : "Unrecognized pointer type");
        EXPECT_EQ(VIQ_image_get_ptr(p, type), nullptr);
    }
    void *object = VIQ_image_get_ptr(p, VIQ_PTR_IMAGE);
    {
        const auto other = std::make_unique<tVIQ_Image>(); // replaced before it is freed
        other->width = 12;
        EXPECT_OK(VIQ_image_set_ptr(p, VIQ_PTR_IMAGE, other.get()));
        EXPECT_EQ(VIQ_get_width(p), 12u);
        EXPECT_OK(VIQ_image_set_ptr(p, VIQ_PTR_IMAGE, object));
    }
    EXPECT_EQ(VIQ_image_get_ptr(p, VIQ_PTR_DATA), data);
    EXPECT_OK(VIQ_image_destroy(VIQ_ALL_IMAGES));
}

TEST(Images, FileNamesAreStoredWholeOrRejected) {
    const picture p, q;
    const std::string longest(127, 'n'), too_long(128, 'n');
    for (auto set : {VIQ_image_set_infilename, VIQ_image_set_outfilename}) {
        const bool in = set == VIQ_image_set_infilename;
        const char *function = in ? "VIQ_image_set_infilename" : "VIQ_image_set_outfilename";
        EXPECT_OK(set(p, longest.c_str()));
        EXPECT_REPORT(set(p, too_long.c_str()), function, 0x10030000, "File name too long");
        EXPECT_REPORT(set(p, nullptr), function, 0x10030000, "Null pointer");
        EXPECT_EQ((in ? VIQ_image_get_infilename : VIQ_image_get_outfilename)(p), longest);
    }
    EXPECT_OK(VIQ_image_set_outfilename(q, "from q"));
    EXPECT_OK(VIQ_copy_outfilename(p, q));
    EXPECT_STREQ(VIQ_image_get_outfilename(p), "from q");
    EXPECT_EQ(VIQ_image_get_infilename(p), longest);
    EXPECT_OK(VIQ_copy_outfilename(p, p));
}

// ---- Errors

TEST(Errors, ReachTheHandlerAndReturnItsResult) {
    const auto *record = reinterpret_cast<const tVIQ_ErrRecord *>(VIQ_ErrProcess(1, "f", 0, "m"));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->version, 0x00042006u);
    VIQ_ErrHandlerInstall(
        [](u32, const char *, u32 code, const char *) -> u32 { return code + 1; });
    EXPECT_EQ(VIQ_ErrProcess(1, nullptr, 0x10050000, nullptr), 0x10050001u);
    EXPECT_EQ(VIQ_ErrProcess(2, "f", 0x10050000, "m"), 0u);
    EXPECT_EQ(VIQ_ErrProcess(0xFFFFFFFF, "f", 0x10050000, "m"), 0u);
    VIQ_ErrHandlerInstall(nullptr);
    EXPECT_EQ(VIQ_ErrProcess(1, "f", 0x10050000, "m"), 0u);
    VIQ_ErrHandlerInstall(record_failure);
    EXPECT_TRUE(reported.empty());
}

TEST(Errors, EveryCodeHasATextAndAName) {
    const std::tuple<u32, const char *, const char *> texts[] = {
        {0, "No error", "no error"},
        {0xFFFF, "No error", "no error"},
        {0x10000, "Unknown error code", "unknown error"},
        {0x100e0000, "Unknown error code", "unknown error"},
        {0x80004005, "Unknown error code", "unknown error"},
        {VIQ_ERR_OTHER, "Code of another library or of the system", "VIQ_ERR_OTHER"},
        {VIQ_ERR_CORRUPT | 0x11, "Invalid image, file or stream", "VIQ_ERR_CORRUPT"},
        {VIQ_ERR_MEMORY | 0xFFFF, "Not enough memory", "VIQ_ERR_MEMORY"},
        {VIQ_ERR_SYSTEM, "Reading or writing a file has failed", "VIQ_ERR_SYSTEM"}};
    for (const auto &[code, text, name] : texts) {
        EXPECT_STREQ(VIQ_error_text(code), text) << std::hex << code;
        EXPECT_STREQ(VIQ_error_name(code), name) << std::hex << code;
    }
    std::set<std::string> classes;
    for (u32 code = VIQ_ERR_OTHER; code <= VIQ_ERR_SYSTEM; code += 0x10000)
        classes.insert(VIQ_error_text(code));
    EXPECT_EQ(classes.size(), 13u);
    EXPECT_FALSE(classes.contains("Unknown error code"));
}

#if !defined(_WIN32)
TEST(Errors, DefaultHandlerFormatsTheReport) {
    const std::string caption = "ERROR REPORTED by VIQ Default Error Handler\n";
    const std::string head = "\nf:  Failed with VIQ error code 0x";
    const auto shown = [](u32 code, const char *message) {
        testing::internal::CaptureStderr();
        VIQ_ErrHandlerDefault(1, "f", code, message);
        return testing::internal::GetCapturedStderr();
    };
    const std::pair<u32, const char *> classes[] = {
        {0x10010000, "(Not generated by VIQ library)"},
        {0x10020001, "(Internal error in library)"},
        {0x10030000, "(Bad parameter)"},
        {0x10040000, "(Invalid handle)"},
        {0x10050010, "(Corrupt image)"},
        {0x10060000, "(Memory allocation failed)"},
        {0x10070000, "(Not supported)"},
        {0x10080000, "(Run out of handles)"},
        {0x10090000, "(Open failed)"},
        {0x100a0000, "(Close failed)"},
        {0x100b0000, "(Invalid state)"},
        {0x100c0000, "(Unexpected condition/character received)"},
        {0x100dffff, "(System call failed)"},
        {0x100e0000, "(Error code not recognised)"},
        {0x10200000, "(Error code not recognised)"}};
    for (const auto &[code, text] : classes) {
        char number[16];
        std::snprintf(number, sizeof number, "%08x.\n", code);
        EXPECT_EQ(shown(code, ""), caption + head + number + text + "\n");
        EXPECT_EQ(shown(code, "why"), caption + head + number + text + "\n\n\"why\"\n\n");
    }
    // A code of another library is reported once, on a line after the message.
    EXPECT_EQ(shown(0x80004005, "m"),
              caption + head +
                  "10010000.\n(Not generated by VIQ library)\n\n\"m\"\n"
                  "\nLast return code from 'other' library: 0x80004005.\n\n");
    EXPECT_EQ(shown(0x10030000, ""), caption + head + "10030000.\n(Bad parameter)\n");
    EXPECT_EQ(shown(0x10030000, std::string(2000, 'x').c_str()).size(), caption.size() + 511 + 1);
}
#endif

// ---- Buffer ownership; sanitizers detect a buffer freed by the wrong owner, twice or never

bytes callers_buffer() {
    bytes buffer(64);
    std::generate(buffer.begin(), buffer.end(), noise);
    return buffer;
}

void lend(const picture &p, bytes &buffer, bool lock_first) {
    if (lock_first)
        VIQ_image_set_flags(p, VIQ_FLAG_LOCKED, 1);
    EXPECT_OK(VIQ_image_set_ptr(p, VIQ_PTR_DATA, buffer.data()));
    if (!lock_first)
        VIQ_image_set_flags(p, VIQ_FLAG_LOCKED, 1);
}

TEST(Ownership, LockedBuffersAreNeverFreed) {
    const auto unlock = [](const picture &p) { VIQ_image_set_flags(p, VIQ_FLAG_LOCKED, 0); };
    const std::function<void(const picture &)> dangers[] = {
        [](const picture &p) { EXPECT_OK(VIQ_image_free_data(p)); },
        [](const picture &p) { EXPECT_OK(VIQ_image_malloc_a_strip(p)); },
        [](const picture &p) { EXPECT_OK(VIQ_image_set_ptr(p, VIQ_PTR_DATA, nullptr)); },
        [](const picture &) { EXPECT_OK(VIQ_image_destroy(VIQ_ALL_IMAGES)); },
        unlock,
        [&](const picture &p) {
            unlock(p);
            EXPECT_OK(VIQ_image_free_data(p));
            EXPECT_EQ(p->data, nullptr);
        },
        [&](const picture &p) {
            unlock(p);
            EXPECT_OK(VIQ_image_malloc_a_strip(p));
        },
        [&](const picture &p) {
            const picture q(VIQ_Y8, 4, 4);
            unlock(p);
            EXPECT_OK(VIQ_image_move(p, q));
        },
        [](const picture &p) {
            const picture unlocked(VIQ_Y8, 4, 4);
            EXPECT_OK(VIQ_image_copy_parameters(unlocked, p));
            EXPECT_EQ(VIQ_image_get_flags(p, VIQ_FLAG_LOCKED), 1u);
            EXPECT_OK(VIQ_image_free_data(p));
            EXPECT_NE(p->data, nullptr);
        }};
    for (const auto &danger : dangers)
        for (const bool lock_first : {false, true}) {
            bytes buffer = callers_buffer();
            const bytes before = buffer;
            {
                const picture p(VIQ_Y8, 8, 8);
                lend(p, buffer, lock_first);
                danger(p);
            }
            EXPECT_EQ(buffer, before);
        }
}

TEST(Ownership, LockedBuffersReceiveTheResult) {
    const picture in(VIQ_RGB24, 5, 4), whole(VIQ_RGB24, 5, 4);
    fill_with_noise(in);
    const std::function<u32(u32)> operations[] = {
        [&](u32 out) { return VIQ_convert_to_BGR24(in, out, 3); },
        [&](u32 out) { return VIQ_image_copy(in, out); },
        [&](u32 out) { return VIQ_write_to_memory(in, out, 3); },
        [&](u32 out) { return VIQ_read_from_memory(in, out, 3); }};
    for (const auto &operation : operations) {
        const picture free_choice, p(VIQ_Y8, 1, 1);
        bytes buffer = callers_buffer();
        lend(p, buffer, true);
        EXPECT_OK(operation(p));
        EXPECT_EQ(p->data, buffer.data());
        EXPECT_OK(operation(free_choice));
        EXPECT_EQ(pixels_of(p), pixels_of(free_choice));
    }
}

TEST(Ownership, UnlockedBuffersBecomeOwnedByTheLibrary) {
    const picture p(VIQ_Y8, 8, 8), q(VIQ_Y8, 8, 8);
    fill_with_noise(p); // stays owned by the library when it is replaced
    EXPECT_OK(VIQ_image_set_ptr(p, VIQ_PTR_DATA, VIQ_malloc_N_lines(p, 8)));
    EXPECT_OK(VIQ_image_free_data(p));
    EXPECT_OK(VIQ_image_set_ptr(p, VIQ_PTR_DATA, std::malloc(64)));
    EXPECT_OK(VIQ_image_set_ptr(q, VIQ_PTR_DATA, p->data)); // shared: freed once
    EXPECT_OK(VIQ_image_free_data(p));
    EXPECT_OK(VIQ_image_copy(q, p));
    EXPECT_NE(p->data, q->data);
    EXPECT_OK(VIQ_image_free_data(q));
    EXPECT_OK(VIQ_image_set_ptr(q, VIQ_PTR_DATA, p->data)); // owned by p, so that the copy overlaps
    EXPECT_REPORT(VIQ_image_copy(q, p), "VIQ_image_copy_1_strip", 0x10030000,
                  "Input and output image are the same");
    EXPECT_OK(VIQ_image_set_ptr(q, VIQ_PTR_DATA, nullptr));
}

TEST(Ownership, LibraryBuffersGrowDespiteACopiedLockFlag) {
    const picture locked(VIQ_Y8, 8, 8), p(VIQ_Y8, 8, 2);
    bytes buffer = callers_buffer();
    lend(locked, buffer, true);
    fill_with_noise(p);
    EXPECT_OK(VIQ_image_copy(locked, p));
    EXPECT_EQ(VIQ_image_get_flags(p, VIQ_FLAG_LOCKED), 1u);
    EXPECT_EQ(pixels_of(p), buffer);
    set_lines(p, 1000);
    EXPECT_OK(VIQ_image_malloc_a_strip(p));
    EXPECT_EQ(std::count(p->data, p->data + 8000, 0), 8000);
}

TEST(Ownership, MoveTransfersTheBuffer) {
    const picture in(VIQ_RGB24, 7, 3), out(VIQ_Y8, 100, 100);
    fill_with_noise(in);
    fill_with_noise(out);
    const u8 *data = in->data;
    const bytes pixels = pixels_of(in);
    in->data_companion = 77;
    EXPECT_OK(VIQ_image_move(in, in));
    EXPECT_OK(VIQ_image_move(in, out));
    EXPECT_EQ(out->data, data);
    EXPECT_EQ(pixels_of(out), pixels);
    EXPECT_EQ(out->data_companion, 77u);
    EXPECT_EQ(in->data, nullptr);
    EXPECT_EQ(in->data_companion, 0u);

    VIQ_image_set_flags(in, VIQ_FLAG_LOCKED, 1);
    EXPECT_ERROR(VIQ_image_move(in, out), 0x10070000,
                 "locked memory can't be moved (in source image)");
    EXPECT_ERROR(VIQ_image_move(out, in), 0x10070000,
                 "Can't free locked memory (in destination image)");
    EXPECT_EQ(out->data, data);
}

TEST(Ownership, LibraryBuffersStartAtACacheLine) {
    const auto is_aligned = [](const picture &p) {
        return p->data != nullptr && reinterpret_cast<uintptr_t>(p->data) % 64 == 0;
    };
    for (const u32 width : {0u, 1u, 15u, 16u, 63u, 64u, 1000u, 100000u}) {
        const picture in(VIQ_Y8, width, 3), copy, moved;
        fill_with_noise(in);
        EXPECT_TRUE(is_aligned(in)) << width;
        EXPECT_OK(VIQ_image_copy(in, copy));
        EXPECT_TRUE(is_aligned(copy)) << width;
        EXPECT_EQ(pixels_of(copy), pixels_of(in));
        EXPECT_OK(VIQ_image_move(in, moved));
        EXPECT_TRUE(is_aligned(moved)) << width;
        EXPECT_EQ(pixels_of(copy), pixels_of(moved));
        EXPECT_OK(VIQ_image_free_data(copy));
        EXPECT_OK(VIQ_image_malloc_a_strip(copy));
        EXPECT_TRUE(is_aligned(copy)) << width;
    }
}

TEST(Ownership, SharedObjectsAndMapsAreFreedOnce) {
    const picture p, q, r;
    EXPECT_OK(VIQ_image_set_ptr(q, VIQ_PTR_CMAP, p->colourmap));
    EXPECT_OK(VIQ_image_set_ptr(r, VIQ_PTR_IMAGE, VIQ_image_get_ptr(p, VIQ_PTR_IMAGE)));
    for (const u32 handle : numbers{p.handle, r.handle})
        VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, VIQ_RGB24);
    EXPECT_ERROR(VIQ_convert_to_Y8(p, r, 3), 0x10030000, "Input and output image are the same");
    EXPECT_OK(VIQ_image_destroy(p));
    EXPECT_EQ(VIQ_image_get_ptr(r, VIQ_PTR_IMAGE), nullptr);
    bytes buffer = callers_buffer(); // locked, in an image object of the caller
    tVIQ_Image own = {};
    own.data = buffer.data();
    own.flags = VIQ_FLAG_LOCKED;
    const picture s;
    EXPECT_OK(VIQ_image_set_ptr(s, VIQ_PTR_IMAGE, &own));
    EXPECT_OK(VIQ_image_destroy(s));
    EXPECT_OK(VIQ_cmap_set_type(q, 3));
    EXPECT_OK(VIQ_image_destroy(VIQ_ALL_IMAGES)); // frees the replaced objects of r and s too
}

} // namespace
} // namespace viq
