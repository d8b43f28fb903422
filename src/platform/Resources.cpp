// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Resources.h"

#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <sstream>
#include <string>

#include "platform/ShellQuoting.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

std::mutex folderMutex;
fs::path folderOverride;
fs::path helperFolderOverride;

// The folder above "bin".
fs::path prefix() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path().parent_path();
}

bool isExecutableFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

bool isOnPath(std::string_view tool) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (isExecutableFile(fs::path(folder) / tool)) return true;
    }
    return false;
}

}  // namespace

fs::path resourceFolder() {
    {
        const std::lock_guard lock(folderMutex);
        if (!folderOverride.empty()) return folderOverride;
    }
    return prefix() / "share" / "lumaweave";
}

void setResourceFolder(const fs::path& folder) {
    const std::lock_guard lock(folderMutex);
    folderOverride = folder;
}

std::optional<fs::path> pathForResource(std::string_view name, std::string_view type,
                                        std::string_view subfolder) {
    std::string fileName(name);
    if (!type.empty()) fileName.append(".").append(type);
    fs::path path = resourceFolder() / subfolder / fileName;
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return std::nullopt;
    return path;
}

std::optional<fs::path> pathForTool(std::string_view adapter, std::string_view installedTool) {
    auto path = pathForResource(adapter, {}, "Enfuse");
    if (!path || !isExecutableFile(*path) || !isOnPath(installedTool)) return std::nullopt;
    if (shellActiveCharacter(path->native()) != '\0') return std::nullopt;
    return path;
}

std::optional<fs::path> pathForHelper(std::string_view name) {
    fs::path folder;
    {
        const std::lock_guard lock(folderMutex);
        folder = helperFolderOverride;
    }
    if (folder.empty()) folder = prefix() / "libexec" / "lumaweave";
    fs::path path = folder / name;
    if (!isExecutableFile(path)) return std::nullopt;
    return path;
}

void setHelperFolder(const fs::path& folder) {
    const std::lock_guard lock(folderMutex);
    helperFolderOverride = folder;
}

}  // namespace lumaweave
