// A scene in front of a key screen, composed from photographs, and the results of chroma keying it.
#pragma once

#include <string>
#include <vector>

#include "tools/image_handle.h"

namespace tool {

struct key_step {
    std::string name, note;
    image picture;
    bool is_composite = false; // the object in front of another background
};

struct key_scene {
    std::vector<key_step> steps; // the first is the scene as the camera records it
    image ideal;                 // the object composed with the background directly, for comparison
};

// The object is the cup of the photograph. The background is scaled to the photograph's size. Both
// are RGB24.
key_scene make_key_scene(const image &photograph, const image &background);

} // namespace tool
