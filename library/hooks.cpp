// Connects the image core with the subsystems above it.
#include "core/subsystem_hooks.h"

#include "jpeg/jpeg_record.h"
#include "wavelet/codec/wavelet_record.h"

namespace viq {

const subsystem_hooks hooks = {
    .jpeg_start_up = jpeg_start_up,
    .jpeg_free_data = VIQ_JPEG_free_data,
    .jpeg_destroy_record = jpeg_destroy_record,
    .jpeg_copy_parameters = VIQ_JPEG_copy_parameters,
    .jpeg_build_image = VIQ_JPEG_build_image,
    .jpeg_move_data = jpeg_move_data,
    .jpeg_data_length = jpeg_data_length,
    .jpeg_set_data_length = jpeg_set_data_length,
    .jpeg_data_pointer = jpeg_data_pointer,
    .jpeg_set_data_pointer = jpeg_set_data_pointer,
    .jpeg_identification = jpeg_identification,
    .jpeg_note_lock = jpeg_note_lock,
    .jpeg_lock_by_caller = jpeg_lock_by_caller,
    .jpeg_exempt_from_lock = jpeg_exempt_from_lock,
    .jpeg_holds_locked_data = holds_locked_data,
    .jpeg_note_borrowed = jpeg_note_borrowed,
    .jpeg_note_replaced = jpeg_note_replaced,
    .jpeg_destroy_replaced = jpeg_destroy_replaced,
    .wavelet_destroy_record = destroy_wavelet_record,
    .destroy_chroma_keys = VIQ_CK_destroy,
    .destroy_lookup_tables = VIQ_LUT_destroy,
    .destroy_displays = VIQ_display_destroy,
};

} // namespace viq
