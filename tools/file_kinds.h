// The kinds of picture files that the tool reads and writes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "viq.h"

namespace tool {

struct file_kind {
    uint16_t code; // VIQ_FILE_...
    const char *name;
    const char *extension; // lower case, with its dot
    // Reads the next strip. Null for kinds that are read as a whole, or not at all.
    uint32_t (*read_strip)(uint32_t handle, uint16_t command);
    std::vector<uint16_t> accepts; // pixel formats that the writer takes, preferred ones first
    bool unpadded = false; // the lines in the file have the image's padding, which must be none
};

// Throws a failure for an unknown extension.
const file_kind &kind_of_extension(const std::string &path);

// Opens the file, detects its kind and closes it. Throws a failure for an unknown kind.
const file_kind &kind_of_content(const std::string &path);

// All extensions, separated by blanks.
std::string known_extensions();

} // namespace tool
