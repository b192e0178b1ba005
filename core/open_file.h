// An open file closes itself; closing it by hand tells of bytes that did not reach the disk.
#pragma once

#include <cstdio>
#include <memory>

#include "core/types.h"

namespace viq {

struct stream_closer {
    void operator()(std::FILE *stream) const { std::fclose(stream); }
};
using unique_stream = std::unique_ptr<std::FILE, stream_closer>;

// Every byte has reached the file, or the failure is reported here. No file is a success.
u32 close_file(const char *function, unique_stream &file);

} // namespace viq
