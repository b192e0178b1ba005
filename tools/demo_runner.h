// Runs the commands of the demo in the current folder and makes the pictures that its page shows.
#pragma once

#include <string>

#include "tools/demo_page.h"

namespace tool {

// Runs a command line that begins with "viq convert".
void run_command(const std::string &command);

// The folder of the shown pictures, in the current folder.
constexpr const char *shown_folder = "pictures";

// Copies a picture into the folder of the shown pictures: a part X,Y,W,H of it without loss, or all
// of it, without loss if it has a palette or 1 bit a pixel, and otherwise as JPEG.
shown_picture show(const std::string &file, const std::string &name, const std::string &part = "");

// PSNR of two picture files in RGB24.
double psnr_of_files(const std::string &a, const std::string &b);

} // namespace tool
