// What an image object carries when it is a wavelet image.
#pragma once

#include "core/types.h"
#include "wavelet/framework/module.h"

namespace viq {

constexpr u32 record_magic = 0xC0DE1234;
constexpr u32 most_components = 3;

struct wavelet_record {
    u32 magic = record_magic;
    bool settings_changed = true;
    u32 quality = 50;
    u32 coding_type = 0; // 0: with the Huffman stage, 1: without
    u32 subbands = 6;
    module_handle compressor_chain = nullptr;
    module_handle compressor_codec = nullptr;
    std::vector<u8> stream; // as long as what it holds
    u32 stream_length = 0;  // what the reader of a chain may see of it
    u16 source_format = 0;
    u16 components = 0;
    u32 component_bytes[most_components] = {};
    u16 settings_lengths[2] = {}; // of components 1 and 2
    module_handle decompressor_chain = nullptr;
    bool decompressor_released = false; // the handle goes on naming what has been destroyed
    u32 read_position = 0;
    bool settings_loaded = false;
    std::vector<u8> settings; // of component 0, then of the two others

    // What the present settings were gathered for.
    u32 gathered_width = 0, gathered_height = 0;
    u16 gathered_format = 0;
};

// Null when the image is no wavelet image.
wavelet_record *find_record(const tVIQ_Image *image);

// The same for a public function, which reports.
u32 open_record(const char *function, u32 handle, wavelet_record *&record);

// Everything behind a record and the record itself; what the image core calls when an image with
// one goes.
void destroy_record(void *record);

// The compressor's two chains go; the next compression makes fresh ones.
void release_compressor(wavelet_record &record);

// The status of a module as an error of the library.
u32 report_status(const char *function, u32 status, const char *message);

// Appends what the compressor chain answers to the settings.
u32 gather_settings(wavelet_record &record);

// The image object describes the stream of its record.
void describe_as_stream(tVIQ_Image &image);
void describe_stream_of(tVIQ_Image &image, const wavelet_record &record);

// Lengths of the settings of component 0, then where those of components 1 and 2 lie.
struct settings_slice {
    const u8 *data;
    u32 size;
};
settings_slice settings_of(const wavelet_record &record, u32 component);

} // namespace viq
