#include "jpeg/scan_writer.h"

#include "core/cpu.h"
#include "jpeg/jpeg_markers.h"
#include "jpeg/scan_writer_loops.h"

namespace viq {

const writer_kernels plain_writers = {write_grey, write_colour};

bool make_room(scan_writer &writer, u32 bytes) {
    if (static_cast<u64>(writer.end - writer.at) >= bytes)
        return true;
    const auto used = static_cast<u64>(writer.at - writer.image->jpeg->data);
    if (!grow_data(*writer.image, used + bytes))
        return false;
    writer.at = writer.image->jpeg->data + used;
    writer.end = writer.image->jpeg->data + data_room(*writer.image);
    return true;
}

void begin_scan(scan_writer &writer) {
    writer.bits = 0;
    writer.free_bits = word_bits;
    for (i32 &predictor : writer.predictors)
        predictor = 0;
}

void continue_scan(scan_writer &writer, tVIQ_Image &image) {
    Tjpeg &record = *image.jpeg;
    record.data_ptr = record.data;
    record.data_length = 0;
    writer.image = &image;
    writer.at = record.data;
    writer.end = record.data + data_room(image);
    const code_tables &codes = current_codes();
    for (u32 i = 0; i < 2; ++i) {
        const code_table &ac = codes.slots[ac_luminance + i];
        writer.components[i].dc = &codes.dc_values[i];
        for (u32 symbol = 0; symbol < 256; ++symbol)
            writer.components[i].ac[symbol] = u32{ac.code[symbol]} << 16 | ac.length[symbol];
    }
}

const writer_kernels &current_writers() {
    constexpr kernel_sets<writer_kernels> sets = {&plain_writers, VIQ_AVX2_TABLE(avx2_writers)};
    return current_kernels(sets);
}

void pause_scan(scan_writer &writer) {
    Tjpeg &record = *writer.image->jpeg;
    record.data_length = static_cast<u32>(writer.at - record.data);
}

bool end_scan(scan_writer &writer) {
    if (!make_room(writer, largest_rest))
        return false;
    const auto held = static_cast<u32>(word_bits - writer.free_bits);
    if (held != 0)
        writer.at = store_stuffed(writer.at, writer.bits << writer.free_bits, (held + 7) / 8);
    writer.at[0] = 0xFF;
    writer.at[1] = marker_eoi;
    pause_scan(writer);
    return true;
}

} // namespace viq
