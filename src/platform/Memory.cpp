// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Memory.h"

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string>

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

std::uint64_t difference(std::uint64_t limit, std::uint64_t used) {
    return limit > used ? limit - used : 0;
}

// What the system can give without swapping, file caches that it can drop included.
std::uint64_t freeInSystem() {
    std::ifstream lines("/proc/meminfo");
    const std::string name = "MemAvailable:";
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name)) return std::stoull(line.substr(name.size())) * 1024;
    }
    return unlimited;
}

// The one number in a file; none for "max" and for no file.
std::optional<std::uint64_t> numberIn(const fs::path& file) {
    std::ifstream stream(file);
    std::uint64_t value = 0;
    return stream >> value ? std::optional(value) : std::nullopt;
}

// The part of a group's memory that is a cache of files, which the system drops when asked.
std::uint64_t droppable(const fs::path& group) {
    std::ifstream stream(group / "memory.stat");
    std::uint64_t sum = 0;
    std::string name;
    for (std::uint64_t value = 0; stream >> name >> value;) {
        if (name == "active_file" || name == "inactive_file") sum += value;
    }
    return sum;
}

// What a container or a desktop's session grants: the strictest of the groups that hold this
// process, from its own up.
std::uint64_t freeInGroup() {
    std::ifstream stream("/proc/self/cgroup");
    const std::string unified = "0::";
    std::string group;
    while (std::getline(stream, group) && !group.starts_with(unified)) {
    }
    if (!group.starts_with(unified)) return unlimited;
    const fs::path root = "/sys/fs/cgroup";
    std::uint64_t least = unlimited;
    for (fs::path path = group.substr(unified.size());; path = path.parent_path()) {
        const fs::path folder = root / path.relative_path();
        const auto limit = numberIn(folder / "memory.max");
        const auto used = numberIn(folder / "memory.current");
        if (limit && used) {
            least = std::min(least, difference(*limit + droppable(folder), *used));
        }
        if (path == path.parent_path()) return least;
    }
}

// What the limit on this process's addresses leaves.
std::uint64_t freeInProcess() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return unlimited;
    const auto pages = numberIn("/proc/self/statm");
    const auto pageSize = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    return difference(limit.rlim_cur, pages.value_or(0) * pageSize);
}

}  // namespace

std::uint64_t availableMemory() {
    return std::min({freeInSystem(), freeInGroup(), freeInProcess()});
}

void keepHeapSmall() {
    constexpr int largestKept = 256 * 1024;
    mallopt(M_MMAP_THRESHOLD, largestKept);
    mallopt(M_TRIM_THRESHOLD, 2 * largestKept);
    mallopt(M_ARENA_MAX, 2);
}

}  // namespace lumaweave
