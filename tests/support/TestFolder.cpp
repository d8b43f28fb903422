// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/TestFolder.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace lumaweave::test {

namespace fs = std::filesystem;

TestFolder::TestFolder() {
    std::string name = (fs::temp_directory_path() / "test-XXXXXX").native();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for the test");
    path_ = name;
}

TestFolder::~TestFolder() {
    std::error_code error;
    fs::permissions(path_, fs::perms::owner_all, error);
    fs::remove_all(path_, error);
}

fs::path TestFolder::write(const std::string& name, const std::string& content) const {
    const fs::path file = path_ / name;
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

std::string readFile(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().native());
    std::sort(names.begin(), names.end());
    return names;
}

void writeScript(const fs::path& path, const std::string& script) {
    std::ofstream(path) << "#!/bin/sh\n" << script;
    fs::permissions(path, fs::perms::owner_all);
}

}  // namespace lumaweave::test
