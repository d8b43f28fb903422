// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/WaitingTool.h"

#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace lumaweave::test {

WaitingTool::WaitingTool(std::filesystem::path folder) : folder_(std::move(folder)) {}

std::string WaitingTool::script() const {
    const std::filesystem::path pipe = folder_ / "go on";
    // One that is there already serves as well.
    if (mkfifo(pipe.c_str(), 0600) != 0 && errno != EEXIST)
        throw std::runtime_error("no pipe for the tool to wait at");
    return "touch '" + (folder_ / "started").native() + "'\ncat '" + pipe.native() +
           "' > /dev/null\n";
}

bool WaitingTool::waits() const {
    return std::filesystem::exists(folder_ / "started");
}

void WaitingTool::letGo() const {
    std::filesystem::remove(folder_ / "started");
    std::ofstream(folder_ / "go on") << "go";
}

}  // namespace lumaweave::test
