// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>

namespace lumaweave::test {

// A fake tool that waits in the middle of its run until the test lets it go.
class WaitingTool {
  public:
    // What the tool shares with the test lies in this folder.
    explicit WaitingTool(std::filesystem::path folder);

    // The lines of the tool's script that wait.
    [[nodiscard]] std::string script() const;
    // Whether a tool has come so far.
    [[nodiscard]] bool waits() const;
    // Ends the wait of one tool; waits() then tells of the next. Waits for a tool itself.
    void letGo() const;

  private:
    std::filesystem::path folder_;
};

}  // namespace lumaweave::test
