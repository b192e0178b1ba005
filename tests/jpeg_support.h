// Shared by the JPEG tests.
#pragma once

#include <cmath>

#include "support.h"

namespace viq {

constexpr u32 state_error = VIQ_ERR_STATE;

// A scoped JPEG image.
struct jpeg_picture {
    u32 handle = VIQ_JPEG_image_create();

    jpeg_picture() = default;
    jpeg_picture(const jpeg_picture &) = delete;
    jpeg_picture &operator=(const jpeg_picture &) = delete;
    ~jpeg_picture() { VIQ_image_destroy(handle); }

    operator u32() const { return handle; }
    tVIQ_Image *operator->() const {
        return static_cast<tVIQ_Image *>(VIQ_image_get_ptr(handle, VIQ_PTR_IMAGE));
    }
    Tjpeg &record() const { return *static_cast<Tjpeg *>(VIQ_image_get_ptr(handle, VIQ_PTR_JPEG)); }
    bytes data() const { return bytes(record().data, record().data + record().data_length); }
};

// Waves with edges and some noise, similar to a photograph.
inline void draw_scene(const picture &p, int grain = 6) {
    ASSERT_EQ(VIQ_image_malloc_a_strip(p), 0u);
    const u32 size = (p->bytes_per_line - p->skip_bytes) / p->width;
    for (u32 y = 0; y < p->height; ++y)
        for (u32 x = 0; x < p->width * size; ++x) {
            const double wave = 90 * std::sin(x / size * 0.07 + x % size) * std::cos(y * 0.05);
            const int edge = (x / size / 24 + y / 17) % 2 != 0 ? 25 : -20;
            const int value = 128 + static_cast<int>(wave) + edge + noise() % (grain + 1);
            p->data[y * p->bytes_per_line + x] = static_cast<u8>(std::clamp(value, 0, 255));
        }
}

inline bytes stream_of(const jpeg_picture &jpeg) {
    bytes stream(jpeg.record().data_length + 4000);
    u32 length = 0;
    EXPECT_OK(VIQ_JPEG_buffer_write(jpeg, stream.data(), &length, VIQ_STRIP_NEXT));
    stream.resize(length);
    return stream;
}

// The offset of the 0xFF of the first segment with this marker.
inline std::size_t find_marker(const bytes &stream, u8 marker) {
    std::size_t at = 2;
    while (at + 3 < stream.size() && stream[at + 1] != marker)
        at += 2 + stream[at + 2] * 256u + stream[at + 3];
    return at;
}

inline u32 read_stream(const jpeg_picture &jpeg, const bytes &stream) {
    return VIQ_JPEG_buffer_read(jpeg, stream.data(), static_cast<u32>(stream.size()));
}

// Restores the standard codes after decompression has changed the tables.
inline void restore_codes(const jpeg_picture &jpeg) {
    EXPECT_OK(VIQ_image_set_parameter(jpeg, VIQ_IMAGE_TYPE, VIQ_YUV422));
    EXPECT_OK(VIQ_JPEG_set_default_H_tables(jpeg));
    EXPECT_OK(VIQ_JPEG_generate_H_codetable_LUTs(jpeg));
}

// The stream of a compressed scene.
inline bytes scene_stream(u16 format, u32 width, u32 height, u16 quality = 16) {
    const picture scene(format, width, height);
    draw_scene(scene);
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_set_Quality_factor(jpeg, quality));
    EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
    return stream_of(jpeg);
}

} // namespace viq
