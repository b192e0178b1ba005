// Framework of processing modules that are connected to chains.
//
// A module type is a descriptor in the registry. An instance pulls its input from its upstream
// instance. A chain is driven from its downstream end: the run loop requests regions of the output
// of the last module (the head), and each module requests the input that it needs from its
// upstream.
#pragma once

#include "wavelet/framework/module_status.h"

namespace viq {

struct module_instance;
using module_handle = module_instance *;

// Lines of bytes that a module provides until they are released. Width and height are the requested
// size on entry and the delivered size on return; the stride is in bytes. Between the stages of the
// decompressor, a stride of 0 means that all lines are equal.
struct region {
    u32 width = 0, height = 0;
    const u8 *data = nullptr;
    u32 stride = 0;
};

// The operations of a module; `self` is its instance data. All of them return a status.
//
//   init            creates the instance; without an upstream, a stage creates a "Null" module
//   destroy         releases what the instance owns, also after a failed init
//   query           writes the value named by `id` to the buffer; `size` is the capacity of the
//                   buffer on entry and the size of the value on return
//   set             sets the value named by `id`
//   get_region      provides a region of a plane of the output
//   release_region  releases a region that get_region has provided
struct module_operations {
    u32 (*init)(void *self, u32 size, const void *configuration, module_handle upstream);
    u32 (*destroy)(void *self);
    u32 (*query)(void *self, u32 id, u32 &size, void *buffer);
    u32 (*set)(void *self, u32 id, u32 size, const void *value);
    u32 (*get_region)(void *self, u32 plane, u32 x, u32 y, region &requested);
    u32 (*release_region)(void *self, const u8 *data);
};

constexpr u32 module_version = 0x01000000;
constexpr u32 module_name_size = 32;

struct module_descriptor {
    u32 id;
    u32 instance_size;
    u32 version;
    char name[module_name_size];
    module_operations operations;
};

enum module_id : u32 {
    null_id = 0,
    codec_id = 2,
    level_shifter_id = 3,
    transform_id = 4,
    quantiser_id = 5,
    serialiser_id = 6,
    huffman_id = 7,
    streaming_id = 8,
};

extern const module_descriptor null_module, codec_module, level_shifter_module, transform_module,
    quantiser_module, serialiser_module, huffman_module, streaming_module;

const module_descriptor *find_module(u32 id);

// Identifiers of query and set. A module passes identifiers that it does not know to its upstream.
enum value_id : u32 {
    id_identity = 0,
    id_source = 1, // set without a value: end of a run
    id_subbands = 2,
    id_output = 3,
    id_settings = 4,
    id_next_component = 5,
    id_quality = 289,
    id_decompositions = 321,
    id_quantiser_control = 353,
    id_component = 355,
    id_entropy_coder = 4097, // between the entropy stages: see entropy_coder
    id_destination = 4098,   // to a quantiser or level shifter: see region_destination
    id_headroom = 4099,      // query: bits by which the delivered coefficients are shifted right
    id_optimisation = 4100,  // set: a compressor's level, see VIQ_WVLT_set_optimisation
    id_value_parts = 4101,   // query: value_parts if the last region had values in parts of a step
};

// Types of samples, and of the pixels of a source or an output.
enum sample_type : u32 {
    type_signed_8 = 0,
    type_bytes = 1, // unsigned samples, or a byte stream
    type_signed_16 = 2,
    type_unsigned_16 = 3,
    type_jpeg_work = 4,
    type_rgb15 = 10,
    type_rgb16 = 11,
    type_rgb24 = 12,
    type_rgb8 = 13,
    type_rgbx32 = 14,
    type_yuv422 = 20,
    type_unspecified = 22, // the initial type of the "Null" module
    type_wavelet = 23,     // signed, centred on 0, with 6 fractional bits
};

// Configuration of the "DWT codec". The modes of each direction are in the order of the coding
// types.
enum codec_mode : u32 { compress_huffman, compress_rans, decompress_huffman, decompress_rans };

// Buffer for the next region that is requested from a quantiser, or for all regions of the run of a
// level shifter. A module that supports it writes the region there and returns this address as its
// data, which saves a copy; other modules reject the id and provide the region in a buffer of their
// own.
struct region_destination {
    u8 *data;
    u32 stride;
    u32 lines; // that fit
};

// The function of a source that provides its regions.
using region_reader = u32 (*)(void *context, u32 x, u32 y, region &requested);

struct source_description {
    u32 type;
    u32 width;
    u32 height; // 0: a byte stream of unknown length
    region_reader reader;
    void *context;
};

// The size that is passed for a source description, independent of the size of pointers.
constexpr u32 source_description_size = 20;

// The output of a module; height 0 means a byte stream of unknown length.
struct output_description {
    u32 type, width, height;
};

// Receives the blocks of a run; a failure status ends the run.
using region_sink = u32 (*)(void *context, u32 x, u32 y, const region &delivered);

struct run_request {
    u32 block_width;  // 0: 384
    u32 block_height; // 0: 32
    region_sink sink;
    void *context;
};

u32 create_module(module_handle *handle, u32 id, u32 size, const void *configuration,
                  module_handle upstream);
u32 destroy_module(module_handle handle);
u32 query_module(module_handle handle, u32 id, u32 *size, void *buffer);
u32 set_module(module_handle handle, u32 id, u32 size, const void *value);
u32 get_region(module_handle handle, u32 plane, u32 x, u32 y, region *requested);
u32 release_region(module_handle handle, const u8 *data);
u32 describe_output(module_handle handle, output_description &description);
// The run loop: delivers the output of a module to the sink block by block, row after row, and ends
// the run by setting id_source without a value. A byte stream ends with a region without data, or
// with one that is not narrower than its stride. `info` may be null.
u32 run_module(module_handle handle, const run_request *request, output_description *info);

// Whether a handle refers to an instance that has not been destroyed.
bool is_instance(module_handle handle);

} // namespace viq
