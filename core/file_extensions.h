// The extensions of the files that the library writes, in lower case: one table for VIQ_save and
// the tool. The first one of a file format is the usual one.
#pragma once

#include <string_view>

#include "core/types.h"

namespace viq {

struct file_extension {
    std::string_view text;
    u32 file_format;
};

inline constexpr file_extension file_extensions[] = {
    {".bmp", VIQ_FILE_BMP},      {".tif", VIQ_FILE_TIFF}, {".tiff", VIQ_FILE_TIFF},
    {".tga", VIQ_FILE_TGA},      {".eps", VIQ_FILE_EPS},  {".jpg", VIQ_FILE_JPEG},
    {".jpeg", VIQ_FILE_JPEG},    {".raw", VIQ_FILE_RAW},  {".dwt", VIQ_FILE_WAVELET},
    {".wvlt", VIQ_FILE_WAVELET},
};

} // namespace viq
