// Many input files for one command.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tool {

struct conversion_job {
    std::string in, out;
};

// The pictures to read and where each is written. `output` is a file for one input, a folder, or a
// pattern in which these are replaced for each input: {file} by its file name, {name} and {ext} by
// the parts of it before and after the last dot, {dir} by its folder, and {number} by its position,
// counted from 1. In a folder, files have the names of the inputs; `extension`, if it is not empty,
// replaces theirs. Throws a failure if two inputs would be written to one file or an output would
// replace another input.
std::vector<conversion_job> plan_jobs(const std::vector<std::string> &inputs,
                                      const std::string &output, const std::string &extension);

// Runs the jobs, up to `workers` at the same time, and returns the exit status. The failure of a
// single job is thrown. Of several, each failure is printed, the others are still run, and a
// summary follows.
int run_jobs(const std::vector<conversion_job> &jobs, unsigned workers,
             const std::function<void(const conversion_job &)> &run);

} // namespace tool
