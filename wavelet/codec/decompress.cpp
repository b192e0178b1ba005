// Decompression of a wavelet image. The decompressor chain is loaded with the settings of each
// component and run on the component's part of the stream.
#include <algorithm>

#include "core/geometry.h"
#include "core/image.h"
#include "core/limits.h"
#include "core/report.h"
#include "wavelet/codec/image_adapters.h"
#include "wavelet/codec/wavelet_record.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_WVLT_decompress";
constexpr const char *allocating_name = "VIQ_image_malloc_a_strip"; // in reports on the output

// The compressor writes at least one byte for this many pixels; a stream that claims more is
// rejected.
constexpr u64 max_pixels_per_byte = 65536;

u32 make_chain(wavelet_record &record);
void release_chain(wavelet_record &record);
u32 prepare_output(wavelet_record &record, tVIQ_Image &out, u32 hOutImage);
u32 fetch_coefficients(wavelet_record &record, u32 width);
void end_run(wavelet_record &record);
u32 run_components(wavelet_record &record, tVIQ_Image &out, u32 &status);

u32 report_corrupt() {
    return report(name, VIQ_ERR_CORRUPT, "Corrupt WVLT stream");
}

u32 report_unsupported() {
    return report(name, VIQ_ERR_UNSUPPORTED, "Unsupported source image type");
}

// Null after the chain has been released.
module_handle chain_of(const wavelet_record &record) {
    return record.decompressor_released ? nullptr : record.decompressor_chain;
}

bool is_colour(const wavelet_record &record) {
    return record.source_format == VIQ_YUV422;
}

} // namespace

u32 VIQ_WVLT_decompress(u32 hWvlt, u32 hOutImage, u32 dwMode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    const u32 mode = low_word(dwMode);
    wavelet_record *record = nullptr;
    u32 code = open_wavelet_record(name, hWvlt, record);
    if (is_error(code))
        return code;
    tVIQ_Image &in = *find_image(hWvlt);
    if (in.height != 0 || find_image(hOutImage) == &in)
        return report(name, VIQ_ERR_HANDLE, "Not a WVLT image");
    if (in.lines_per_strip == 0)
        return success;
    if (record->stream_length == 0)
        return report(name, VIQ_ERR_UNEXPECTED, "No image to decompress");
    code = VIQ_image_copy_parameters(hWvlt, hOutImage);
    if (is_error(code))
        return code;
    tVIQ_Image &out = *find_image(hOutImage);
    out.flags &= ~VIQ_FLAG_100;
    if (record->decompressor_chain == nullptr)
        code = make_chain(*record);
    if (is_error(code))
        return code;
    if (mode == VIQ_STRIP_FINISH)
        release_chain(*record);
    if (mode != VIQ_STRIP_NEXT)
        return success;

    const source_description description = {type_bytes, 0, 0, read_image_region, &in};
    if (failed(set_module(chain_of(*record), id_source, source_description_size, &description)))
        return report_unsupported();
    code = prepare_output(*record, out, hOutImage);
    if (is_error(code))
        return code;
    u32 status = fetch_coefficients(*record, out.width);
    if (!failed(status)) {
        code = renew_strip(hOutImage);
        if (is_error(code)) {
            end_run(*record);
            return code;
        }
        code = run_components(*record, out, status);
    }
    if (is_error(code) || failed(status)) {
        VIQ_image_free_data(hOutImage);
        out.bytes_per_line = out.height = out.width = 0;
        return is_error(code) ? code
                              : report_module_status(name, status, "Wavelet decompressor failed");
    }
    return check_image(name, hOutImage);
}

namespace {

u32 make_chain(wavelet_record &record) {
    const u32 mode = decompress_huffman + record.coding_type;
    const u32 status =
        create_module(&record.decompressor_chain, codec_id, sizeof mode, &mode, nullptr);
    return failed(status) ? report(name, VIQ_ERR_MEMORY, "") : success;
}

// Keeps the handle of the destroyed chain and marks it as released, so that later decompressions
// fail. The compressor chain is destroyed too; the next compression creates another one.
void release_chain(wavelet_record &record) {
    if (!record.decompressor_released)
        destroy_module(record.decompressor_chain);
    record.decompressor_released = true;
    release_compressor(record);
}

u32 load_settings(wavelet_record &record, u32 component) {
    const settings_slice slice = settings_of(record, component);
    return set_module(chain_of(record), id_settings, slice.size, slice.data);
}

u32 prepare_output(wavelet_record &record, tVIQ_Image &out, u32 hOutImage) {
    if (record.settings_loaded == 0) {
        if (record.settings.empty())
            return report(name, VIQ_ERR_STATE, "Decompressor settings not loaded");
        if (failed(load_settings(record, 0)))
            return report(name, VIQ_ERR_INTERNAL, "Can't write decompressor settings");
        record.settings_loaded = 1;
    }
    output_description output = {};
    const u32 status = describe_output(chain_of(record), output);
    if (failed(status))
        return report_module_status(name, status, "No image info");
    const bool grey = record.source_format == VIQ_Y8;
    if (!grey && !is_colour(record))
        return report_unsupported();
    const u64 bytes = std::min(record.component_bytes[0], record.stream_length);
    if (record.components != (grey ? 1 : 3) || (!grey && output.width % 2 != 0) ||
        u64{output.width} * output.height > bytes * max_pixels_per_byte)
        return report_corrupt();
    u32 code = describe_image(out, output);
    if (is_error(code))
        return code;
    out.pixel_format = record.source_format;
    if (!grey)
        out.bits_per_pixel = 16;
    out.line_alignment = 2;
    out.lines_per_strip = out.height;
    code = check_ratio_limit(name, out, record.stream_length);
    if (is_error(code) || holds_locked_buffer(out))
        return code;
    return check_image(allocating_name, hOutImage);
}

void end_run(wavelet_record &record) {
    set_module(chain_of(record), id_source, 0, nullptr);
}

// Decodes the coefficients of the first component: the output is allocated only if the stream
// contains them.
u32 fetch_coefficients(wavelet_record &record, u32 width) {
    const u32 stored = record.stream_length;
    record.read_position = 0;
    record.stream_length = std::min(record.component_bytes[0], stored);
    region first = {width, 1, nullptr, 0};
    const u32 status = get_region(chain_of(record), 0, 0, 0, &first);
    record.stream_length = stored;
    if (failed(status))
        end_run(record);
    else
        release_region(chain_of(record), first.data);
    return status;
}

// Loads the settings of a chroma component and checks that its size matches the image.
u32 begin_component(wavelet_record &record, const tVIQ_Image &out, u32 component, u32 &status) {
    const u32 next = component;
    status = set_module(chain_of(record), id_next_component, sizeof next, &next);
    if (!failed(status) && settings_of(record, component).size != 0) {
        status = load_settings(record, component);
        record.settings_loaded = 0;
    }
    output_description output = {};
    if (!failed(status))
        status = describe_output(chain_of(record), output);
    const bool fits = output.width == out.width / 2 && output.height == out.height;
    return failed(status) || fits ? success : report_corrupt();
}

u32 run_components(wavelet_record &record, tVIQ_Image &out, u32 &status) {
    constexpr u32 first_byte[max_components] = {0, 1, 3}; // in a line of YUV 4:2:2
    const u32 stored = record.stream_length;
    const run_request request = {out.width, 0, write_component, &out}; // whole lines
    u32 code = success;
    record.read_position = 0;
    for (u32 component = 0; component < record.components; ++component) {
        if (component > 0)
            code = begin_component(record, out, component, status);
        if (is_error(code) || failed(status))
            break;
        record.stream_length =
            std::min(record.component_bytes[component], stored - record.read_position);
        out.skip_bytes = first_byte[component];
        if (out.pixel_format == VIQ_Y8 && out.data != nullptr && out.bytes_per_line >= out.width) {
            const region_destination lines = {out.data, out.bytes_per_line, out.height};
            set_module(chain_of(record), id_destination, sizeof lines, &lines); // optional
        }
        status = run_module(chain_of(record), &request, nullptr);
        if (failed(status))
            break;
        record.read_position += record.stream_length;
    }
    out.skip_bytes = 0;
    record.read_position = 0;
    record.stream_length = stored;
    return code;
}

} // namespace
