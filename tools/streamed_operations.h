// The operations of viq convert that process a picture strip by strip.
#pragma once

#include "tools/image_operations.h"
#include "tools/picture_flow.h"

namespace tool {

void crop(picture_flow &flow, const operation_input &in);
void scale(picture_flow &flow, const operation_input &in);
void rotate(picture_flow &flow, const operation_input &in); // by 180 degrees; else as a whole
void mirror(picture_flow &flow, const operation_input &in);
void flip(picture_flow &flow, const operation_input &in);
void filter(picture_flow &flow, const operation_input &in);
void look_up(picture_flow &flow, const operation_input &in);
void threshold(picture_flow &flow, const operation_input &in);

// An operation that processes the whole picture in memory.
template <image (*operation)(image picture, const operation_input &in)>
void process_whole(picture_flow &flow, const operation_input &in) {
    continue_with(flow, operation(take_whole(flow), in));
}

} // namespace tool
