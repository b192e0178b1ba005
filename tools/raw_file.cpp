#include "tools/raw_file.h"

#include <memory>

#include "tools/file_lines.h"
#include "tools/temporary_folder.h"

namespace tool {

strip_sink raw_sink(const std::string &path, const std::string &name,
                    const coding_options &coding) {
    const std::shared_ptr<std::FILE> file = open_or_fail(path, "wb", name, "cannot be created");
    const auto take = [file, name, padded = coding.padded](uint32_t strip, bool is_last) {
        const pixels from = pixels_of(strip);
        const std::size_t bytes =
            padded ? from.bytes_per_line : packed_bytes(format_of(strip), from.width);
        for (uint32_t y = 0; y < from.lines; ++y)
            if (std::fwrite(from.line(y), 1, bytes, file.get()) != bytes)
                fail_by_system(name, "cannot be written");
        if (is_last && std::fflush(file.get()) != 0)
            fail_by_system(name, "cannot be written");
    };
    return {take};
}

} // namespace tool
