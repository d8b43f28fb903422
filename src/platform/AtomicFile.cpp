// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <random>
#include <string>

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr mode_t newFileMode = 0666;

// Beside the target, because a name can only be handed over within a file system. It does not
// contain the target's name, which may be as long as names can be; nor the process's number, which
// in a container is the same at every start: what a killed program has left would be in the way.
fs::path temporaryBeside(const fs::path& target) {
    static const std::string random = std::to_string(std::random_device()());
    static std::atomic<unsigned> count = 0;
    return target.parent_path() /
           (".lumaweave-" + random + "-" + std::to_string(++count) + ".part");
}

fs::path withoutLinks(const fs::path& path) {
    std::error_code error;
    fs::path real = fs::weakly_canonical(path, error);
    return error ? path : real;
}

}  // namespace

AtomicFile::AtomicFile(const fs::path& target, Existing existing)
    : existing_(existing),
      target_(existing == Existing::inherit ? withoutLinks(target) : target),
      temporary_(temporaryBeside(target_)) {
    file_ = FileDescriptor(
        open(target_.parent_path().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, newFileMode));
    if (file_.isOpen()) return;
    file_ = FileDescriptor(
        open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, newFileMode));
    named_ = file_.isOpen();
}

AtomicFile::~AtomicFile() {
    if (named_) unlink(temporary_.c_str());
}

void AtomicFile::takeAccessRights() const {
    struct stat status {};
    if (stat(target_.c_str(), &status) != 0) return;
    constexpr mode_t accessBits = 0777;
    // Some file systems have no rights to give; that is no reason to keep the old file.
    [[maybe_unused]] const int given = fchmod(file_.number(), status.st_mode & accessBits);
}

bool AtomicFile::giveName() {
    if (named_) return true;
    const std::string open = "/proc/self/fd/" + std::to_string(file_.number());
    named_ = linkat(AT_FDCWD, open.c_str(), AT_FDCWD, temporary_.c_str(), AT_SYMLINK_FOLLOW) == 0;
    return named_;
}

bool AtomicFile::commit(WaitForDisk wait) {
    if (existing_ == Existing::inherit) takeAccessRights();
    if (wait == WaitForDisk::yes && fsync(file_.number()) != 0) return false;
    if (!giveName()) return false;
    file_ = FileDescriptor();  // a closed file is renamed faster
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0) return false;
    named_ = false;
    return true;
}

}  // namespace lumaweave
