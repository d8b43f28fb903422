// SPDX-License-Identifier: GPL-3.0-or-later
#include "ScratchFolder.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace lumaweave::bench {

namespace fs = std::filesystem;

namespace {

fs::path parentFolder() {
    const char* wanted = std::getenv("TMPDIR");
    return wanted != nullptr && *wanted == '/' ? wanted : "/var/tmp";
}

}  // namespace

ScratchFolder::ScratchFolder() {
    std::string name = (parentFolder() / "bench-XXXXXX").native();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make the folder " + name);
    path_ = name;
}

ScratchFolder::~ScratchFolder() {
    std::error_code error;
    fs::remove_all(path_, error);
}

void ScratchFolder::useForEverything() const {
    for (const char* variable :
         {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "TMPDIR"}) {
        setenv(variable, path_.c_str(), 1);
    }
}

}  // namespace lumaweave::bench
