// Files that are replaced only when their new contents are complete.
#pragma once

#include <filesystem>

#include "core/file_io.h"

namespace viq {

struct replaced_file {
    std::filesystem::path target;
    std::filesystem::path written; // the new contents until they are complete
};

// Creates the file that is written: a new one beside the target, whose name ends with the number,
// or the target itself if it is a device or a pipe. The caller closes the stream. Throws if memory
// runs out.
u32 open_replacement(const char *function, const char *path, u32 number, replaced_file &file,
                     unique_stream &stream);

// Replaces the target. The stream has been closed.
u32 finish_replacement(const char *function, const replaced_file &file);

// Removes the new contents; a device or a pipe keeps what it has received.
void discard_replacement(const replaced_file &file);

} // namespace viq
