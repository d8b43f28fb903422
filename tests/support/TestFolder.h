// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumaweave::test {

// A folder of the test's own, removed with all in it when it goes.
class TestFolder {
  public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const {
        return path_ / name;
    }
    // Writes a file of this content and gives its path.
    std::filesystem::path write(const std::string& name, const std::string& content) const;

  private:
    std::filesystem::path path_;
};

[[nodiscard]] std::string readFile(const std::filesystem::path& path);

// The names of all that lies in a folder, sorted.
[[nodiscard]] std::vector<std::string> namesIn(const std::filesystem::path& folder);

// Writes a shell script (without its first line) that can be run.
void writeScript(const std::filesystem::path& path, const std::string& script);

}  // namespace lumaweave::test
