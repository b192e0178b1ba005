// Arbitrary bytes as wavelet streams of both coding types: buffer read, buffer write,
// decompression.
#include <algorithm>
#include <vector>

#include "core/image.h"
#include "fuzz/fuzz_support.h"
#include "fuzz/mutators.h"

using namespace viq;

namespace {

void decode(u16 type, const u8 *data, u32 size) {
    const u32 wavelet = VIQ_WVLT_image_create(type);
    const scoped_image out;
    if (VIQ_WVLT_buffer_read(wavelet, data, size) == 0) {
        std::vector<u8> again(size);
        u32 count = 0;
        if (VIQ_WVLT_buffer_write(wavelet, again.data(), &count, VIQ_STRIP_NEXT) == 0)
            demand(count == size);
        const u32 code = VIQ_WVLT_decompress(wavelet, out.handle, VIQ_STRIP_NEXT);
        const tVIQ_Image &image = *find_image(out.handle);
        if (code == 0 && image.height != 0)
            demand(has_lines(image, image.height));
        VIQ_WVLT_decompress(wavelet, out.handle, VIQ_STRIP_FINISH);
    }
    demand(VIQ_WVLT_image_destroy(wavelet) == 0);
}

} // namespace

VIQ_MUTATOR(viq::mutate_wavelet)

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::vector<u8> before(data, data + size);
    in_variants(data, size, 2, [&](u32 type) {
        decode(static_cast<u16>(type), data, static_cast<u32>(size));
        demand(std::equal(before.begin(), before.end(), data));
        demand(VIQ_image_destroy(VIQ_ANY_IMAGE) == 0);
    });
    return 0;
}
