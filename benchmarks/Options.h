// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace lumaweave::bench {

// What the command line asks for.
struct Options {
    std::vector<std::string> jobs = {"memory", "load", "preview", "full", "batch", "panorama"};
    // None: as many as suit each job.
    std::optional<int> rounds;
    bool help = false;
};

// Throws std::invalid_argument with a line for the user.
[[nodiscard]] Options readOptions(const std::vector<std::string>& arguments);

[[nodiscard]] std::string usage();

}  // namespace lumaweave::bench
