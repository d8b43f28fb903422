// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/FusionByHand.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "imaging/decoding/ImageDecoder.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

namespace {

Image resultOf(const std::string& command, const fs::path& output) {
    EXPECT_EQ(std::system((command + " > /dev/null 2>&1").c_str()), 0) << command;
    return decodeImage(output);
}

}  // namespace

Image fusedByHand(const std::vector<fs::path>& files, const fs::path& output) {
    std::string command = "enfuse -o '" + output.native() + "'";
    for (const fs::path& file : files)
        command += " '" + file.native() + "'";
    return resultOf(command, output);
}

Image fusedByHand(std::string command, const OtherNames& names) {
    for (const auto& [echoed, other] : names)
        command.replace(command.find(echoed.native()), echoed.native().size(), other.native());
    return resultOf(command, names.front().second);
}

}  // namespace lumaweave::test
