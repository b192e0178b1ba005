#include "core/seams.h"

#include "wavelet/codec/record.h"

namespace viq {

const upper_seams upper = {
    .jpeg_start_up = nullptr,
    .jpeg_free_data = nullptr,
    .jpeg_destroy_record = nullptr,
    .jpeg_copy_parameters = nullptr,
    .jpeg_build_image = nullptr,
    .jpeg_move_data = nullptr,
    .jpeg_data_length = nullptr,
    .jpeg_set_data_length = nullptr,
    .jpeg_data_pointer = nullptr,
    .jpeg_identification = nullptr,
    .wavelet_destroy_record = destroy_record,
    .destroy_chroma_keys = nullptr,
    .destroy_lookup_tables = nullptr,
    .destroy_displays = nullptr,
};

} // namespace viq
