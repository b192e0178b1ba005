// Creation, generation and destruction of lookup tables.
#include "process/lookup_tables.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

#include "core/context.h"
#include "core/full_precision.h"
#include "core/image.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr u32 lut_slots = 15;
constexpr u32 all_luts = VIQ_ALL_IMAGES;

struct lut_table {
    owned<lookup_table> slots[lut_slots];
};

VIQ_PER_CONTEXT(lut_table, luts);

u32 check_size(u32 elements, u16 element_size);
owned<lookup_table> make_lut(u32 elements, u16 element_size);
lookup_table *lut_of(u32 handle);
template <class Element>
void fill_tables(vector<Element> (&tables)[lut_tables], const lut_settings &settings,
                 double largest);

} // namespace

u32 VIQ_LUT_create(u32 dwElements, u16 wElementSize) {
    constexpr const char *name = "VIQ_LUT_create";
    const auto slot = std::find(std::begin(luts->slots), std::end(luts->slots), nullptr);
    if (slot == std::end(luts->slots))
        return report(name, VIQ_ERR_NO_HANDLES, "");
    const u32 code = check_size(dwElements, wElementSize);
    if (is_error(code))
        return code;
    *slot = make_lut(dwElements, wElementSize);
    if (*slot == nullptr)
        return report_no_memory(name, u64{dwElements} * wElementSize);
    return static_cast<u32>(slot - std::begin(luts->slots)) + 1;
}

void *VIQ_LUT_get_ptr(u32 hLut, u16 wMask) {
    lookup_table *lut = lut_of(hLut);
    if (lut == nullptr)
        return nullptr;
    for (u32 n = 0; n < lut_tables; ++n)
        if (wMask == 8u >> n)
            return lut->element_size == 1 ? static_cast<void *>(lut->bytes[n].data())
                                          : static_cast<void *>(lut->words[n].data());
    return nullptr;
}

u32 VIQ_LUT_destroy(u32 hLut) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    for (u32 handle = 1; handle <= lut_slots; ++handle)
        if (hLut == handle || hLut == all_luts)
            luts->slots[handle - 1].reset();
    return success;
}

u32 VIQ_LUT_generate(u32 hLut, i16 brightness, i16 contrast, i16 gamma, i16 gain2, i16 gain3,
                     i16 gain4) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    lookup_table *lut = lut_of(hLut);
    if (lut == nullptr)
        return report_bad_handle("VIQ_LUT_generate");
    const auto percent = [](i16 value) { return std::clamp(value, i16{0}, i16{200}); };
    lut->settings = {percent(brightness),
                     percent(contrast),
                     std::clamp(gamma, i16{25}, i16{400}),
                     {percent(gain2), percent(gain3), percent(gain4)}};
    if (lut->element_size == 1)
        fill_tables(lut->bytes, lut->settings, 255.0);
    else
        fill_tables(lut->words, lut->settings, static_cast<double>(lut->elements) - 1);
    return success;
}

namespace viq {

const lookup_table *find_lut(u32 handle) {
    return lut_of(handle);
}

} // namespace viq

namespace {

u32 check_size(u32 elements, u16 element_size) {
    constexpr const char *name = "VIQ_LUT_create";
    if (element_size != 1 && element_size != 2)
        return report(name, VIQ_ERR_PARAMETER | 3, "element size must be 1 or 2 bytes");
    if (elements > (element_size == 1 ? 256u : 65536u))
        return report(name, VIQ_ERR_PARAMETER | element_size, "too many LUT elements");
    if (elements == 0)
        return report(name, VIQ_ERR_PARAMETER, "too few LUT elements");
    return success;
}

template <class Element> void fill_identity(vector<Element> &table) {
    std::iota(table.begin(), table.end(), Element{0});
}

template <class Element> bool make_tables(vector<Element> (&tables)[lut_tables], u32 elements) {
    for (vector<Element> &table : tables) {
        if (!try_resize(table, elements))
            return false;
        fill_identity(table);
    }
    return true;
}

owned<lookup_table> make_lut(u32 elements, u16 element_size) {
    auto lut = make_owned<lookup_table>();
    if (lut == nullptr)
        return nullptr;
    lut->elements = elements;
    lut->element_size = element_size;
    lut->settings = {100, 100, 100, {100, 100, 100}};
    const bool made =
        element_size == 1 ? make_tables(lut->bytes, elements) : make_tables(lut->words, elements);
    return made ? std::move(lut) : nullptr;
}

lookup_table *lut_of(u32 handle) {
    return handle >= 1 && handle <= lut_slots ? luts->slots[handle - 1].get() : nullptr;
}

bool is_neutral(const lut_settings &s) {
    return s.brightness == 100 && s.contrast == 100 && s.gamma == 100 &&
           std::all_of(std::begin(s.gain), std::end(s.gain), [](i16 gain) { return gain == 100; });
}

// n (i / n) ^ (100 / gamma). For a gamma of 100 the logarithms would not give i exactly.
double gamma_corrected(double i, double n, i16 gamma) {
    const double k = 100.0 / gamma;
    return gamma == 100 ? i : std::exp(k * std::log(i) - (k - 1) * std::log(n));
}

template <class Element>
void fill_tables(vector<Element> (&tables)[lut_tables], const lut_settings &settings,
                 double largest) {
    if (is_neutral(settings)) {
        for (vector<Element> &table : tables)
            fill_identity(table);
        return;
    }
    const full_precision precision;
    const std::size_t n = tables[0].size();
    const double middle = static_cast<double>(n / 2);
    for (vector<Element> &table : tables)
        table[0] = 0;
    for (std::size_t i = 1; i < n; ++i) {
        const double g =
            gamma_corrected(static_cast<double>(i), static_cast<double>(n), settings.gamma);
        const double v =
            middle + (g - middle) * settings.contrast * 0.01 + settings.brightness * 0.5 - 50.0;
        for (u32 t = 0; t < lut_tables; ++t) {
            const double gained = t == 0 ? v : v * (1 + (settings.gain[t - 1] - 100) * 0.01);
            tables[t][i] = static_cast<Element>(std::clamp(gained, 0.0, largest));
        }
    }
}

} // namespace
