// Contexts: what belongs to them, binding threads to them, and the end of sequences.
#include <thread>

#include "core/image.h"
#include "core/thread_end.h"
#include "tests/file_support.h"
#include "tests/jpeg_support.h"

using namespace viq;

namespace {

// The calling thread is bound to a new context until the end of the scope.
struct scoped_context {
    u32 before = VIQ_context_current();
    u32 handle = VIQ_context_create();
    scoped_context() { EXPECT_OK(VIQ_context_use(handle)); }
    scoped_context(const scoped_context &) = delete;
    scoped_context &operator=(const scoped_context &) = delete;
    ~scoped_context() {
        EXPECT_OK(VIQ_context_use(before));
        EXPECT_OK(VIQ_context_destroy(handle));
    }
};

u32 other_handler(u32, const char *, u32, const char *) {
    return 0;
}

constexpr std::size_t tga_header = 18;

void begin_file(const picture &p, const std::string &name) {
    name_files(p, name);
    set_lines(p, 2);
    EXPECT_OK(VIQ_image_malloc_a_strip(p));
    EXPECT_OK(VIQ_write_TGA_file(p, VIQ_STRIP_NEXT));
    EXPECT_TRUE(std::filesystem::exists(name));
}

} // namespace

TEST(Contexts, BindThreads) {
    EXPECT_EQ(VIQ_context_current(), 0u);
    const u32 first = VIQ_context_create();
    const u32 second = VIQ_context_create();
    EXPECT_NE(first, second);
    EXPECT_OK(VIQ_context_use(first));
    EXPECT_EQ(VIQ_context_current(), first);
    EXPECT_ERROR(VIQ_context_use(second + 1), VIQ_ERR_HANDLE, "");
    EXPECT_ERROR(VIQ_context_destroy(0), VIQ_ERR_HANDLE, "");

    std::thread([&] {
        EXPECT_EQ(VIQ_context_current(), 0u);
        EXPECT_ERROR(VIQ_context_use(first), VIQ_ERR_STATE, "Context in use");
        EXPECT_ERROR(VIQ_context_destroy(first), VIQ_ERR_STATE, "Context in use");
        EXPECT_OK(VIQ_context_use(second));
    }).join();
    // A thread that ends releases its context; what runs in it afterwards is in context 0.
    u32 at_end = second;
    std::thread([&] {
        struct last {
            u32 &context;
            ~last() { context = VIQ_context_current(); }
        };
        thread_local const last destroyed_last = {at_end};
        static_cast<void>(destroyed_last);
        EXPECT_OK(VIQ_context_use(second));
    }).join();
    if (thread_objects_exist_at_end) {
        EXPECT_EQ(at_end, 0u);
    }
    EXPECT_OK(VIQ_context_use(second));
    EXPECT_OK(VIQ_context_destroy(first));
    EXPECT_EQ(VIQ_context_create(), first);
    EXPECT_OK(VIQ_context_destroy(second));
    EXPECT_EQ(VIQ_context_current(), 0u);
    EXPECT_OK(VIQ_context_destroy(first));
    EXPECT_ERROR(VIQ_context_destroy(first), VIQ_ERR_HANDLE, "");
}

TEST(Contexts, HaveTheirOwnHandlersAndObjects) {
    const u32 lut = VIQ_LUT_create(256, 1);
    {
        const scoped_context context;
        EXPECT_OK(VIQ_ErrHandlerInstall(other_handler));
        VIQ_image_destroy(VIQ_ALL_IMAGES); // with the objects of this context
        EXPECT_EQ(VIQ_context_use(missing), VIQ_ERR_HANDLE);
        EXPECT_EQ(VIQ_LUT_get_ptr(lut, 1), nullptr);
        EXPECT_OK(VIQ_ErrHandlerInstall(record_failure));
    }
    EXPECT_NE(VIQ_LUT_get_ptr(lut, 1), nullptr);
    EXPECT_OK(VIQ_LUT_destroy(lut));
    EXPECT_ERROR(VIQ_context_use(missing), VIQ_ERR_HANDLE, "");
}

// One thread takes turns between two contexts, each with a picture of its own in strips.
TEST(Contexts, HaveTheirOwnSequences) {
    const u32 contexts[] = {0, VIQ_context_create()};
    const picture sources[] = {{VIQ_RGB24, 8, 6}, {VIQ_RGB24, 10, 6}};
    const picture strips[2];
    const picture targets[2];
    const picture gathered[2];
    for (u32 n = 0; n < 2; ++n) {
        fill_with_noise(sources[n]);
        set_lines(sources[n], 2);
    }
    for (u32 strip = 0; strip < 3; ++strip)
        for (u32 n = 0; n < 2; ++n) {
            EXPECT_OK(VIQ_context_use(contexts[n]));
            EXPECT_OK(VIQ_read_from_memory(sources[n], strips[n], VIQ_STRIP_NEXT));
            EXPECT_OK(VIQ_convert_to_BGR24(strips[n], targets[n], VIQ_STRIP_NEXT));
            EXPECT_OK(VIQ_write_to_memory(targets[n], gathered[n], VIQ_STRIP_NEXT));
        }
    EXPECT_OK(VIQ_context_use(0));
    EXPECT_OK(VIQ_context_destroy(contexts[1]));
    for (u32 n = 0; n < 2; ++n) {
        set_lines(sources[n], 6);
        const picture expected;
        EXPECT_OK(VIQ_convert_to_BGR24(sources[n], expected, VIQ_STRIP_NEXT));
        EXPECT_EQ(pixels_of(gathered[n]), pixels_of(expected));
    }
}

TEST(Contexts, EndWhatIsUnderWayInThem) {
    const picture p(VIQ_Y8, 4, 4);
    const std::string name = scratch_file("half.tga");
    {
        const scoped_context context;
        begin_file(p, name);
    }
    EXPECT_EQ(read_file(name).size(), tga_header + 8); // closed, with the two lines that it has
}

// An image that a call of another context is using is neither changed nor destroyed.
TEST(Contexts, RefuseImagesInUse) {
    const scoped_context context;
    const picture in(VIQ_Y8, 4, 4);
    const picture out;
    fill_with_noise(in);
    for (const picture *used : {&in, &out}) {
        companion(*find_image(*used)).user = 60000;
        EXPECT_ERROR(VIQ_convert_to_RGB24(in, out, VIQ_STRIP_NEXT), VIQ_ERR_STATE,
                     "Image in use by another thread");
        EXPECT_ERROR(VIQ_image_destroy(*used), VIQ_ERR_STATE, "Image in use by another thread");
        companion(*find_image(*used)).user = 0;
    }
    EXPECT_OK(VIQ_convert_to_RGB24(in, out, VIQ_STRIP_NEXT));
}

// The next picture starts at its first line, in its own file.
TEST(Contexts, DestroyedImagesEndTheirSequences) {
    const std::string names[] = {scratch_file("first.tga"), scratch_file("second.tga")};
    for (const u32 handle : {0u, VIQ_ALL_IMAGES}) {
        {
            const picture first(VIQ_Y8, 4, 4);
            begin_file(first, names[0]);
            const picture unfinished(VIQ_Y8, 4, 4);
            const picture target;
            fill_with_noise(unfinished);
            set_lines(unfinished, 2);
            EXPECT_OK(VIQ_convert_to_RGB24(unfinished, target, VIQ_STRIP_NEXT));
            EXPECT_OK(VIQ_image_destroy(handle != 0 ? handle : first));
            EXPECT_EQ(read_file(names[0]).size(), tga_header + 8);
        }
        const picture second(VIQ_Y8, 4, 4);
        begin_file(second, names[1]);
        EXPECT_OK(VIQ_write_TGA_file(second, VIQ_STRIP_NEXT));
        const picture read;
        name_files(read, names[1]);
        EXPECT_OK(VIQ_image_read(read, 0, VIQ_STRIP_NEXT));
        EXPECT_EQ(VIQ_get_height(read), 4u);

        const picture whole(VIQ_Y8, 4, 4);
        const picture converted;
        fill_with_noise(whole);
        EXPECT_OK(VIQ_convert_to_RGB24(whole, converted, VIQ_STRIP_NEXT));
        EXPECT_EQ(VIQ_get_lines_this_strip(converted), 4u);
    }
}

// The last image of a JPEG stream that lacks lines closes it; parts without lines do not.
TEST(Contexts, DestroyedImagesEndTheirJpegStreams) {
    for (const u32 lines : {8u, 0u}) {
        const std::string names[] = {scratch_file("first.jpg"), scratch_file("second.jpg")};
        {
            const jpeg_picture jpeg;
            const picture scene(VIQ_Y8, 16, 16);
            draw_scene(scene);
            name_files(scene, names[0]);
            EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
            jpeg->lines_per_strip = lines;
            EXPECT_OK(VIQ_JPEG_file_write(jpeg, VIQ_STRIP_NEXT));
        }
        const jpeg_picture jpeg;
        const picture scene(VIQ_Y8, 16, 16);
        draw_scene(scene);
        name_files(scene, names[1]);
        EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
        EXPECT_OK(VIQ_JPEG_file_write(jpeg, VIQ_STRIP_NEXT));
        EXPECT_EQ(std::filesystem::exists(names[1]), lines != 0);
        std::filesystem::remove(names[1]);
    }
}

// The sequence of another context is not ended immediately; its next call finds no image.
TEST(Contexts, SequencesOfOtherContextsMissDestroyedImages) {
    const picture target;
    u32 handle = 0;
    const u32 other = VIQ_context_create();
    {
        const picture source(VIQ_RGB24, 8, 6);
        fill_with_noise(source);
        set_lines(source, 2);
        handle = source;
        EXPECT_OK(VIQ_context_use(other));
        EXPECT_OK(VIQ_convert_to_BGR24(source, target, VIQ_STRIP_NEXT));
        EXPECT_OK(VIQ_context_use(0));
    }
    EXPECT_OK(VIQ_context_use(other));
    EXPECT_EQ(VIQ_convert_to_BGR24(handle, target, VIQ_STRIP_NEXT) & 0xFFFF0000, VIQ_ERR_CORRUPT);
    // A picture of the same size, perhaps with the same handle, starts again or is an ordinary
    // error.
    const picture next(VIQ_RGB24, 8, 6);
    fill_with_noise(next);
    EXPECT_OK(VIQ_convert_to_BGR24(next, target, VIQ_STRIP_FINISH));
    EXPECT_OK(VIQ_convert_to_BGR24(next, target, VIQ_STRIP_NEXT));
    EXPECT_EQ(VIQ_get_lines_this_strip(target), 6u);
    EXPECT_OK(VIQ_context_use(0));
    EXPECT_OK(VIQ_context_destroy(other));
}
