// Calls that would use memory which is not theirs: copied locks, handlers that destroy, sequences
// that continue with something else. The sanitizers find what goes wrong.
#include <cstdlib>
#include <functional>

#include "tests/support.h"

namespace viq {
namespace {

void lock_over(const picture &p, bytes &buffer) {
    VIQ_image_set_ptr(p, VIQ_PTR_DATA, buffer.data());
    VIQ_image_set_flags(p, VIQ_FLAG_LOCKED, 1);
}

TEST(CopiedLock, DoesNotMakeTheOutputsBufferTrusted) {
    const picture in(VIQ_RGB24, 64, 64), out(VIQ_RGB24, 64, 1);
    bytes camera(std::size_t{64} * 64 * 3);
    lock_over(in, camera);
    const std::function<u32(u32)> operations[] = {
        [&](u32 to) { return VIQ_convert_to_BGR24(in, to, 3); },
        [&](u32 to) { return VIQ_image_copy(in, to); },
        [&](u32 to) { return VIQ_write_to_memory(in, to, 3); }};
    for (const auto &operation : operations) {
        EXPECT_OK(VIQ_image_set_ptr(out, VIQ_PTR_DATA, std::malloc(64 * 3)));
        EXPECT_OK(operation(out));
        EXPECT_EQ(VIQ_image_get_flags(out, VIQ_FLAG_LOCKED), 1u);
        VIQ_image_set_flags(out, VIQ_FLAG_LOCKED, 0);
        EXPECT_OK(VIQ_image_free_data(out));
        const u32 wavelet = VIQ_WVLT_image_create(0);
        EXPECT_OK(operation(wavelet));
        VIQ_image_destroy(wavelet);
    }
}

TEST(CopiedLock, LeavesTheOutputsOwnLockInForce) {
    const picture in(VIQ_Y8, 8, 8), out(VIQ_Y8, 8, 8);
    bytes camera(64, 7), target(64);
    lock_over(in, camera);
    lock_over(out, target);
    EXPECT_OK(VIQ_image_copy(in, out));
    EXPECT_EQ(target, camera);
    VIQ_image_set_ptr(out, VIQ_PTR_DATA, std::malloc(8)); // the flag is still set: a lock
    EXPECT_OK(VIQ_image_copy_parameters(in, out));
    void *locked = VIQ_image_get_ptr(out, VIQ_PTR_DATA);
    EXPECT_OK(VIQ_image_malloc_a_strip(out));
    EXPECT_EQ(VIQ_image_get_ptr(out, VIQ_PTR_DATA), locked);
    VIQ_image_set_ptr(out, VIQ_PTR_DATA, nullptr);
    std::free(locked);
}

TEST(CopiedLock, DoesNotMakeJpegDataTrusted) {
    const picture in(VIQ_Y8, 256, 256);
    bytes camera(std::size_t{256} * 256);
    std::generate(camera.begin(), camera.end(), noise);
    for (const bool locked : {false, true}) {
        VIQ_image_set_ptr(in, VIQ_PTR_DATA, nullptr);
        fill_with_noise(in);
        if (locked)
            lock_over(in, camera);
        const u32 jpeg = VIQ_JPEG_image_create();
        EXPECT_OK(VIQ_image_set_ptr(jpeg, VIQ_PTR_JPEG_DATA, std::malloc(100)));
        EXPECT_OK(VIQ_JPEG_compress(in, jpeg));
        EXPECT_GT(VIQ_image_get_parameter(jpeg, VIQ_JPEG_PARAM), 10000u);
        VIQ_image_destroy(jpeg);
    }
    VIQ_image_set_flags(in, VIQ_FLAG_LOCKED, 0);
}

// ---- Handlers

u32 handler_in, handler_out;
std::vector<u32> handler_codes;

u32 destroying_handler(u32, const char *, u32, const char *) {
    u8 buffer[4];
    const u32 fresh = VIQ_image_create();
    handler_codes = {VIQ_image_destroy(handler_in),
                     VIQ_image_destroy(VIQ_ALL_IMAGES),
                     VIQ_image_free_data(handler_out),
                     VIQ_image_set_parameter(handler_in, VIQ_WIDTH, 3),
                     VIQ_image_set_ptr(handler_in, VIQ_PTR_DATA, buffer),
                     VIQ_image_set_flags(handler_in, VIQ_FLAG_LOCKED, 1),
                     VIQ_image_copy(handler_in, handler_out),
                     VIQ_image_move(handler_in, fresh),
                     VIQ_cmap_set_type(handler_in, VIQ_CMAP_GREY),
                     VIQ_test_pattern_1_strip(handler_in),
                     VIQ_DrawPixel(handler_in, 0, 0, 0),
                     VIQ_LUT_generate(1, 0, 0, 0, 0, 0, 0),
                     VIQ_image_conv_LUT_generate(handler_in, VIQ_CONV_LUT_Y8_TO_PALETTED),
                     VIQ_IP_scale(handler_in, fresh, 4, 4, VIQ_STRIP_FINISH),
                     VIQ_read_BMP_file(handler_in, VIQ_STRIP_FINISH),
                     VIQ_JPEG_decompress(handler_in, handler_out, VIQ_STRIP_FINISH)};
    EXPECT_EQ(VIQ_get_width(handler_in), 16u);
    EXPECT_OK(VIQ_image_set_parameter(fresh, VIQ_WIDTH, 12));
    EXPECT_OK(VIQ_image_destroy(fresh));
    return 0;
}

TEST(Handlers, CannotChangeWhatTheRunningCallUses) {
    const picture in(VIQ_RGGB32, 16, 16), out;
    handler_in = in;
    handler_out = out;
    VIQ_ErrHandlerInstall(destroying_handler);
    const std::function<u32()> failing[] = {
        [&] { return VIQ_BAY_RGGB32_map_to_RGB24(in, out, VIQ_STRIP_NEXT); },
        [&] { return VIQ_convert_to_Y8(in, out, VIQ_STRIP_NEXT); },
        [&] { return VIQ_image_write(in, 0, VIQ_FILE_TIFF, VIQ_STRIP_NEXT); },
        [&] { return VIQ_image_read(in, 0, VIQ_STRIP_NEXT); }};
    for (const auto &call : failing) {
        handler_codes.clear();
        EXPECT_TRUE(VIQ_IS_ERROR(call()));
        EXPECT_EQ(handler_codes.size(), 16u);
        for (const u32 code : handler_codes)
            EXPECT_EQ(code, VIQ_ERR_STATE);
    }
    VIQ_ErrHandlerInstall(record_failure);
    EXPECT_OK(VIQ_image_set_parameter(in, VIQ_WIDTH, 8));
}

u32 kept_image;

u32 keeping_handler(u32, const char *, u32, const char *) {
    if (kept_image == 0) {
        kept_image = VIQ_JPEG_image_create();
        return 0;
    }
    const u32 fresh = VIQ_image_create();
    u8 buffer[4];
    u32 length = sizeof buffer;
    handler_codes = {
        VIQ_image_destroy(kept_image),
        VIQ_image_destroy(VIQ_ANY_IMAGE),
        VIQ_image_set_ptr(fresh, VIQ_PTR_JPEG, VIQ_image_get_ptr(kept_image, VIQ_PTR_JPEG)),
        VIQ_cmap_destroy_info(kept_image),
        VIQ_JPEG_file_write(fresh, VIQ_STRIP_FINISH),
        VIQ_JPEG_buffer_write(fresh, buffer, &length, VIQ_STRIP_FINISH),
        VIQ_JPEG_build_image(fresh, fresh, VIQ_STRIP_FINISH),
        VIQ_WVLT_buffer_write(fresh, buffer, &length, VIQ_STRIP_FINISH),
        VIQ_image_write_BMP_buffer(fresh, buffer, &length, VIQ_STRIP_FINISH),
        VIQ_IP_mirror(fresh, fresh, 0, 0, 1, 1, VIQ_STRIP_FINISH)};
    EXPECT_OK(VIQ_image_destroy(fresh));
    return 0;
}

TEST(Handlers, CannotChangeImagesThatAnEarlierHandlerKept) {
    kept_image = 0;
    handler_codes.clear();
    VIQ_ErrHandlerInstall(keeping_handler);
    EXPECT_TRUE(VIQ_IS_ERROR(VIQ_image_free_data(0)));
    EXPECT_TRUE(VIQ_IS_ERROR(VIQ_JPEG_compress(kept_image, kept_image)));
    VIQ_ErrHandlerInstall(record_failure);
    EXPECT_EQ(handler_codes, std::vector<u32>(10, VIQ_ERR_STATE));
    EXPECT_OK(VIQ_image_destroy(kept_image));
}

// ---- Images that share a buffer, a record or an object

TEST(SharedMemory, IsNotReplacedWhileItIsRead) {
    constexpr const char *same = "Input and output image are the same";
    const picture owner(VIQ_YUV422, 20, 20), user(VIQ_YUV422, 20, 20), in(VIQ_YUV422, 20, 20);
    fill_with_noise(owner);
    fill_with_noise(in);
    VIQ_image_set_ptr(user, VIQ_PTR_DATA, VIQ_image_get_ptr(owner, VIQ_PTR_DATA));
    const u32 key = VIQ_CK_create();
    EXPECT_REPORT(VIQ_CK_chroma_key(in, owner, user, 0, key, 0, VIQ_STRIP_NEXT),
                  "VIQ_CK_chroma_key_1_strip", VIQ_ERR_PARAMETER, same);
    VIQ_CK_chroma_key(in, owner, user, 0, key, 0, VIQ_STRIP_FINISH);
    VIQ_CK_destroy(key);
    EXPECT_ERROR(VIQ_write_to_memory(user, owner, VIQ_STRIP_NEXT), VIQ_ERR_PARAMETER, same);
    set_lines(owner, 5);
    EXPECT_ERROR(VIQ_read_from_memory(user, owner, VIQ_STRIP_NEXT), VIQ_ERR_PARAMETER, same);
    VIQ_read_from_memory(user, owner, VIQ_STRIP_FINISH);
    VIQ_image_set_parameter(user, VIQ_IMAGE_TYPE, VIQ_Y8);
    VIQ_image_set_parameter(user, VIQ_LINES_PER_STRIP, 20);
    EXPECT_ERROR(VIQ_pad_to_MCU_1_strip(user, owner), VIQ_ERR_PARAMETER, same);
    VIQ_image_set_ptr(user, VIQ_PTR_DATA, nullptr);
}

tVIQ_Image &object_of(u32 image) {
    return *static_cast<tVIQ_Image *>(VIQ_image_get_ptr(image, VIQ_PTR_IMAGE));
}

// What a caller sets in a second image; it belongs to the first one.
void share_strip(u32 owner, u32 other) {
    VIQ_image_set_ptr(other, VIQ_PTR_DATA, VIQ_image_get_ptr(owner, VIQ_PTR_DATA));
}
void share_coded_data(u32 owner, u32 other) {
    VIQ_image_set_ptr(other, VIQ_PTR_JPEG_DATA, VIQ_image_get_ptr(owner, VIQ_PTR_JPEG_DATA));
}
void share_coded_data_as_pixels(u32 owner, u32 other) {
    VIQ_image_set_ptr(other, VIQ_PTR_DATA, VIQ_image_get_ptr(owner, VIQ_PTR_JPEG_DATA));
}
void share_copied_record(u32 owner, u32 other) {
    static Tjpeg record;
    record = *object_of(owner).jpeg;
    VIQ_image_set_ptr(other, VIQ_PTR_JPEG, &record);
}
void share_copied_object(u32 owner, u32 other) {
    static tVIQ_Image object;
    object = object_of(owner);
    VIQ_image_set_ptr(other, VIQ_PTR_IMAGE, &object);
}

TEST(SharedMemory, IsFreedOnceInAnyOrder) {
    constexpr void (*kinds[])(u32, u32) = {
        share_strip,         share_coded_data,    share_coded_data_as_pixels,
        share_copied_record, share_copied_object,
    };
    constexpr void (*orders[])(u32, u32, u32) = {
        [](u32 owner, u32 other, u32) {
            VIQ_image_destroy(owner);
            VIQ_image_destroy(other);
        },
        [](u32 owner, u32 other, u32 third) {
            VIQ_image_destroy(other);
            VIQ_image_copy(owner, third);
            VIQ_image_destroy(owner);
        },
        [](u32, u32, u32) {},
        [](u32 owner, u32 other, u32) {
            VIQ_image_set_ptr(owner, VIQ_PTR_DATA, nullptr);
            VIQ_image_destroy(owner);
            VIQ_image_destroy(other);
        },
        [](u32 owner, u32 other, u32 third) {
            VIQ_image_move(other, third);
            VIQ_image_destroy(owner);
            VIQ_image_free_data(third);
        },
        [](u32 owner, u32 other, u32) {
            VIQ_image_free_data(owner);
            VIQ_image_set_parameter(other, VIQ_IMAGE_TYPE, VIQ_Y8);
            VIQ_image_malloc_a_strip(other);
        },
        [](u32, u32 other, u32) {
            VIQ_cmap_destroy_info(other);
            VIQ_image_set_ptr(other, VIQ_PTR_IMAGE, nullptr);
        },
    };
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    const memory_in_use before = current_memory();
    for (const bool is_wavelet : {false, true})
        for (const auto &share : kinds)
            for (const auto &order : orders) {
                const u32 owner =
                    is_wavelet && (share == share_strip || share == share_copied_object)
                        ? VIQ_WVLT_image_create(1)
                        : VIQ_JPEG_image_create();
                const u32 other = VIQ_JPEG_image_create(), third = VIQ_JPEG_image_create();
                for (const u32 image : {owner, other}) {
                    VIQ_image_set_parameter(image, VIQ_WIDTH, 40);
                    VIQ_image_set_parameter(image, VIQ_HEIGHT, 8);
                }
                VIQ_image_set_parameter(owner, VIQ_IMAGE_TYPE, VIQ_Y8);
                if (object_of(owner).jpeg != nullptr) {
                    EXPECT_OK(VIQ_image_malloc_a_strip(owner));
                    EXPECT_OK(VIQ_JPEG_malloc_N_bytes_data(owner, 5000));
                }
                EXPECT_OK(VIQ_cmap_set_bits(owner, 3, 3, 2, 8));
                share(owner, other);
                order(owner, other, third);
                EXPECT_OK(VIQ_image_destroy(VIQ_ALL_IMAGES));
                EXPECT_EQ(current_memory(), before);
            }
}

TEST(SharedMemory, LosesItsJpegRecordTogether) {
    const u32 jpeg = VIQ_JPEG_image_create(), other = VIQ_image_create();
    void *record = VIQ_image_get_ptr(jpeg, VIQ_PTR_JPEG);
    EXPECT_OK(VIQ_image_set_ptr(other, VIQ_PTR_JPEG, record));
    void *replaced = VIQ_image_get_ptr(other, VIQ_PTR_IMAGE);
    tVIQ_Image own = {};
    EXPECT_OK(VIQ_image_set_ptr(other, VIQ_PTR_IMAGE, &own));
    EXPECT_OK(VIQ_image_destroy(jpeg));
    EXPECT_OK(VIQ_image_set_ptr(other, VIQ_PTR_IMAGE, replaced));
    EXPECT_EQ(VIQ_image_get_ptr(other, VIQ_PTR_JPEG), nullptr);
    EXPECT_OK(VIQ_image_destroy(other));
}

TEST(SharedMemory, IsNotDecodedIntoItself) {
    const picture in(VIQ_Y8, 32, 32);
    fill_with_noise(in);
    const u32 wavelet = VIQ_WVLT_image_create(0), alias = VIQ_image_create();
    void *own = VIQ_image_get_ptr(alias, VIQ_PTR_IMAGE);
    EXPECT_OK(VIQ_WVLT_compress(in, wavelet, VIQ_STRIP_NEXT));
    VIQ_image_set_ptr(alias, VIQ_PTR_IMAGE, VIQ_image_get_ptr(wavelet, VIQ_PTR_IMAGE));
    EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, alias, VIQ_STRIP_NEXT), VIQ_ERR_HANDLE,
                 "Not a WVLT image");
    VIQ_image_set_ptr(alias, VIQ_PTR_IMAGE, own);
    EXPECT_OK(VIQ_image_destroy(alias));
    EXPECT_OK(VIQ_image_destroy(wavelet));
}

// ---- Sequences that continue with something else

TEST(ContinuedSequence, IsRefusedWithOtherArguments) {
    const picture in(VIQ_RGB24, 16, 16), wide, narrow(VIQ_RGB24, 10, 20);
    fill_with_noise(in);
    set_lines(in, 8);
    constexpr const char *refusal = "Sequence under way with another image";
    EXPECT_OK(VIQ_IP_scale(in, wide, 1000, 20, VIQ_STRIP_NEXT));
    EXPECT_REPORT(VIQ_IP_scale(in, narrow, 10, 20, VIQ_STRIP_NEXT), "VIQ_IP_threshold_grayscale",
                  VIQ_ERR_STATE, refusal);
    VIQ_IP_scale(in, wide, 1000, 20, VIQ_STRIP_FINISH);

    const i32 blur[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1}, sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
    set_lines(in, 8);
    EXPECT_OK(VIQ_IP_filter_3x3(in, wide, blur, VIQ_STRIP_NEXT));
    EXPECT_ERROR(VIQ_IP_filter_3x3(in, wide, sharpen, VIQ_STRIP_NEXT), VIQ_ERR_STATE, refusal);
    VIQ_IP_filter_3x3(in, wide, blur, VIQ_STRIP_FINISH);

    const picture grey(VIQ_Y8, 16, 16);
    fill_with_noise(grey);
    set_lines(grey, 8);
    tVIQ_Average one = {}, other = {};
    EXPECT_OK(VIQ_IP_generate_averages(grey, &one, VIQ_STRIP_NEXT));
    EXPECT_ERROR(VIQ_IP_generate_averages(grey, &other, VIQ_STRIP_NEXT), VIQ_ERR_STATE, refusal);
    VIQ_IP_generate_averages(grey, &one, VIQ_STRIP_FINISH);
}

TEST(ContinuedSequence, IsRefusedWithTheMemoryImageAsItsOwnStrip) {
    const picture memory(VIQ_Y8, 16, 20), strip;
    fill_with_noise(memory);
    set_lines(memory, 5);
    EXPECT_OK(VIQ_read_from_memory(memory, strip, VIQ_STRIP_NEXT));
    EXPECT_ERROR(VIQ_read_from_memory(memory, memory, VIQ_STRIP_NEXT), VIQ_ERR_PARAMETER,
                 "Input and output image are the same");
    VIQ_read_from_memory(memory, strip, VIQ_STRIP_FINISH);
}

} // namespace
} // namespace viq
