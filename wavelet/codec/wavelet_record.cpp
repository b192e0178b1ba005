// Wavelet images: creation, destruction, parameters.
#include "wavelet/codec/wavelet_record.h"

#include "core/image.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr u16 max_subbands_setting = 32;
constexpr u16 max_quality = 400;

void destroy_chain(module_handle &chain) {
    if (chain != nullptr)
        destroy_module(chain);
    chain = nullptr;
}

// A parameter of the compression that a caller may set.
struct parameter {
    const char *function, *message; // of the report about a value that is out of range
    u32 wavelet_record::*field;
    u16 smallest, largest;
    bool code_has_value = true; // in its low word
};

u32 set_parameter(u32 handle, const parameter &which, u16 value) {
    wavelet_record *record = nullptr;
    const u32 code = open_wavelet_record(which.function, handle, record);
    if (is_error(code))
        return code;
    if (value < which.smallest || value > which.largest)
        return report(which.function, VIQ_ERR_PARAMETER | (which.code_has_value ? value : 0u),
                      which.message);
    record->*which.field = value;
    record->settings_changed = 1;
    return success;
}

} // namespace

u32 VIQ_WVLT_image_create(u16 wType) {
    constexpr const char *name = "VIQ_WVLT_image_create";
    if (wType > 1)
        return report(name, VIQ_ERR_PARAMETER, "Invalid compression type");
    const u32 handle = VIQ_image_create();
    if (is_error(handle))
        return handle;
    wavelet_record *record = make_owned<wavelet_record>().release();
    if (record == nullptr || !hold_memory(record)) {
        destroy_owned(record);
        VIQ_image_destroy(handle);
        return report(name, VIQ_ERR_MEMORY, "");
    }
    record->coding_type = wType;
    tVIQ_Image &image = *find_image(handle);
    image.data = reinterpret_cast<u8 *>(record);
    image.flags |= VIQ_FLAG_100;
    companion(image).wavelet = record;
    update_seen(image);
    return handle;
}

u32 VIQ_WVLT_image_destroy(u32 hWvlt) {
    wavelet_record *record = nullptr;
    const u32 code = open_wavelet_record("VIQ_WVLT_image_destroy", hWvlt, record);
    if (is_error(code))
        return code;
    tVIQ_Image &image = *find_image(hWvlt);
    destroy_wavelet_record(record);
    image.flags &= ~(VIQ_FLAG_LOCKED | VIQ_FLAG_100);
    image.data = nullptr;
    companion(image).wavelet = nullptr;
    return VIQ_image_destroy(hWvlt);
}

u32 VIQ_WVLT_set_Quality_factor(u32 hWvlt, u16 wQuality) {
    constexpr parameter quality = {"VIQ_WVLT_set_Quality_factor", "Q factor out of range",
                                   &wavelet_record::quality, 0, max_quality};
    return set_parameter(hWvlt, quality, wQuality);
}

u32 VIQ_WVLT_set_subbands(u32 hWvlt, u16 wSubbands) {
    constexpr parameter subbands = {"VIQ_WVLT_set_subbands", "Subbands out of range",
                                    &wavelet_record::subbands, 1, max_subbands_setting};
    return set_parameter(hWvlt, subbands, wSubbands);
}

u32 VIQ_WVLT_set_optimisation(u32 hWvlt, u16 wLevel) {
    constexpr parameter optimisation = {
        "VIQ_WVLT_set_optimisation",   "Optimisation level out of range",
        &wavelet_record::optimisation, VIQ_WVLT_OPTIMISE_NONE,
        VIQ_WVLT_OPTIMISE_VALUES,      false};
    return set_parameter(hWvlt, optimisation, wLevel);
}

namespace viq {

wavelet_record *find_wavelet_record(const tVIQ_Image *image) {
    if (image == nullptr || (image->flags & VIQ_FLAG_100) == 0 || !holds_wavelet_record(*image))
        return nullptr;
    auto *record = static_cast<wavelet_record *>(companion(*image).wavelet);
    return record->magic == wavelet_record_magic ? record : nullptr;
}

u32 open_wavelet_record(const char *function, u32 handle, wavelet_record *&record) {
    record = find_wavelet_record(find_image(handle));
    if (record != nullptr && is_frozen(*find_image(handle)))
        return report_unchangeable(function, handle);
    return record != nullptr ? success : report(function, VIQ_ERR_HANDLE, "Not a WVLT image");
}

void destroy_wavelet_record(void *pointer) {
    auto *record = static_cast<wavelet_record *>(pointer);
    record->magic = 0;
    release_compressor(*record);
    if (!record->decompressor_released)
        destroy_chain(record->decompressor_chain);
    let_go_of_memory(record);
    destroy_owned(record);
}

bool resize_stream(wavelet_record &record, u64 size) {
    const bool resized = try_resize(record.stream, size);
    record.stream_buffer = record.stream.data();
    record.stream_capacity = static_cast<u32>(record.stream.size());
    return resized;
}

bool resize_settings(wavelet_record &record, u64 size) {
    const bool resized = try_resize(record.settings, size);
    record.settings_buffer = record.settings.data();
    record.settings_length = static_cast<u32>(record.settings.size());
    return resized;
}

void clear_stream(wavelet_record &record) {
    (void)resize_stream(record, 0);
    record.stream_length = 0;
}

void release_compressor(wavelet_record &record) {
    destroy_chain(record.compressor_chain);
    destroy_chain(record.compressor_codec);
}

u32 report_module_status(const char *function, u32 status, const char *message) {
    return report(function, low_word(status) | VIQ_ERR_INTERNAL, message);
}

u32 gather_settings(wavelet_record &record) {
    constexpr const char *name = "GetSettings";
    u32 size = 0;
    u32 status = query_module(record.compressor_chain, id_settings, &size, nullptr);
    if (failed(status))
        return report_module_status(name, status, "Can't get settings size");
    const std::size_t held = record.settings.size();
    if (!resize_settings(record, u64{held} + size))
        return report(name, VIQ_ERR_MEMORY, "");
    status =
        query_module(record.compressor_chain, id_settings, &size, record.settings.data() + held);
    if (failed(status)) {
        (void)resize_settings(record, held);
        return report_module_status(name, status, "Can't get settings");
    }
    record.settings_loaded = 0;
    return success;
}

void describe_as_stream(tVIQ_Image &image) {
    image.pixel_format = 0;
    image.data_width = 8;
    image.bits_per_pixel = 8;
    image.width = 0;
    image.height = 0;
    image.bytes_per_line = 0;
    image.lines_per_strip = 1;
}

void describe_stream_of(tVIQ_Image &image, const wavelet_record &record) {
    describe_as_stream(image);
    image.param_16 = record.stream_length;
}

settings_slice settings_of(const wavelet_record &record, u32 component) {
    const u32 size[2] = {record.settings_lengths[0], record.settings_lengths[1]};
    const auto all = static_cast<u32>(record.settings.size());
    const u32 own = component == 0 ? all - size[0] - size[1] : size[component - 1];
    const u32 following = component == 0 ? size[0] + size[1] : component == 1 ? size[1] : 0;
    return {record.settings.data() + (all - following - own), own};
}

} // namespace viq
