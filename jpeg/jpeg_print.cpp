// Diagnostic functions for JPEG images. They check their arguments and print nothing.
#include "core/report.h"
#include "jpeg/jpeg_record.h"

using namespace viq;

u32 VIQ_print_jpeg_image(void) {
    return viq::success;
}

u32 VIQ_print_Huffman_tables(u32 hImage) {
    constexpr const char *name = "VIQ_print_Huffman_tables";
    if (viq::find_image(hImage) == nullptr)
        return viq::report_bad_handle(name);
    if (viq::find_record(hImage) == nullptr)
        return viq::report(name, VIQ_ERR_HANDLE | 1, "Not a JPEG type image");
    return viq::success;
}
