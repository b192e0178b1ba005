// Chroma-key objects and key colours.
#include "camera/key_objects.h"

#include <iterator>
#include <optional>

#include "convert/named_colours.h"
#include "core/context.h"
#include "core/image.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr u32 key_slots = 3;

struct key_table {
    std::optional<key_object> slots[key_slots];
};

VIQ_PER_CONTEXT(key_table, table);

// The object's field with this identifier, or null with the error reported and stored in `code`.
u16 *find_field(const char *function, u32 handle, u16 parameter, u32 &code);

} // namespace

u32 VIQ_CK_create(void) {
    for (u32 n = 0; n < key_slots; ++n)
        if (!table->slots[n]) {
            table->slots[n] = key_object{340, 20, 120, 64};
            return n + 1;
        }
    return report("VIQ_CK_create", VIQ_ERR_NO_HANDLES, "");
}

u32 VIQ_CK_destroy(u32 hCK) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    for (u32 n = 0; n < key_slots; ++n)
        if (hCK == n + 1 || hCK == VIQ_ALL_IMAGES)
            table->slots[n].reset();
    return success;
}

u32 VIQ_CK_set_parameter(u32 hCK, u16 wParameter, u16 wValue) {
    u32 code = success;
    if (u16 *value = find_field("VIQ_CK_set_parameter", hCK, wParameter, code))
        *value = wValue;
    return code;
}

u32 VIQ_CK_get_parameter(u32 hCK, u16 wParameter) {
    u32 code = success;
    const u16 *value = find_field("VIQ_CK_get_parameter", hCK, wParameter, code);
    return value != nullptr ? *value : code;
}

u32 VIQ_CK_get_YUV_values(u16 wColour) {
    if (wColour >= std::size(named_colours))
        return report("VIQ_CK_get_YUV_values", VIQ_ERR_PARAMETER, "Unrecognized colour");
    const named_colour &colour = named_colours[wColour];
    return VIQ_CK_get_YUV_values_RGB(colour.red, colour.green, colour.blue);
}

u32 VIQ_CK_get_component(u16 wColour, u16 wComponent) {
    constexpr u32 first = 500, second = 501, third = 503;
    if (wComponent != first && wComponent != second && wComponent != third)
        return (wComponent - third) & ~u32{0xFF};
    const u32 values = VIQ_CK_get_YUV_values(wColour);
    if (wColour >= std::size(named_colours) || wComponent == first)
        return values;
    return values >> (wComponent == second ? 8 : 16);
}

namespace viq {

key_object *find_key_object(u32 handle) {
    return handle >= 1 && handle <= key_slots && table->slots[handle - 1]
               ? &*table->slots[handle - 1]
               : nullptr;
}

} // namespace viq

namespace {

u16 *find_field(const char *function, u32 handle, u16 parameter, u32 &code) {
    key_object *object = find_key_object(handle);
    if (object == nullptr) {
        code = report_bad_handle(function);
        return nullptr;
    }
    switch (parameter) {
    case VIQ_CK_HUE_CENTRE:
        return &object->hue_centre;
    case VIQ_CK_HUE_TOLERANCE:
        return &object->hue_tolerance;
    case VIQ_CK_LUMA_CENTRE:
        return &object->luma_centre;
    case VIQ_CK_LUMA_TOLERANCE:
        return &object->luma_tolerance;
    default:
        code = report(function, VIQ_ERR_PARAMETER, "Unknown parameter");
        return nullptr;
    }
}

} // namespace
