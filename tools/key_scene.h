// A scene before a key screen, made from photographs, and what chroma keying does to it.
#pragma once

#include <string>
#include <vector>

#include "tools/image.h"

namespace tool {

struct key_step {
    std::string name, note;
    image picture;
    bool composite = false; // the scene with another background
};

struct key_scene {
    std::vector<key_step> steps; // the first is what the camera sees
    image ideal;                 // the object before the background, as no camera sees it
};

// The cup of the photograph stands before the screen; the background gets its size. Both are RGB24.
key_scene key_cup(const image &photograph, const image &background);

} // namespace tool
