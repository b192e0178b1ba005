#include "tools/batch.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <filesystem>
#include <map>

#include "tools/image_handle.h"
#include "tools/interrupts.h"
#include "tools/progress_bar.h"
#include "tools/temporary_folder.h"
#include "tools/verbs.h"
#include "tools/workers.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

std::string filled(const std::string &pattern, const conversion_job &job, std::size_t number,
                   std::size_t frame_digits);
std::string key_of(const std::string &path);
void check_jobs(const std::vector<conversion_job> &jobs);

} // namespace

bool is_pattern(const std::string &output) {
    return output.find('{') != std::string::npos;
}

bool is_folder(const std::string &output) {
    std::error_code ignored;
    return output.ends_with('/') || fs::is_directory(path_from(output), ignored);
}

std::vector<conversion_job> plan_jobs(std::vector<conversion_job> jobs, const std::string &output,
                                      const std::string &extension) {
    uint64_t last_frame = 0;
    for (const conversion_job &job : jobs)
        last_frame = std::max(last_frame, job.frame);
    std::string pattern = output;
    if (is_folder(output)) {
        const std::string name = last_frame == 0 ? "{name}" : "{name}-{frame}";
        pattern =
            text_of(path_from(output) / path_from(extension.empty() ? "{file}" : name + extension));
    }
    if (!is_pattern(pattern)) {
        if (jobs.size() > 1)
            throw failure{output + ": several pictures need a folder or a pattern such as " +
                          (last_frame == 0 ? "out/{name}.jpg" : "out/{name}-{frame}.tif") +
                          " to be written to"};
        jobs.front().out = output;
        return jobs;
    }
    for (std::size_t n = 0; n < jobs.size(); ++n)
        jobs[n].out = filled(pattern, jobs[n], n + 1, std::to_string(last_frame).size());
    check_jobs(jobs);
    for (const conversion_job &job : jobs)
        if (const fs::path folder = path_from(job.out).parent_path(); !folder.empty()) {
            std::error_code error;
            fs::create_directories(folder, error);
            if (error)
                throw failure{text_of(folder) + ": cannot be created: " + error.message()};
        }
    return jobs;
}

int run_jobs(const std::vector<conversion_job> &jobs, unsigned workers,
             const std::function<void(const conversion_job &)> &run) {
    if (jobs.size() == 1) {
        run(jobs.front());
        return exit_done;
    }
    std::atomic<std::size_t> failed = 0;
    std::atomic<std::size_t> done = 0;
    progress_bar progress(jobs.size(), 0);
    const auto report = [&failed](const std::string &text) {
        print_message("viq: " + text);
        ++failed;
    };
    for_each_item(jobs.size(), workers, [&](std::size_t n) {
        const conversion_job &job = jobs[n];
        try {
            run(job);
        } catch (const failure &stop) {
            report(stop.text);
        } catch (const std::exception &error) {
            report(job.in + ": " + error.what());
        }
        progress.show(++done);
        if (is_interrupted())
            throw failure{"interrupted"};
    });
    if (failed == 0)
        return exit_done;
    const std::size_t count = failed;
    print_message("viq: " + std::to_string(count) + " of " + std::to_string(jobs.size()) +
                  " pictures failed, " + std::to_string(jobs.size() - count) + " were written");
    return exit_error;
}

namespace {

std::string filled(const std::string &pattern, const conversion_job &job, std::size_t number,
                   std::size_t frame_digits) {
    const fs::path path = job.in == standard_stream ? "stdin" : path_from(job.in);
    std::string frame = std::to_string(job.frame);
    frame.insert(0, frame_digits - frame.size(), '0');
    const fs::path folder = path.parent_path();
    const std::string extension = text_of(path.extension());
    std::map<std::string, std::string> fields = {
        {"name", text_of(path.stem())},
        {"ext", extension.empty() ? "" : extension.substr(1)},
        {"file", text_of(path.filename())},
        {"dir", folder.empty() ? "." : text_of(folder)},
        {"number", std::to_string(number)}};
    if (job.frame != 0)
        fields["frame"] = frame;
    std::string result;
    for (std::size_t at = 0; at < pattern.size();) {
        if (pattern[at] != '{') {
            result += pattern[at++];
            continue;
        }
        const std::size_t end = pattern.find('}', at);
        const auto field = end == std::string::npos
                               ? fields.end()
                               : fields.find(pattern.substr(at + 1, end - at - 1));
        if (field == fields.end())
            throw failure{pattern +
                          ": unknown field (known: {name} {ext} {file} {dir} {number} {frame})"};
        result += field->second;
        at = end + 1;
    }
    return result;
}

// Equal for different names of one file.
std::string key_of(const std::string &path) {
    std::error_code ignored;
    const fs::path resolved = fs::weakly_canonical(path_from(path), ignored);
    return resolved.empty() ? path : text_of(resolved);
}

void check_jobs(const std::vector<conversion_job> &jobs) {
    std::map<std::string, std::string> inputs;
    for (const conversion_job &job : jobs)
        inputs[key_of(job.in)] = job.in;
    std::map<std::string, std::string> writers;
    for (const conversion_job &job : jobs) {
        const std::string out = key_of(job.out);
        const std::string description =
            job.in + (job.frame != 0 ? " frame " + std::to_string(job.frame) : "");
        const auto [writer, is_new] = writers.try_emplace(out, description);
        if (!is_new)
            throw failure{job.out + ": would be written for " + writer->second + " and for " +
                          description};
        if (const auto input = inputs.find(out); input != inputs.end() && out != key_of(job.in))
            throw failure{job.out + ": would be replaced by the result of " + job.in};
    }
}

} // namespace

} // namespace tool
