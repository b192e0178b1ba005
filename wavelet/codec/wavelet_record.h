// The record of a wavelet image: coding parameters, module chains, settings and compressed stream.
#pragma once

#include "core/types.h"
#include "wavelet/framework/module.h"

namespace viq {

constexpr u32 wavelet_record_magic = 0xC0DE1234;
constexpr u32 max_components = 3;

// Callers reach the record through the data pointer of the image. The fields up to the settings
// buffer have a documented layout. Records are value-initialised, so that the padding is 0.
struct wavelet_record {
    u32 magic = wavelet_record_magic;
    u32 settings_changed = 1;
    u32 quality = 50;
    u32 coding_type = 0; // entropy coder: 0 Huffman, 1 rANS
    u32 subbands = 6;    // requested decompositions
    module_handle compressor_chain = nullptr;
    module_handle compressor_codec = nullptr;
    const u8 *stream_buffer = nullptr; // of `stream`
    u32 stream_capacity = 0;
    u32 stream_length = 0; // while decompressing: of the current component
    u16 source_format = 0;
    u16 components = 0;
    u32 component_bytes[max_components] = {};
    u16 settings_lengths[2] = {}; // of components 1 and 2; 0: not yet gathered
    module_handle decompressor_chain = nullptr;
    u32 read_position = 0;   // in the stream, of the current component
    u32 settings_loaded = 0; // into the decompressor chain
    u32 settings_length = 0;
    const u8 *settings_buffer = nullptr; // of `settings`

    // Private state. The buffers are resized by the functions below, which update the fields above.
    vector<u8> stream;
    vector<u8> settings;                // of component 0, then of components 1 and 2
    bool decompressor_released = false; // decompressor_chain refers to a destroyed instance

    u32 optimisation = 0; // VIQ_WVLT_set_optimisation

    // Shape of the image that the settings were gathered for.
    u32 gathered_width = 0, gathered_height = 0;
    u16 gathered_format = 0;
};

// Returns null if the image is not a wavelet image.
wavelet_record *find_wavelet_record(const tVIQ_Image *image);

// The same for a public function; reports an error if the image is not a wavelet image.
u32 open_wavelet_record(const char *function, u32 handle, wavelet_record *&record);

// Destroys a record, its chains and its buffers. The image core calls this when it destroys a
// wavelet image.
void destroy_wavelet_record(void *record);

// Resize the buffers of a record; false if the allocation fails. The stream length is not changed.
[[nodiscard]] bool resize_stream(wavelet_record &record, u64 size);
[[nodiscard]] bool resize_settings(wavelet_record &record, u64 size);

// Empties the stream.
void clear_stream(wavelet_record &record);

// Destroys the compressor's chain and codec; the next compression creates others.
void release_compressor(wavelet_record &record);

// Reports a module status as an internal error with the low word of the status.
u32 report_module_status(const char *function, u32 status, const char *message);

// Appends the settings of the compressor chain to the settings of the record.
u32 gather_settings(wavelet_record &record);

// Sets the fields of an image object to those of a byte stream.
void describe_as_stream(tVIQ_Image &image);
void describe_stream_of(tVIQ_Image &image, const wavelet_record &record);

// The settings of one component within the settings of the record.
struct settings_slice {
    const u8 *data;
    u32 size;
};
settings_slice settings_of(const wavelet_record &record, u32 component);

} // namespace viq
