// viq sequence: several JPEG frames in one file.
#pragma once

#include <string>
#include <vector>

namespace tool {

int build_sequence(const std::string &out, const std::vector<std::string> &frames);
int split_sequence(const std::string &in, const std::string &folder);
int describe_sequence(const std::string &in);

} // namespace tool
