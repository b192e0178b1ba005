// Statuses of the codec modules: 0, or a failure that identifies the check that failed. A failure
// consists of the failure mark, the site (number of the check, bits 8 to 23) and the kind.
#pragma once

#include "core/types.h"

namespace viq {

enum status_kind : u32 { kind_unsupported = 0, kind_invalid = 1, kind_memory = 2 };

constexpr u32 failure_mark = 0x40000000;

constexpr u32 module_failure(u32 site, status_kind kind) {
    return failure_mark + site * 256 + kind;
}

constexpr bool failed(u32 status) {
    return (status & failure_mark) != 0;
}

// Sites of the framework.
constexpr u32 create_no_handle = module_failure(0x0092, kind_invalid);
constexpr u32 create_bad_upstream = module_failure(0x0097, kind_invalid);
constexpr u32 create_unknown_id = module_failure(0x00A5, kind_invalid);
constexpr u32 create_no_memory = module_failure(0x00B2, kind_memory);
constexpr u32 destroy_invalid = module_failure(0x00DF, kind_invalid);
constexpr u32 query_invalid = module_failure(0x00FB, kind_invalid);
constexpr u32 query_no_size = module_failure(0x00FE, kind_invalid);
constexpr u32 query_no_buffer = module_failure(0x0101, kind_invalid);
constexpr u32 query_short_identity = module_failure(0x0107, kind_invalid);
constexpr u32 set_invalid = module_failure(0x0126, kind_invalid);
constexpr u32 set_no_value = module_failure(0x0129, kind_invalid);
constexpr u32 set_identity = module_failure(0x012E, kind_invalid);
constexpr u32 region_invalid = module_failure(0x0152, kind_invalid);
constexpr u32 region_no_output = module_failure(0x0155, kind_invalid);
constexpr u32 release_invalid = module_failure(0x0171, kind_invalid);
constexpr u32 run_invalid = module_failure(0x018C, kind_invalid);
constexpr u32 run_no_request = module_failure(0x018F, kind_invalid);
constexpr u32 run_no_sink = module_failure(0x0192, kind_invalid);
constexpr u32 describe_invalid = module_failure(0x0218, kind_invalid);
constexpr u32 adapter_outside = module_failure(0x0000, kind_invalid);
constexpr u32 adapter_no_memory = module_failure(0x0000, kind_memory);

// Sites of the "Null" module.
constexpr u32 null_bad_upstream = module_failure(0x0240, kind_invalid);
constexpr u32 null_short_description = module_failure(0x0278, kind_invalid);
constexpr u32 null_short_answer = module_failure(0x0282, kind_invalid);
constexpr u32 null_unknown_query = module_failure(0x028D, kind_invalid);
constexpr u32 null_unknown_set = module_failure(0x02A5, kind_invalid);
constexpr u32 null_bad_description = module_failure(0x02AB, kind_invalid);
constexpr u32 null_no_reader = module_failure(0x02AE, kind_invalid);
constexpr u32 null_nothing_to_read = module_failure(0x02E2, kind_invalid);

// Sites of the "DWT codec" module.
constexpr u32 codec_no_configuration = module_failure(0x009E, kind_invalid);
constexpr u32 codec_bad_configuration = module_failure(0x00A4, kind_invalid);
constexpr u32 codec_bad_mode = module_failure(0x00B0, kind_invalid);
constexpr u32 codec_short_quality = module_failure(0x01B1, kind_invalid);
constexpr u32 codec_no_quality = module_failure(0x01B7, kind_unsupported);
constexpr u32 codec_short_new_quality = module_failure(0x0209, kind_invalid);
constexpr u32 codec_sets_no_quality = module_failure(0x0217, kind_unsupported);
constexpr u32 codec_bad_quality = module_failure(0x02D6, kind_invalid);

// Sites of the stages.
constexpr u32 stage_bad_configuration = module_failure(0x0401, kind_invalid);
constexpr u32 stage_no_memory = module_failure(0x0402, kind_memory);
constexpr u32 stage_short_buffer = module_failure(0x0403, kind_invalid);
constexpr u32 stage_out_of_order = module_failure(0x0404, kind_invalid);
constexpr u32 shifter_bad_target = module_failure(0x0411, kind_invalid);
constexpr u32 shifter_no_conversion = module_failure(0x0412, kind_memory);
constexpr u32 shifter_bad_component = module_failure(0x0413, kind_invalid);
constexpr u32 shifter_outside = module_failure(0x0414, kind_invalid);
constexpr u32 transform_bad_decompositions = module_failure(0x0421, kind_invalid);
constexpr u32 transform_bad_size = module_failure(0x0422, kind_invalid);
constexpr u32 transform_outside_band = module_failure(0x0423, kind_invalid);
constexpr u32 quantiser_short_settings = module_failure(0x0399, kind_invalid);
constexpr u32 quantiser_wrong_settings = module_failure(0x039C, kind_invalid);
constexpr u32 quantiser_unknown_version = module_failure(0x039F, kind_invalid);
constexpr u32 quantiser_truncated_settings = module_failure(0x03A2, kind_invalid);
constexpr u32 quantiser_no_memory = module_failure(0x03A5, kind_memory);
constexpr u32 quantiser_bad_type = module_failure(0x03B1, kind_invalid);
constexpr u32 quantiser_bad_control = module_failure(0x03B2, kind_invalid);
constexpr u32 quantiser_bad_component = module_failure(0x03B3, kind_invalid);
constexpr u32 quantiser_no_step = module_failure(0x03B4, kind_invalid);
constexpr u32 settings_short = module_failure(0x0431, kind_invalid);
constexpr u32 settings_wrong_module = module_failure(0x0432, kind_invalid);
constexpr u32 settings_unknown_version = module_failure(0x0433, kind_invalid);
constexpr u32 serialiser_bad_shape = module_failure(0x0441, kind_invalid);
constexpr u32 serialiser_corrupt = module_failure(0x0442, kind_invalid);
constexpr u32 streaming_wrong_coder = module_failure(0x0451, kind_invalid);
constexpr u32 streaming_truncated = module_failure(0x0452, kind_invalid);
constexpr u32 huffman_truncated = module_failure(0x0461, kind_invalid);
constexpr u32 huffman_corrupt = module_failure(0x0462, kind_invalid);
constexpr u32 huffman_bad_table = module_failure(0x0463, kind_invalid);

} // namespace viq
