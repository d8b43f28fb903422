#include "support/ReaderReplacement.h"

#include <fstream>

#include "platform/Resources.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

void writeScript(const fs::path& path, const std::string& script) {
    std::ofstream(path) << "#!/bin/sh\n" << script;
    fs::permissions(path, fs::perms::owner_all);
}

ReaderReplacement::ReaderReplacement(const std::string& script) {
    if (!script.empty()) writeScript(folder_ / "lumaweave-reader", script);
    setHelperFolder(folder_.path());
}

ReaderReplacement::~ReaderReplacement() {
    setHelperFolder(LUMAWEAVE_HELPERS);
}

}  // namespace lumaweave::test
