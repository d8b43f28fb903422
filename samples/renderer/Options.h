// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Camera.h"

namespace lumaweave {

/// What the command line asks for.
struct Options {
    int width = 1920;
    int height = 0;  ///< 0: two thirds of the width
    int shots = 5;
    double evStep = 2;
    std::vector<Turn> turns;
    int quality = 93;
    int threads = 0;  ///< 0: one per processor
    double fovDegrees = 0;
    int samples = 0;  ///< 0: as the width asks for
    bool panorama = false;
    bool help = false;
    std::filesystem::path folder;
};

/// Reads the command line; on a bad one, says why in `problem` and returns nothing.
std::optional<Options> parseOptions(const std::vector<std::string>& arguments,
                                    std::string& problem);

std::string usageText();

}  // namespace lumaweave
