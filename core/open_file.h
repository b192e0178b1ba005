// Files that are closed at the end of their scope. close_file also reports failed writes.
#pragma once

#include <cstdio>
#include <memory>

#include "core/types.h"

namespace viq {

struct stream_closer {
    void operator()(std::FILE *stream) const { std::fclose(stream); }
};
using unique_stream = std::unique_ptr<std::FILE, stream_closer>;

// Closes the file and reports a failed write or close. A null file is a success.
u32 close_file(const char *function, unique_stream &file);

} // namespace viq
