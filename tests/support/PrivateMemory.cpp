// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/PrivateMemory.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace lumaweave::test {

long long privateMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("RssAnon:")) return std::stoll(line.substr(8)) * 1024;
    }
    throw std::runtime_error("the system does not say how much memory is private");
}

}  // namespace lumaweave::test
