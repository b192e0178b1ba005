#include "convert/hue_table.h"

#include <array>
#include <atomic>
#include <cmath>
#include <numbers>

#include "core/context.h"
#include "core/full_precision.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr u32 table_size = 65536;
constexpr int grey_radius = 6; // |u| and |v| up to here are treated as grey

// Made once for all contexts and never changed.
using hue_table = std::array<u16, table_size>;
constinit std::atomic<const hue_table *> hues = nullptr;

double angle_of(int u, int v);
double degrees_of(double angle);

} // namespace

u32 VIQ_CK_generate_UV_to_hue_LUT(void) {
    constexpr const char *name = "VIQ_CK_generate_UV_to_hue_LUT";
    if (hues.load(std::memory_order_acquire) != nullptr)
        return success;
    auto made = make_owned<hue_table>();
    if (made == nullptr)
        return report(name, VIQ_ERR_MEMORY, "");
    const full_precision precision;
    for (u32 i = 0; i < table_size; ++i) {
        const int u = static_cast<int>(i >> 8) - 128;
        const int v = static_cast<int>(i & 255) - 128;
        (*made)[i] = static_cast<u16>(degrees_of(angle_of(u, v)));
        if ((*made)[i] > 359)
            return report(name, VIQ_ERR_INTERNAL, "Hue out of range");
    }
    const hue_table *none = nullptr;
    if (hues.compare_exchange_strong(none, made.get(), std::memory_order_acq_rel))
        made.release(); // otherwise another thread has been faster
    return success;
}

u32 VIQ_CK_destroy_UV_to_hue_LUT(void) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    if (!has_contexts()) // otherwise another thread may be using the table
        destroy_owned(const_cast<hue_table *>(hues.exchange(nullptr)));
    return success;
}

namespace viq {

u32 need_hue_table(const u16 *&table) {
    u32 code = success;
    if (hues.load(std::memory_order_acquire) == nullptr)
        code = VIQ_CK_generate_UV_to_hue_LUT();
    const hue_table *made = hues.load(std::memory_order_acquire);
    table = made != nullptr ? made->data() : nullptr;
    return code;
}

} // namespace viq

namespace {

// In radians, 0 to 2 pi; grey has the angle of 300 degrees.
double angle_of(int u, int v) {
    constexpr double pi = std::numbers::pi;
    if (std::abs(u) <= grey_radius && std::abs(v) <= grey_radius)
        return 2 * pi - pi / 3;
    const double angle = std::atan2(static_cast<double>(v), static_cast<double>(u));
    return angle < 0 ? angle + 2 * pi : angle;
}

// Rounded to whole degrees and rotated by 120 degrees, so that the hue of red is near 0.
double degrees_of(double angle) {
    double degrees = angle * 180 / std::numbers::pi + 0.5;
    if (degrees < 0 || degrees > 359.4)
        degrees = 0;
    degrees -= 120;
    return degrees < 0 ? degrees + 360 : degrees;
}

} // namespace
