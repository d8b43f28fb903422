// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

#include "platform/FileDescriptor.h"

namespace lumaweave {

// A file that is written out of sight and then takes the place of another in one step: whatever
// happens meanwhile (a full disk, a killed program, a power cut), the name stands either for the
// old file or for the new one, whole. Any thread; each object one thread at a time.
class AtomicFile {
  public:
    // What becomes of the file that has the target's name. Inherit: a link to it is followed, and
    // the new file gets its permissions. Replace: the name goes, be it a file's or a link's.
    enum class Existing { inherit, replace };
    // No: for what can be made anew; after a power cut the file may not be whole.
    enum class WaitForDisk { yes, no };

    // Opens a new file in the folder of the target. Where the file system allows it the file has no
    // name until it is complete, so that a killed program leaves nothing behind. When it cannot be
    // opened, errno says why.
    explicit AtomicFile(const std::filesystem::path& target, Existing existing = Existing::inherit);
    // Without a commit the new file goes, and the old one stays.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    [[nodiscard]] bool isOpen() const { return file_.isOpen(); }
    [[nodiscard]] const FileDescriptor& file() const { return file_; }

    // Waits until the bytes are on the disk and puts the file in the target's place. False (errno
    // says why) when that cannot be done; the old file is then untouched. Once.
    [[nodiscard]] bool commit(WaitForDisk wait = WaitForDisk::yes);

  private:
    void takeAccessRights() const;
    [[nodiscard]] bool giveName();

    Existing existing_;
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    FileDescriptor file_;
    bool named_ = false;
};

}  // namespace lumaweave
