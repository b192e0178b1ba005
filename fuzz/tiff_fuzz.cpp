// Reading TIFF files.
#include "fuzz/fuzz_support.h"
#include "fuzz/mutators.h"

using namespace viq;

VIQ_MUTATOR(viq::mutate_tiff)

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    viq::read_input(data, size, VIQ_read_TIFF_file);
    return 0;
}
