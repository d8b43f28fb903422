// SPDX-License-Identifier: GPL-3.0-or-later
#include "Options.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace lumaweave::bench {

namespace {

int readRounds(const std::string& text) {
    int rounds = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, rounds);
    if (result.ptr != end || result.ec != std::errc() || rounds < 1) {
        throw std::invalid_argument("--rounds takes a number from 1 on");
    }
    return rounds;
}

// The jobs that are named, in their usual order.
std::vector<std::string> readJobs(const std::string& list) {
    const std::vector<std::string> known = Options().jobs;
    std::vector<std::string> asked;
    std::istringstream stream(list);
    for (std::string job; std::getline(stream, job, ',');) {
        if (std::find(known.begin(), known.end(), job) == known.end()) {
            throw std::invalid_argument("--only does not know the job \"" + job + "\"");
        }
        asked.push_back(job);
    }
    std::vector<std::string> jobs;
    std::copy_if(known.begin(), known.end(), std::back_inserter(jobs), [&](const std::string& job) {
        return std::find(asked.begin(), asked.end(), job) != asked.end();
    });
    if (jobs.empty()) throw std::invalid_argument("--only takes a list of jobs");
    return jobs;
}

}  // namespace

Options readOptions(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        if (name == "--help" || name == "-h") {
            options.help = true;
        } else if (name != "--rounds" && name != "--only") {
            throw std::invalid_argument("Unknown option: " + name);
        } else if (++i == arguments.size()) {
            throw std::invalid_argument(name + " needs a value");
        } else if (name == "--rounds") {
            options.rounds = readRounds(arguments[i]);
        } else {
            options.jobs = readJobs(arguments[i]);
        }
    }
    return options;
}

std::string usage() {
    return "lumaweave-bench [--rounds N] [--only load,preview,full,batch,panorama,memory]\n"
           "Measures the whole program and prints one table. --rounds: how often each job is "
           "timed\n"
           "(without it: load 7, preview 11, full 5, batch 3, panorama 5 times, each after a round "
           "that does not count).\n";
}

}  // namespace lumaweave::bench
