// JPEG streams in memory: reading, decompression in one strip and in several, writing.
#include <algorithm>
#include <vector>

#include "core/image.h"
#include "fuzz/fuzz_support.h"
#include "fuzz/mutators.h"

using namespace viq;

namespace {

void decompress(u32 jpeg, u32 lines) {
    const scoped_image out;
    VIQ_image_set_parameter(out.handle, VIQ_IMAGE_TYPE, lines % 3 == 0 ? VIQ_YUV422 : VIQ_RGB24);
    VIQ_image_set_parameter(jpeg, VIQ_LINES_PER_STRIP, lines);
    for (u32 strip = 0; strip < 4; ++strip)
        if (VIQ_JPEG_decompress(jpeg, out.handle, VIQ_STRIP_NEXT) != 0)
            break;
    VIQ_JPEG_decompress(jpeg, out.handle, VIQ_STRIP_FINISH);
}

void write_and_extract(u32 jpeg, std::size_t size) {
    std::vector<u8> copy(size + 4000);
    u32 length = 0;
    VIQ_JPEG_buffer_write(jpeg, copy.data(), &length, VIQ_STRIP_NEXT);
    VIQ_JPEG_buffer_write(jpeg, copy.data() + length, &length, VIQ_STRIP_FINISH);
    const u32 frame = VIQ_JPEG_image_create();
    VIQ_JPEG_sequence_extract_frame(jpeg, frame, VIQ_image_get_parameter(jpeg, VIQ_PARAM_18));
    VIQ_image_destroy(frame);
}

// The readers end the data at the first end marker; data that a caller sets may contain one.
void decompress_bytes(u32 jpeg, const u8 *data, std::size_t size, u32 lines) {
    auto *record = static_cast<Tjpeg *>(VIQ_image_get_ptr(jpeg, VIQ_PTR_JPEG));
    if (record->data == nullptr)
        return;
    std::copy(data, data + size, record->data);
    record->data_length = static_cast<u32>(size);
    decompress(jpeg, lines);
}

void read_and_decode(const u8 *data, std::size_t size, u32 variant) {
    constexpr u32 strips[] = {1, 8, 16};
    const u32 jpeg = VIQ_JPEG_image_create();
    if (VIQ_JPEG_buffer_read(jpeg, data, static_cast<u32>(size)) == 0) {
        const u32 height = VIQ_get_height(jpeg);
        if (variant == 0)
            write_and_extract(jpeg, size);
        else if (variant == 1)
            decompress_bytes(jpeg, data, size, height);
        else
            decompress(jpeg, variant == 2 ? height : strips[variant - 3]);
    }
    VIQ_image_destroy(jpeg);
}

} // namespace

VIQ_MUTATOR(viq::mutate_jpeg)

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    in_both_modes(data, size, 6, [&](u32 variant) { read_and_decode(data, size, variant); });
    return 0;
}
