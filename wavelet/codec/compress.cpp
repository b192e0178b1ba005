// Compression of an image to a wavelet image. The compressor chain runs once for each component and
// appends to the stream of the record. The settings that the decompressor needs are gathered from
// the chain when the parameters or the shape of the source have changed.
#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "wavelet/codec/image_adapters.h"
#include "wavelet/codec/wavelet_record.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_WVLT_compress";

u32 make_chains(wavelet_record &record);
u32 check_source(const tVIQ_Image &source, wavelet_record &record, u32 &type, u16 &components);
u32 push_settings(wavelet_record &record, const tVIQ_Image &source);
u32 run_components(wavelet_record &record, tVIQ_Image &target, u16 components, u32 &status);

u32 set_component(const wavelet_record &record, u32 component) {
    return set_module(record.compressor_chain, id_component, sizeof component, &component);
}

} // namespace

u32 VIQ_WVLT_compress(u32 hInImage, u32 hWvlt, u32 dwMode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    const u32 mode = low_word(dwMode);
    wavelet_record *record = nullptr;
    u32 code = open_wavelet_record(name, hWvlt, record);
    if (!is_error(code))
        code = check_image(name, hInImage);
    if (!is_error(code))
        code = VIQ_image_copy_parameters(hInImage, hWvlt);
    if (is_error(code))
        return code;
    tVIQ_Image &source = *find_image(hInImage);
    tVIQ_Image &target = *find_image(hWvlt);
    target.flags |= VIQ_FLAG_100;
    if (record->compressor_chain == nullptr)
        code = make_chains(*record);
    if (is_error(code))
        return code;
    if (mode == VIQ_STRIP_FINISH)
        release_compressor(*record);
    if (mode != VIQ_STRIP_NEXT)
        return success;

    u32 type = 0;
    u16 components = 0;
    code = check_source(source, *record, type, components);
    if (is_error(code))
        return code;
    const source_description description = {type, source.width, source.height, read_image_region,
                                            &source};
    if (failed(set_module(record->compressor_chain, id_source, source_description_size,
                          &description)) ||
        failed(set_component(*record, 0)))
        return report(name, VIQ_ERR_UNSUPPORTED, "Unsupported source image type");
    code = push_settings(*record, source);
    if (is_error(code))
        return code;

    output_description output = {};
    u32 status = describe_output(record->compressor_chain, output);
    if (failed(status))
        return report_module_status(name, status, "No image info");
    code = describe_image(target, output);
    if (is_error(code))
        return code;
    code = run_components(*record, target, components, status);
    if (is_error(code) || failed(status)) {
        clear_stream(*record);
        target.bytes_per_line = target.height = target.width = 0;
        return is_error(code) ? code
                              : report_module_status(name, status, "Wavelet compressor failed");
    }
    record->components = components;
    if (target.height != 0)
        return check_image(name, hWvlt);
    target.param_16 = record->stream_length;
    return success;
}

namespace {

u32 make_chains(wavelet_record &record) {
    const u32 mode = compress_huffman + record.coding_type;
    const u32 stream_type = type_bytes;
    u32 status = create_module(&record.compressor_codec, codec_id, sizeof mode, &mode, nullptr);
    if (!failed(status))
        status = create_module(&record.compressor_chain, level_shifter_id, sizeof stream_type,
                               &stream_type, record.compressor_codec);
    if (failed(status)) {
        release_compressor(record);
        return report(name, VIQ_ERR_MEMORY, "");
    }
    record.settings_changed = 1;
    return success;
}

u32 check_source(const tVIQ_Image &source, wavelet_record &record, u32 &type, u16 &components) {
    if (!has_lines(source, 0))
        return report(name, VIQ_ERR_CORRUPT, "No source data");
    record.source_format = source.pixel_format;
    switch (source.pixel_format) {
    case VIQ_Y8:
        type = type_bytes;
        components = 1;
        break;
    case VIQ_YUV422:
        type = type_yuv422;
        components = 3;
        break;
    default:
        return report(name, VIQ_ERR_UNSUPPORTED, "Unsupported source image type");
    }
    if (source.width == 0 || source.height == 0 || source.lines_per_strip < source.height ||
        !has_lines(source, source.height))
        return report(name, VIQ_ERR_CORRUPT, "Corrupt image");
    if (source.pixel_format == VIQ_YUV422 && source.width % 2 != 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "YUV422 image must be an even width");
    return success;
}

u32 push_settings(wavelet_record &record, const tVIQ_Image &source) {
    const bool other_source = record.gathered_width != source.width ||
                              record.gathered_height != source.height ||
                              record.gathered_format != source.pixel_format;
    if (record.settings_changed != 0 || other_source) {
        (void)resize_settings(record, 0);
        record.settings_loaded = 0;
        record.settings_lengths[0] = record.settings_lengths[1] = 0;
        if (failed(set_module(record.compressor_chain, id_decompositions, sizeof record.subbands,
                              &record.subbands)))
            return report(name, VIQ_ERR_PARAMETER, "Invalid number of DWT decompositions");
        u32 status = set_module(record.compressor_chain, id_optimisation,
                                sizeof record.optimisation, &record.optimisation);
        if (!failed(status))
            status = set_module(record.compressor_chain, id_quality, sizeof record.quality,
                                &record.quality);
        if (failed(status))
            return report_module_status(name, status, "Wavelet compressor failed");
        record.settings_changed = 0;
        record.gathered_width = source.width;
        record.gathered_height = source.height;
        record.gathered_format = source.pixel_format;
    }
    return record.settings.empty() ? gather_settings(record) : success;
}

u32 begin_component(wavelet_record &record, u32 component, u32 &status) {
    status = set_module(record.compressor_chain, id_next_component, sizeof component, &component);
    if (!failed(status))
        status = set_component(record, component);
    u16 &length = record.settings_lengths[component - 1];
    if (failed(status) || length != 0)
        return success;
    const std::size_t before = record.settings.size();
    const u32 code = gather_settings(record);
    length = static_cast<u16>(record.settings.size() - before);
    return code;
}

u32 run_components(wavelet_record &record, tVIQ_Image &target, u16 components, u32 &status) {
    clear_stream(record);
    const run_request request = {0, 0, append_to_stream, &target};
    status = success;
    for (u32 component = 0; component < components && !failed(status); ++component) {
        const u32 code = component > 0 ? begin_component(record, component, status) : success;
        if (is_error(code))
            return code;
        const u32 before = record.stream_length;
        if (!failed(status))
            status = run_module(record.compressor_chain, &request, nullptr);
        record.component_bytes[component] = record.stream_length - before;
    }
    try {
        record.stream.shrink_to_fit();
    } catch (...) { // The larger buffer is kept.
    }
    record.stream_buffer = record.stream.data();
    return success;
}

} // namespace
