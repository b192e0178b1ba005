// Where a picture is on the paper. All lengths are in 1/100 mm.
#pragma once

#include "core/types.h"

namespace viq {

struct paper_size {
    u32 width = 0; // of the paper as it is fed
    u32 height = 0;
    bool operator==(const paper_size &) const = default;
};

constexpr paper_size a4_paper = {21000, 29700};

// Paper of a known name, in upper or lower case, or of a size such as "210x297" in mm; {}: unknown.
paper_size find_paper(const char *text);

// The size that the name of a medium ends with, as in "iso_a4_210x297mm"; {}: it ends with none.
paper_size size_in_media_name(const char *name);

// The name of a medium of this size for a print system: that of a known paper, or a custom one.
constexpr std::size_t media_name_size = 80;
void write_media_name(const paper_size &paper, char (&name)[media_name_size]);

// An area of a page, whose upper left corner is the origin.
struct page_area {
    double x = 0, y = 0;
    double width = 0, height = 0;
};

struct page_layout {
    bool turned = false;    // the page must be turned clockwise by 90 degrees to view the picture
    page_area picture = {}; // of the page as it is viewed
};

// The same area on the page as it is fed.
page_area area_as_fed(const page_layout &layout, const paper_size &paper);

// Reports options that are out of range.
u32 check_print_options(const char *function, const tVIQ_PrintOptions &options);

// Places a picture of a size in pixels, which is not 0.
u32 place_picture(const char *function, const tVIQ_PrintOptions &options, const paper_size &paper,
                  u32 width, u32 height, page_layout &layout);

} // namespace viq
