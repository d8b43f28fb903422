// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WorkingFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "platform/Log.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view folderPrefix = "lumaweave-";
constexpr std::string_view lockName = ".lock";
// Sixteen quoted inputs, the options and the output must fit into one command line of 1999 bytes.
constexpr std::size_t longestParent = 40;

fs::path folder;
int lockDescriptor = -1;
std::atomic<unsigned> scratchCount = 0;

bool standsPlainInCommandLine(std::string_view path) {
    return !path.empty() && path.front() == '/' && path.size() <= longestParent &&
           std::all_of(path.begin(), path.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      std::string_view("/._-+ ").find(c) != std::string_view::npos;
           });
}

fs::path parentFolder() {
    const char* wanted = std::getenv("TMPDIR");
    if (wanted == nullptr) return "/var/tmp";
    std::string_view path = wanted;
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    return standsPlainInCommandLine(path) ? fs::path(path) : fs::path("/var/tmp");
}

// A lock lasts as long as its program runs, however that ends.
int takeLock(const fs::path& file, int creation) {
    const int descriptor = open(file.c_str(), O_RDWR | creation | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) return -1;
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
    close(descriptor);
    return -1;
}

bool isOurFolder(const fs::path& path, struct stat* status) {
    return lstat(path.c_str(), status) == 0 && S_ISDIR(status->st_mode) &&
           status->st_uid == geteuid();
}

// Exactly a name that mkdtemp makes: users name folders after the program, too.
bool isWorkingFolderName(std::string_view name) {
    constexpr std::size_t randomLetters = 6;
    return name.size() == folderPrefix.size() + randomLetters && name.starts_with(folderPrefix) &&
           std::all_of(name.begin() + static_cast<std::ptrdiff_t>(folderPrefix.size()), name.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0; });
}

// Removes a folder with all in it only if it has this program's lock file, unlocked.
void removeIfAbandoned(const fs::path& path) {
    struct stat status {};
    if (!isOurFolder(path, &status)) return;
    const int descriptor = takeLock(path / lockName, 0);
    if (descriptor >= 0) {
        std::error_code error;
        fs::remove_all(path, error);
        close(descriptor);
        return;
    }
    // A program that is just starting has made its folder but not yet its lock.
    constexpr std::time_t startingSeconds = 60;
    if (std::time(nullptr) - status.st_mtime >= startingSeconds) rmdir(path.c_str());
}

void removeAbandonedFolders(const fs::path& parent) {
    std::error_code error;
    for (fs::directory_iterator entry(parent, error), end; !error && entry != end;
         entry.increment(error)) {
        if (isWorkingFolderName(entry->path().filename().native())) {
            removeIfAbandoned(entry->path());
        }
    }
}

bool makeFolder(const fs::path& parent) {
    std::string name = (parent / (std::string(folderPrefix) + "XXXXXX")).native();
    const bool made = mkdtemp(name.data()) != nullptr;
    folder = name;
    if (made) lockDescriptor = takeLock(folder / lockName, O_CREAT);
    return made;
}

bool holdsLock() {
    std::error_code error;
    return lockDescriptor >= 0 && fs::exists(folder / lockName, error);
}

}  // namespace

namespace {

bool createIn(const fs::path& parent) {
    removeAbandonedFolders(parent);
    // A program that starts at the same moment may have come between the lock file and the lock,
    // and removed the folder as abandoned.
    constexpr int attempts = 3;
    for (int attempt = 1;; ++attempt) {
        if (!makeFolder(parent)) break;
        if (holdsLock() || attempt == attempts) return true;
        removeWorkingFolder();
    }
    logLine("The working folder cannot be made in " + parent.native());
    return false;
}

}  // namespace

bool createWorkingFolder() {
    const fs::path parent = parentFolder();
    return createIn(parent) || (parent != "/var/tmp" && createIn("/var/tmp"));
}

void removeWorkingFolder() {
    std::error_code error;
    if (!folder.empty()) fs::remove_all(folder, error);
    if (lockDescriptor >= 0) close(lockDescriptor);
    lockDescriptor = -1;
}

const fs::path& workingFolder() {
    return folder;
}

fs::path newScratchPath(const std::string& suffix) {
    return folder / ("Scratch " + std::to_string(++scratchCount) + suffix);
}

}  // namespace lumaweave
