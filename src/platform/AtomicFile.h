#pragma once

#include <filesystem>

#include "platform/FileDescriptor.h"

namespace lumaweave {

// A file that is written out of sight and then takes the place of another in one step: whatever
// happens meanwhile (a full disk, a killed program, a power cut), the name stands either for the
// old file or for the new one, whole. Any thread; each object one thread at a time.
class AtomicFile {
  public:
    // Opens a new file in the folder of the target. Where the file system allows it the file has no
    // name until it is complete, so that a killed program leaves nothing behind.
    explicit AtomicFile(const std::filesystem::path& target);
    // Without a commit the new file goes, and the old one stays.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    [[nodiscard]] bool isOpen() const { return file_.isOpen(); }
    [[nodiscard]] const FileDescriptor& file() const { return file_; }

    // Waits until the bytes are on the disk and puts the file in the target's place, with the
    // permissions of the file that was there. A link to a file there is followed. False (errno says
    // why) when that cannot be done; the old file is then untouched.
    [[nodiscard]] bool commit();

  private:
    void takeAccessRights() const;
    [[nodiscard]] bool giveName();

    std::filesystem::path target_;
    std::filesystem::path temporary_;
    FileDescriptor file_;
    bool named_ = false;
};

}  // namespace lumaweave
