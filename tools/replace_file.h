// Replaces a file only after its new content is complete.
#pragma once

#include <functional>
#include <string>

namespace tool {

// Calls `write` with the name of a temporary file in the same folder and then renames that file to
// `path`. If anything fails, the temporary file is removed and `path` is unchanged. Devices, pipes
// and standard output ("-") receive a copy of the complete temporary file.
void replace_file(const std::string &path,
                  const std::function<void(const std::string &temporary)> &write);

} // namespace tool
