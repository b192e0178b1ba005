// The events of windows of a display's own.
#include <algorithm>
#include <chrono>

#include "core/report.h"
#include "display/display.h"

using namespace viq;

namespace {

using clock_type = std::chrono::steady_clock;

bool take_event(event_queue &queue, tVIQ_DisplayEvent &event);
u32 milliseconds_until(clock_type::time_point end);

} // namespace

u32 VIQ_display_next_event(u32 hDisplay, tVIQ_DisplayEvent *pEvent, u32 dwMilliseconds) {
    if (pEvent != nullptr)
        *pEvent = {};
    const display_call call("VIQ_display_next_event", hDisplay, window_need::own);
    if (call.d == nullptr)
        return call.code;
    display &d = *call.d;
    if (pEvent == nullptr)
        return report_null(d.function);
    const clock_type::time_point end =
        clock_type::now() + std::chrono::milliseconds(dwMilliseconds);
    for (;;) {
        const u32 wait = d.queue.count == 0 ? milliseconds_until(end) : 0;
        u32 code = d.system->pump(d, wait);
        bool lost = false;
        if (!is_error(code) && d.exposed)
            code = show_again(d, lost);
        if (is_error(code))
            return code;
        if (take_event(d.queue, *pEvent))
            return 1;
        if (wait == 0)
            return success;
    }
}

namespace viq {

namespace {

tVIQ_DisplayEvent &event_at(event_queue &queue, u32 number) {
    return queue.events[(queue.first + number) % event_queue::capacity];
}

// Removes the newest event of one of these types.
bool drop_event(event_queue &queue, std::initializer_list<u16> types) {
    for (u32 n = queue.count; n-- > 0;)
        if (std::find(types.begin(), types.end(), event_at(queue, n).type) != types.end()) {
            for (; n + 1 < queue.count; ++n)
                event_at(queue, n) = event_at(queue, n + 1);
            --queue.count;
            return true;
        }
    return false;
}

bool has_position(u16 type) {
    return type >= VIQ_EVENT_KEY_DOWN && type <= VIQ_EVENT_LEAVE;
}

} // namespace

void push_event(display &d, const tVIQ_DisplayEvent &event) {
    event_queue &queue = d.queue;
    const bool merges = event.type == VIQ_EVENT_MOTION || event.type == VIQ_EVENT_RESIZE;
    const bool repeats = queue.count != 0 && event_at(queue, queue.count - 1).type == event.type;
    if (merges && repeats)
        --queue.count;
    if (queue.count == event_queue::capacity) {
        const bool important = event.type == VIQ_EVENT_RESIZE || event.type == VIQ_EVENT_CLOSE;
        if (!important || !drop_event(queue, {VIQ_EVENT_MOTION, VIQ_EVENT_KEY_DOWN,
                                              VIQ_EVENT_KEY_UP, VIQ_EVENT_WHEEL}))
            return;
    }
    tVIQ_DisplayEvent &place = event_at(queue, queue.count++);
    place = event;
    if (has_position(event.type)) {
        const image_position at = map_to_image(d, event.window_x, event.window_y);
        place.image_x = at.x;
        place.image_y = at.y;
        place.inside = at.inside ? 1 : 0;
    }
}

} // namespace viq

namespace {

bool take_event(event_queue &queue, tVIQ_DisplayEvent &event) {
    if (queue.count == 0)
        return false;
    event = queue.events[queue.first];
    queue.first = (queue.first + 1) % event_queue::capacity;
    --queue.count;
    return true;
}

u32 milliseconds_until(clock_type::time_point end) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - clock_type::now()).count();
    return static_cast<u32>(std::clamp<decltype(left)>(left, 0, UINT32_MAX));
}

} // namespace
