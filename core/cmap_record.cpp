// Creation, destruction and copying of the colourmap record.
#include "core/cmap_record.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/colourmap_rows.h"
#include "core/cpu.h"
#include "core/image.h"
#include "core/report.h"

using namespace viq;

tVIQ_CmapInfo *VIQ_cmap_create_info(void) {
    auto *info = static_cast<tVIQ_CmapInfo *>(allocate_for_caller(sizeof(tVIQ_CmapInfo)));
    if (info == nullptr)
        return nullptr;
    std::memset(info, 0, sizeof *info);
    for (tVIQ_CmapBin &bin : info->bins)
        bin.value = bin.occurrences = bin.index = 0xAA;
    info->red_bits = info->green_bits = info->blue_bits = 4;
    info->grey_bits = 8;
    info->colours_to_generate = 256;
    return info;
}

u32 VIQ_cmap_destroy_info(u32 hImage) {
    tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return success;
    if (is_frozen(*image))
        return report_unchangeable("VIQ_cmap_destroy_info", hImage);
    destroy_cmap_info(*image);
    return success;
}

u32 VIQ_cmap_copy(u32 hInImage, u32 hOutImage) {
    const tVIQ_Image *in = find_image(hInImage);
    tVIQ_Image *out = find_image(hOutImage);
    if (in == nullptr || out == nullptr)
        return report_bad_handle("VIQ_cmap_copy");
    if (in == out)
        return success;
    if (is_frozen(*out))
        return report_unchangeable("VIQ_cmap_copy", hOutImage);
    return copy_colourmap(*in, *out);
}

namespace viq {

namespace {

const colourmap_kernels &colourmap_rows() {
    constexpr kernel_sets<colourmap_kernels> sets = {&plain_colourmaps,
                                                     VIQ_AVX2_TABLE(avx2_colourmaps), nullptr,
                                                     VIQ_AVX512_TABLE(avx512_colourmaps)};
    return current_kernels(sets);
}

} // namespace

constexpr colourmap_kernels plain_colourmaps = {copy_colours_loop};

u32 copy_colourmap(const tVIQ_Image &in, tVIQ_Image &out) {
    out.num_colours = in.num_colours;
    if (in.colourmap != nullptr && out.colourmap != nullptr && in.colourmap != out.colourmap)
        colourmap_rows().copy_colours(in.colourmap, out.colourmap);
    if (in.cmap_info != nullptr) {
        if (!need_cmap_info(out))
            return report("VIQ_cmap_copy", VIQ_ERR_MEMORY, "Cannot create cmap info structure");
        *out.cmap_info = *in.cmap_info;
    }
    return success;
}

u32 colour_count(const tVIQ_Image &image) {
    return std::min<u32>(image.num_colours, colourmap_size);
}

tVIQ_Colour &colour_entry(tVIQ_Image &image, u32 index) {
    return index < colourmap_size ? image.colourmap[index] : companion(image).spare_colour;
}

bool need_cmap_info(tVIQ_Image &image) {
    if (image.cmap_info == nullptr) {
        companion(image).cmap_info = image.cmap_info = VIQ_cmap_create_info();
        update_seen(image);
    }
    return image.cmap_info != nullptr;
}

void destroy_cmap_info(tVIQ_Image &image) {
    image_companion &own = companion(image);
    if (image.cmap_info != own.borrowed_info)
        std::free(image.cmap_info);
    image.cmap_info = own.cmap_info = nullptr;
    own.borrowed_info = nullptr;
    update_seen(image);
}

} // namespace viq
