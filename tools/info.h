// viq info: what the headers of picture files say.
#pragma once

#include <string>
#include <vector>

namespace tool {

struct info_options {
    std::vector<std::string> files;
    bool json = false;
};

int info(const info_options &options);

} // namespace tool
