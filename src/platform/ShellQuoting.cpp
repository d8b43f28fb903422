// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ShellQuoting.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t quotingBufferSize = 3000;
// One byte to spare: the longest path's closing quote leaves no room for the terminator.
char quotedPath[quotingBufferSize + 1];
std::mutex quotingMutex;

}  // namespace

const char* QuotePath(const char* path) {
    const std::size_t length = std::strlen(path);
    if (length > longestQuotablePath) std::abort();
    quotedPath[0] = '"';
    std::memcpy(quotedPath + 1, path, length);
    quotedPath[length + 1] = '"';
    quotedPath[length + 2] = '\0';
    return quotedPath;
}

void appendQuotedPath(std::string& command, const fs::path& path) {
    const std::lock_guard lock(quotingMutex);
    command += QuotePath(path.c_str());
}

bool canBeQuoted(const fs::path& path) {
    return path.native().size() <= longestQuotablePath &&
           shellActiveCharacter(path.native()) == '\0';
}

char shellActiveCharacter(std::string_view path) {
    const auto found = path.find_first_of("\"$`\\\n\r");
    return found == std::string_view::npos ? '\0' : path[found];
}

std::string nameOfShellCharacter(char character) {
    switch (character) {
        case '"':
            return "a double quote (\")";
        case '$':
            return "a dollar sign ($)";
        case '`':
            return "a back-quote (`)";
        case '\\':
            return "a backslash (\\)";
        default:
            return "a line break";
    }
}

}  // namespace lumaweave
