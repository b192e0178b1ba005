// Any bytes as a TGA file.
#include "fuzz/input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    viq::read_input(data, size, VIQ_read_TGA_file);
    return 0;
}
