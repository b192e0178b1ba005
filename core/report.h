// Error reporting.
#pragma once

#include "core/types.h"

namespace viq {

// Calls the installed handler with the library's module number and returns the code. Failures of
// calls that a handler makes are only returned, because a handler that calls itself would not end.
u32 report(const char *function, u32 code, const char *message);

// The number of reports whose handler has not returned yet.
unsigned running_handlers();

// Handlers must not process pixels or change shared tables, because the call that reported may not
// have finished doing so.
inline bool called_by_handler() {
    return running_handlers() != 0;
}

inline u32 low_word(u64 value) {
    return static_cast<u32>(value & 0xFFFF);
}

// The code has the low 16 bits of the requested size as its detail.
u32 report_no_memory(const char *function, u64 size, const char *message = "");

inline u32 report_no_data(const char *function) {
    return report(function, VIQ_ERR_CORRUPT, "No image data");
}

inline u32 report_no_colourmap(const char *function) {
    return report(function, VIQ_ERR_STATE, "Colourmap is NULL");
}

inline u32 report_null(const char *function) {
    return report(function, VIQ_ERR_PARAMETER, "Null pointer");
}

// Clears the error record, installs the default handler and sets the version.
u32 reset_error_record();

u32 library_version();

} // namespace viq
