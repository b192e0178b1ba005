// Arbitrary bytes as wavelet streams of both coding types: buffer read, buffer write,
// decompression.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "core/image.h"
#include "fuzz/mutators.h"

using namespace viq;

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

void decode(u16 type, const u8 *data, u32 size) {
    const u32 wavelet = VIQ_WVLT_image_create(type);
    const scoped_image out;
    if (VIQ_WVLT_buffer_read(wavelet, data, size) == 0) {
        std::vector<u8> again(size);
        u32 count = 0;
        if (VIQ_WVLT_buffer_write(wavelet, again.data(), &count, VIQ_STRIP_NEXT) == 0)
            require(count == size);
        const u32 code = VIQ_WVLT_decompress(wavelet, out.handle, VIQ_STRIP_NEXT);
        const tVIQ_Image &image = *find_image(out.handle);
        if (code == 0 && image.height != 0)
            require(has_lines(image, image.height));
        VIQ_WVLT_decompress(wavelet, out.handle, VIQ_STRIP_FINISH);
    }
    require(VIQ_WVLT_image_destroy(wavelet) == 0);
}

} // namespace

VIQ_MUTATOR(viq::mutate_wavelet)

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    VIQ_ErrHandlerInstall(nullptr);
    if (size == 0 || size > 1 << 20)
        return 0;
    const std::vector<u8> before(data, data + size);
    for (const u16 type : {u16{0}, u16{1}})
        decode(type, data, static_cast<u32>(size));
    require(std::equal(before.begin(), before.end(), data));
    require(VIQ_image_destroy(VIQ_ANY_IMAGE) == 0);
    return 0;
}
