// JPEG files: opening, counting frames, reading with the generic reader, decompression.
#include "core/image.h"
#include "fuzz/fuzz_support.h"
#include "fuzz/mutators.h"

using namespace viq;

namespace {

void count_frames(u32 jpeg) {
    if (VIQ_JPEG_file_open(jpeg) != 0)
        return;
    VIQ_JPEG_sequence_calc_length(jpeg);
    VIQ_JPEG_sequence_set_start_frame(jpeg, VIQ_image_get_parameter(jpeg, VIQ_PARAM_18));
    VIQ_JPEG_file_close(jpeg);
}

void read_and_decode(u32 jpeg) {
    VIQ_image_set_parameter(jpeg, VIQ_HEIGHT, VIQ_HEIGHT_UNKNOWN);
    if (VIQ_image_read(jpeg, 0, VIQ_STRIP_NEXT) != 0)
        return;
    const scoped_image out;
    VIQ_JPEG_decompress(jpeg, out.handle, VIQ_STRIP_NEXT);
    VIQ_JPEG_decompress(jpeg, out.handle, VIQ_STRIP_FINISH);
}

} // namespace

VIQ_MUTATOR(viq::mutate_jpeg)

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    const input_file file(data, size);
    in_both_modes(data, size, 3, [&](u32 variant) {
        const u32 jpeg = VIQ_JPEG_image_create();
        VIQ_image_set_infilename(jpeg, file.name.c_str());
        if (variant != 1)
            count_frames(jpeg);
        if (variant != 0)
            read_and_decode(jpeg);
        VIQ_image_destroy(jpeg);
    });
    return 0;
}
