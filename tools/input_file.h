// Files to read, under names that the library can open any number of times.
#pragma once

#include <memory>
#include <string>

#include "tools/temporary_folder.h"

namespace tool {

struct input_file {
    std::string path; // of the file or of a copy of or a link to it
    std::shared_ptr<temporary_folder> folder =
        nullptr;                  // of the copy or link; null if there is none
    std::string first_bytes = {}; // at most 16
};

// Throws a failure with the system's reason if the file cannot be opened. Standard input, pipes and
// devices are copied to a temporary file, because pictures are read from several positions. A name
// that is too long for the library is replaced by a link.
input_file open_input(const std::string &name);

} // namespace tool
