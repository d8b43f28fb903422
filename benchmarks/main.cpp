// SPDX-License-Identifier: GPL-3.0-or-later

// Measures the whole program: makes and uses its windows as a user would, and prints the times
// beside those of the tools alone. Every job runs in a process of its own, so that none disturbs
// another and the folder of the run goes whatever happens.

#include <csignal>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "Inputs.h"
#include "Jobs.h"
#include "Options.h"
#include "Processes.h"
#include "ScratchFolder.h"
#include "Table.h"

namespace lumaweave::bench {

namespace fs = std::filesystem;

namespace {

// The first argument of a job's own process; the job, the folder and the rounds follow.
constexpr auto jobArgument = "--job";
constexpr auto makePhotosJob = "photos";

struct Job {
    std::vector<Row> (*run)(const Workplace&);
    int usualRounds;
};

const std::map<std::string, Job>& jobs() {
    static const std::map<std::string, Job> all = {
        {"load", {runLoadJob, 7}},         {"preview", {runPreviewJob, 11}},
        {"full", {runFullSizeJob, 5}},     {"batch", {runBatchJob, 3}},
        {"panorama", {runPanoramaJob, 5}}, {"memory", {runMemoryJob, 1}}};
    return all;
}

fs::path rowsFile(const fs::path& folder, const std::string& job) {
    return folder / ("rows-" + job);
}

fs::path outputFile(const fs::path& folder, const std::string& job) {
    return folder / ("output-" + job);
}

// In the process of the job.
int runJob(const std::string& name, const fs::path& folder, int rounds) {
    const Output output(outputFile(folder, name));
    try {
        if (name == makePhotosJob) {
            makePhotos(folder);
            return 0;
        }
        Program program;
        writeRows(jobs().at(name).run({program, output, folder, rounds}), rowsFile(folder, name));
        return 0;
    } catch (const std::exception& error) {
        progress(name + ": " + error.what());
        return 1;
    }
}

void startJob(const std::string& name, const fs::path& folder, int rounds) {
    progress("job: " + name);
    const std::string self = fs::read_symlink("/proc/self/exe").native();
    const int status =
        runProcess({self, jobArgument, name, folder.native(), std::to_string(rounds)});
    if (status == 0) return;
    throw std::runtime_error("The job \"" + name + "\" failed. The end of its output:\n" +
                             endOfOutput(outputFile(folder, name)));
}

std::vector<Row> runJobs(const Options& options) {
    // The children get the interrupt too; this process then still removes the folder.
    std::signal(SIGINT, SIG_IGN);
    const ScratchFolder scratch;
    scratch.useForEverything();
    startJob(makePhotosJob, scratch.path(), 0);
    std::vector<Row> rows;
    for (const std::string& job : options.jobs) {
        startJob(job, scratch.path(), options.rounds.value_or(jobs().at(job).usualRounds));
        const std::vector<Row> found = readRows(rowsFile(scratch.path(), job));
        rows.insert(rows.end(), found.begin(), found.end());
    }
    return rows;
}

int run(const std::vector<std::string>& arguments) {
    if (arguments.size() == 4 && arguments[0] == jobArgument) {
        std::signal(SIGINT, SIG_DFL);
        return runJob(arguments[1], arguments[2], std::stoi(arguments[3]));
    }
    const Options options = readOptions(arguments);
    const std::string text = options.help ? usage() : tableText(runJobs(options));
    std::fputs(text.c_str(), stdout);
    return 0;
}

}  // namespace

}  // namespace lumaweave::bench

int main(int argc, char** argv) {
    try {
        return lumaweave::bench::run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
