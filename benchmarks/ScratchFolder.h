// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

namespace lumaweave::bench {

// A folder for everything that a run makes; its end removes it and all in it. It lies where the
// program would put its working folder.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    // Makes this process and its children use the folder for settings and working files, so that
    // they touch nothing of the user's.
    void useForEverything() const;

  private:
    std::filesystem::path path_;
};

}  // namespace lumaweave::bench
