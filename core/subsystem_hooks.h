// What the image core calls in the subsystems above it. The core includes none of their headers:
// library/hooks.cpp fills this table.
#pragma once

#include "core/types.h"

namespace viq {

struct subsystem_hooks {
    // JPEG images. The functions that take an image require that it has a JPEG record.
    u32 (*jpeg_start_up)();
    u32 (*jpeg_free_data)(u32 image);
    void (*jpeg_destroy_record)(tVIQ_Image &image);
    u32 (*jpeg_copy_parameters)(u32 from, u32 to);
    u32 (*jpeg_build_image)(u32 frame, u32 out, u16 mode);
    void (*jpeg_move_data)(tVIQ_Image &from, tVIQ_Image &to);
    u32 (*jpeg_data_length)(const tVIQ_Image &image);
    void (*jpeg_set_data_length)(tVIQ_Image &image, u32 length);
    void *(*jpeg_data_pointer)(const tVIQ_Image &image, u16 pointer_type);
    void (*jpeg_set_data_pointer)(tVIQ_Image &image, u16 pointer_type, void *value);
    u8 *(*jpeg_identification)(tVIQ_Image &image);
    // The lock of the coded data, which follows the rules for pixel data in core/image.h.
    void (*jpeg_note_lock)(tVIQ_Image &image);
    void (*jpeg_lock_by_caller)(tVIQ_Image &image);
    void (*jpeg_exempt_from_lock)(tVIQ_Image &image);
    bool (*jpeg_holds_locked_data)(tVIQ_Image &image); // false also without a record
    void (*jpeg_note_borrowed)(tVIQ_Image &image);

    // A caller replaces the image's record; one of the library's is destroyed with all images,
    // unless a caller has set it again.
    void (*jpeg_note_replaced)(const tVIQ_Image &image);
    void (*jpeg_destroy_replaced)();

    void (*wavelet_destroy_record)(void *record);

    // Objects that are destroyed together with all images.
    u32 (*destroy_chroma_keys)(u32 handle);
    u32 (*destroy_lookup_tables)(u32 handle);
    u32 (*destroy_displays)(u32 handle);
};

extern const subsystem_hooks hooks;

} // namespace viq
