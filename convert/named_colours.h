// The sixteen named colours, indexed by colour number.
#pragma once

#include "core/types.h"

namespace viq {

struct named_colour {
    u8 red, green, blue;
};

constexpr named_colour named_colours[] = {
    {0, 0, 0},     {0, 0, 152},     {0, 152, 0},   {0, 152, 152},   {152, 0, 0}, {152, 0, 152},
    {152, 152, 0}, {152, 152, 152}, {76, 76, 76},  {0, 0, 255},     {0, 255, 0}, {0, 255, 255},
    {255, 0, 0},   {255, 0, 255},   {255, 255, 0}, {255, 255, 255},
};

} // namespace viq
