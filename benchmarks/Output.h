// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumaweave::bench {

// Sends standard output and standard error of this process and of all that it starts into a file,
// so that what the program and its tools print can be read back and does not mix with the table.
class Output {
  public:
    explicit Output(const std::filesystem::path& file);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Empties the file.
    void forget() const;
    // The fusion commands that the program has echoed since then.
    [[nodiscard]] std::vector<std::string> fusionCommands() const;

  private:
    std::filesystem::path file_;
};

// The end of such a file, for whoever has to find out what went wrong.
[[nodiscard]] std::string endOfOutput(const std::filesystem::path& file);

// Writes a line for the waiting user to what was standard error at first.
void progress(const std::string& line);

}  // namespace lumaweave::bench
