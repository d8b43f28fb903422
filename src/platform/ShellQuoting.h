// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace lumaweave {

// How paths get into the lines that the shell runs.

// The longest path that QuotePath takes, in bytes.
inline constexpr std::size_t longestQuotablePath = 2998;
// A command line that the program runs has at most this many bytes: its buffer holds 2000, with the
// terminator.
inline constexpr std::size_t longestCommandLine = 1999;

// Wraps a path (UTF-8, NUL-terminated) in double quotes and escapes nothing. The result lies in one
// buffer shared by all callers, and the next call overwrites it: use appendQuotedPath, which locks
// and copies. A path of more than longestQuotablePath bytes ends the process.
const char* QuotePath(const char* path);

// Appends the quoted path to a command line, under the lock of the quoting buffer. The path must be
// one that canBeQuoted. Any thread.
void appendQuotedPath(std::string& command, const std::filesystem::path& path);

// Whether the path reaches a tool as it stands when it is quoted: not too long for QuotePath, and
// without a character that the shell acts on. Any thread.
[[nodiscard]] bool canBeQuoted(const std::filesystem::path& path);

// The first character of the path that a shell acts on between double quotes (double quote, dollar
// sign, back-quote, backslash, line break), or 0 when the quoted path reaches the tool as it
// stands. Any thread.
[[nodiscard]] char shellActiveCharacter(std::string_view path);

// Such a character in words: "a dollar sign ($)". Any thread.
[[nodiscard]] std::string nameOfShellCharacter(char character);

}  // namespace lumaweave
