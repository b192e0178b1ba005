// Error reporting.
#pragma once

#include <array>
#include <atomic>

#include "core/types.h"

namespace viq {

// Passes the failure to the installed handler under the library's module number; returns the code.
// Calls that a handler makes return their errors without a report, so that a handler cannot
// recurse.
//
// A failure is reported once, by the function that finds it; its callers pass the code on. Only
// where a caller has a message of its own for a step that a public function does, it reports the
// same code once more, after that function:
// - the image check, except for a limit: every operation ("Corrupt image" and the like)
// - the allocation of a strip: the readers of BMP, TIFF, TGA and EPS files ("")
// - the detection of a file's format: VIQ_image_read ("Failed to recognise file format")
// - the creation of temporary images: VIQ_IP_mirror ("VIQ_image_create(hCropImage) failed")
u32 report(const char *function, u32 code, const char *message);

// The number of the report whose handler is running; 0: none. Every report has another number.
u64 running_report();

// The reports of all contexts whose handlers are running: nearly always none.
extern constinit std::atomic<u32> handlers_running;

// Operations on pixels and changes of shared tables return VIQ_ERR_STATE to a handler, because the
// call that reported may be in the middle of one.
inline bool called_by_handler() {
    return handlers_running.load(std::memory_order_relaxed) != 0 && running_report() != 0;
}

// The calling thread runs a handler, not another thread of the same context.
bool handler_runs_here();

inline u32 low_word(u64 value) {
    return static_cast<u32>(value & 0xFFFF);
}

// The error code of a failed allocation contains the low 16 bits of the size.
u32 report_no_memory(const char *function, u64 size, const char *message = "");

inline u32 report_no_data(const char *function) {
    return report(function, VIQ_ERR_CORRUPT, "No image data");
}

inline u32 report_incomplete(const char *function, u32 lines_per_strip) {
    return report(function, VIQ_ERR_UNSUPPORTED | low_word(lines_per_strip),
                  "This function only supports a complete image");
}

inline u32 report_no_colourmap(const char *function) {
    return report(function, VIQ_ERR_STATE, "Colourmap is NULL");
}

inline u32 report_null(const char *function) {
    return report(function, VIQ_ERR_PARAMETER, "Null pointer");
}

// Start-up: clears the error record, installs the default handler and sets the version.
u32 reset_error_record();

u32 library_version();

// The handlers and versions of all modules, which a new context takes from its maker's.
constexpr u32 module_count = 16;
using error_records = std::array<tVIQ_ErrRecord, module_count>;
error_records copy_error_handlers();
void take_error_handlers(const error_records &from);

// The whole records of the calling thread's context.
error_records copy_error_records();
void set_error_records(const error_records &records);

} // namespace viq
