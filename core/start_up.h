// Library start-up, which every context runs for itself.
#pragma once

#include "core/types.h"

namespace viq {

// Sets up the error record and the tables of the calling thread's context, as far as they are not
// set up. A failure leaves the tables for the next call to make; the handler that the caller has
// installed in the meantime stays.
u32 start_up();

// The same unless it has been done.
u32 ensure_started();

// For a context that has another context's error record.
u32 start_up_tables();

} // namespace viq
