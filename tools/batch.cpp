#include "tools/batch.h"

#include <atomic>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>

#include "tools/image_handle.h"
#include "tools/pipeline.h"
#include "tools/temporary_folder.h"
#include "tools/verbs.h"
#include "tools/workers.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

bool is_folder(const std::string &output);
std::string filled(const std::string &pattern, const std::string &input, std::size_t number);
std::string key_of(const std::string &path);
void check_jobs(const std::vector<conversion_job> &jobs);

} // namespace

std::vector<conversion_job> plan_jobs(const std::vector<std::string> &inputs,
                                      const std::string &output, const std::string &extension) {
    std::string pattern = output;
    if (is_folder(output))
        pattern =
            (fs::path(output) / (extension.empty() ? "{file}" : "{name}" + extension)).string();
    if (pattern.find('{') == std::string::npos) {
        if (inputs.size() > 1)
            throw failure{output + ": several pictures need a folder or a pattern such as "
                                   "out/{name}.jpg to be written to"};
        return {{inputs.front(), output}};
    }
    std::vector<conversion_job> jobs;
    for (const std::string &input : inputs)
        jobs.push_back({input, filled(pattern, input, jobs.size() + 1)});
    check_jobs(jobs);
    for (const conversion_job &job : jobs)
        if (const fs::path folder = fs::path(job.out).parent_path(); !folder.empty()) {
            std::error_code error;
            fs::create_directories(folder, error);
            if (error)
                throw failure{folder.string() + ": cannot be created: " + error.message()};
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
    const auto report = [&failed](const std::string &text) {
        std::fprintf(stderr, "viq: %s\n", text.c_str());
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
        if (is_interrupted())
            throw failure{"interrupted"};
    });
    if (failed == 0)
        return exit_done;
    const std::size_t count = failed;
    std::fprintf(stderr, "viq: %zu of %zu pictures failed, %zu were written\n", count, jobs.size(),
                 jobs.size() - count);
    return exit_error;
}

namespace {

bool is_folder(const std::string &output) {
    std::error_code ignored;
    return output.ends_with('/') || fs::is_directory(output, ignored);
}

std::string filled(const std::string &pattern, const std::string &input, std::size_t number) {
    const fs::path path = input == standard_stream ? fs::path("stdin") : fs::path(input);
    const fs::path folder = path.parent_path();
    const std::string extension = path.extension().string();
    const std::map<std::string, std::string> fields = {
        {"name", path.stem().string()},
        {"ext", extension.empty() ? "" : extension.substr(1)},
        {"file", path.filename().string()},
        {"dir", folder.empty() ? "." : folder.string()},
        {"number", std::to_string(number)}};
    std::string result;
    for (std::size_t at = 0; at < pattern.size();) {
        if (pattern[at] != '{') {
            result += pattern[at++];
            continue;
        }
        const std::size_t end = pattern.find('}', at);
        const auto field =
            fields.find(pattern.substr(at + 1, end == std::string::npos ? end : end - at - 1));
        if (field == fields.end())
            throw failure{pattern + ": unknown field (known: {name} {ext} {file} {dir} {number})"};
        result += field->second;
        at = end + 1;
    }
    return result;
}

// Equal for different names of one file.
std::string key_of(const std::string &path) {
    std::error_code ignored;
    const fs::path resolved = fs::weakly_canonical(path, ignored);
    return resolved.empty() ? path : resolved.string();
}

void check_jobs(const std::vector<conversion_job> &jobs) {
    std::map<std::string, std::string> inputs;
    for (const conversion_job &job : jobs)
        inputs[key_of(job.in)] = job.in;
    std::map<std::string, std::string> writers;
    for (const conversion_job &job : jobs) {
        const std::string out = key_of(job.out);
        const auto [writer, is_new] = writers.try_emplace(out, job.in);
        if (!is_new)
            throw failure{job.out + ": would be written for " + writer->second + " and for " +
                          job.in};
        if (const auto input = inputs.find(out); input != inputs.end() && out != key_of(job.in))
            throw failure{job.out + ": would be replaced by the result of " + job.in};
    }
}

} // namespace

} // namespace tool
