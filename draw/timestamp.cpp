// Drawing the local time and date as text.
#include "draw/timestamp.h"

#include <cstdio>

#include "core/report.h"
#include "core/types.h"

using namespace viq;

namespace {

// False: there is no local time. std::localtime returns an object that all threads share.
bool get_local_time(std::time_t now, std::tm &local) {
#if defined(_WIN32)
    return localtime_s(&local, &now) == 0;
#else
    return localtime_r(&now, &local) != nullptr;
#endif
}

} // namespace

u32 VIQ_draw_timestamp(u32 hImage, const tVIQ_Font *pFont, u32 x, u32 y, u16 wBackground,
                       u16 wColour) {
    constexpr u16 blinking = 0x80; // bit of the background mode
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    if (!get_local_time(now, local))
        return report("VIQ_draw_timestamp", VIQ_ERR_SYSTEM, "No local time");
    const short_text text = timestamp_text(local, (wBackground & blinking) != 0);
    return VIQ_draw_text(hImage, text.data(), pFont, x, y,
                         static_cast<u16>(wBackground & ~blinking), wColour);
}

namespace viq {

short_text timestamp_text(const std::tm &time, bool blinking) {
    constexpr char months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const char separator = blinking && time.tm_sec % 2 == 0 ? ' ' : ':';
    short_text text;
    std::snprintf(text.data(), text.size(), "%02u%c%02u%c%02u %02u%.3s%02u",
                  static_cast<unsigned>(time.tm_hour) % 100, separator,
                  static_cast<unsigned>(time.tm_min) % 100, separator,
                  static_cast<unsigned>(time.tm_sec) % 100,
                  static_cast<unsigned>(time.tm_mday) % 100,
                  months + 3 * (static_cast<unsigned>(time.tm_mon) % 12),
                  static_cast<unsigned>(time.tm_year) % 100);
    return text;
}

} // namespace viq
