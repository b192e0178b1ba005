// The kinds of picture files that the tool reads and writes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/coding_options.h"
#include "tools/decoded_picture.h"
#include "tools/input_file.h"
#include "tools/strip_sink.h"
#include "viq.h"

namespace tool {

// Reads one page of a file as a whole. `name` is for error messages.
using whole_reader = decoded_picture (*)(const std::string &path, const std::string &name,
                                         uint32_t page);

// Writes a file that the library has no writer for.
using sink_maker = strip_sink (*)(const std::string &path, const std::string &name,
                                  const coding_options &coding);

struct file_kind {
    uint16_t code; // VIQ_FILE_...; 0 for kinds of the tool
    const char *name;
    std::vector<std::string> extensions; // lower case, with the dot, preferred one first
    // Reads the next strip. Null for kinds that are read as a whole, or not at all.
    uint32_t (*read_strip)(uint32_t handle, uint16_t command);
    std::vector<uint16_t> accepts; // pixel formats that the writer takes, preferred ones first
    bool unpadded = false; // the lines in the file have the image's padding, which must be none
    whole_reader fallback = nullptr; // reads what the library rejects, or all files if code is 0
    sink_maker make_sink = nullptr;  // null: the library writes the file
    uint32_t (*count_pages)(const std::string &path) = nullptr; // null: files have one page

    bool is_readable() const { return code != VIQ_FILE_RAW && (code != 0 || fallback != nullptr); }
    bool is_writable() const { return !accepts.empty(); }
};

// Throws a failure for an unknown extension.
const file_kind &kind_of_extension(const std::string &path);

// Whether the extension is that of picture files that can be read.
bool has_picture_extension(const std::string &path);

// The kind of a type name: an extension with or without its dot.
const file_kind &kind_of_type(const std::string &type);

// Throws a failure for an unknown kind. `name` is for error messages.
const file_kind &kind_of_content(const input_file &input, const std::string &name);

// The extensions of the kinds that can be written and the names of those that can be read,
// separated by blanks.
std::string writable_extensions();
std::string readable_kinds();

// The other libraries that the tool was built with.
std::string linked_libraries();

} // namespace tool
