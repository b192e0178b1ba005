// The JPEG record that an image carries, and who owns its buffer of coded data.
#pragma once

#include <cstdio>

#include "core/image.h"

namespace viq {

// Null for handles without an image and for images without a record.
Tjpeg *find_record(u32 handle);

// The record, or null after the report that every function without one makes.
Tjpeg *need_record(const char *function, u32 handle);

// That report: no image, an image without a record, or one that an error handler may not change.
u32 report_no_record(const char *function, u32 handle);

// The record gets a file that the library has opened and closes with the record.
void take_file(Tjpeg &record, std::FILE *file);

// The record loses its file, which is closed unless a caller has set it.
void drop_file(Tjpeg &record);

// The record holds so many bytes that may be read, as far as its buffer is known.
bool has_data(const tVIQ_Image &image);

// Bytes that may be written to the data.
u64 data_room(const tVIQ_Image &image);

// Makes room for so many bytes and keeps those that are there; false when memory runs out or the
// buffer is a caller's.
bool grow_data(tVIQ_Image &image, u64 bytes);

// Cuts the library's own buffer to the data that it holds; false when memory runs out.
bool cut_data(tVIQ_Image &image);

// Frees the data whatever the lock says, but for a caller's locked buffer, which becomes empty.
void drop_data(tVIQ_Image &image);

// A caller's locked buffer, which stays where it is.
bool holds_locked_data(tVIQ_Image &image);

// The hooks of the image core.
u32 jpeg_start_up();
void jpeg_move_data(tVIQ_Image &from, tVIQ_Image &to);
u32 jpeg_data_length(const tVIQ_Image &image);
void jpeg_set_data_length(tVIQ_Image &image, u32 length);
void *jpeg_data_pointer(const tVIQ_Image &image, u16 pointer_type);
void jpeg_set_data_pointer(tVIQ_Image &image, u16 pointer_type, void *value);
u8 *jpeg_identification(tVIQ_Image &image);
void jpeg_note_lock(tVIQ_Image &image);
void jpeg_lock_by_caller(tVIQ_Image &image);
void jpeg_exempt_from_lock(tVIQ_Image &image);

} // namespace viq
