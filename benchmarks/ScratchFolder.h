#pragma once

#include <filesystem>

namespace lumaweave::bench {

// A folder for everything that a run makes, removed with all in it when it goes. It lies where the
// program would put its working folder.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    // Makes this process and its children use the folder for settings and working files, so that
    // nothing of the user's is read or written.
    void useForEverything() const;

  private:
    std::filesystem::path path_;
};

}  // namespace lumaweave::bench
