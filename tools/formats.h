// Names of pixel formats, and the kinds of files that the tool writes.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "viq.h"

namespace tool {

struct format_name {
    u16 code;
    const char *name;
    bool offered; // a conversion leads there
};

// Ordered by how much of a picture a format keeps; route searching prefers earlier ones.
std::span<const format_name> formats();

std::string name_of(u16 format);

// 0 for an unknown name.
u16 format_named(const std::string &name);

struct file_kind {
    u16 code;
    const char *name;
    const char *extension;    // with its dot, lower case
    std::vector<u16> accepts; // pixel formats that the writer takes, the preferred first
};

// The kind that the path's extension asks for; an unknown one is a failure.
const file_kind &kind_of_path(const std::string &path);

std::string kind_name(u16 code);

} // namespace tool
