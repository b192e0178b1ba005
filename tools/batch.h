// Many input files for one command.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

struct conversion_job {
    std::string in;
    std::size_t input = 0; // its number
    uint64_t frame = 0;    // of a file of camera frames, counted from 1; 0: the file is one picture
    std::string out = {};
};

// Whether the pattern has the fields of plan_jobs, or the name is that of a folder.
bool is_pattern(const std::string &output);
bool is_folder(const std::string &output);

// Sets where each picture is written. `output` is a file for one input, a folder, or a pattern in
// which these are replaced for each input: {file} by its file name, {name} and {ext} by the parts
// of it before and after the last dot, {dir} by its folder, {number} by its position, counted from
// 1, and {frame} by the number of its frame, with as many digits as the largest one. In a folder,
// files have the names of the inputs; `extension`, if it is not empty, replaces theirs, and frames
// have their numbers. Throws a failure if two inputs would be written to one file or an output
// would replace another input.
std::vector<conversion_job> plan_jobs(std::vector<conversion_job> inputs, const std::string &output,
                                      const std::string &extension);

// Runs the jobs, up to `workers` at the same time, and returns the exit status. The failure of a
// single job is thrown. Of several, each failure is printed, the others are still run, and a
// summary follows.
int run_jobs(const std::vector<conversion_job> &jobs, unsigned workers,
             const std::function<void(const conversion_job &)> &run);

} // namespace tool
