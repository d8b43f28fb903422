#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

class QUrl;

namespace lumaweave {

// The one way to show a message: a modal alert with an "OK" button. From a worker the call returns
// when the person has closed the alert; no lock may be held across it. Without a running program
// (before launch has finished, or while it quits) the message only goes to the log. Any thread.
void DoAlert(const std::string& message);

// The longest path that QuotePath takes, in bytes.
inline constexpr std::size_t longestQuotablePath = 2998;
// A command line that the program runs has at most this many bytes: its buffer holds 2000, with the
// terminator.
inline constexpr std::size_t longestCommandLine = 1999;

// Wraps a path (UTF-8, NUL-terminated) in double quotes and escapes nothing. The result lies in one
// buffer shared by all callers and is overwritten by the next call: use AppendQuotedPath, which
// locks and copies. A path of more than longestQuotablePath bytes ends the process.
const char* QuotePath(const char* path);

// Appends the quoted path to a command line, under the lock of the quoting buffer. The path must be
// one that CanBeQuoted. Any thread.
void AppendQuotedPath(std::string& command, const std::filesystem::path& path);

// Whether the path reaches a tool as it stands when it is quoted: not too long for QuotePath, and
// without a character that the shell acts on. Any thread.
[[nodiscard]] bool CanBeQuoted(const std::filesystem::path& path);

// A character that the shell acts on, in words: "a dollar sign ($)". Any thread.
[[nodiscard]] std::string NameOfShellCharacter(char character);

// The four bytes of the value pointed to, reversed. Here, so that loops over pixels can be
// vectorised.
[[nodiscard]] constexpr std::uint32_t SwizzleUInt32Long(const std::uint32_t* value) {
    return __builtin_bswap32(*value);
}

// Tells the person that a tool's command line would be longer than longestCommandLine, so that
// nothing was run. Any thread; no lock may be held.
void AlertCommandLineTooLong();

// Asks where to save a fused result. The path ends in ".tif" or ".tiff", can be quoted, and the
// person has agreed to overwrite a file that is there; empty when they cancel. A path that cannot
// be quoted, or that is a loaded shot's own, is refused with an alert, and asked for again. Main
// thread.
[[nodiscard]] std::filesystem::path AskForSaveFilename();

// The save panel's part of AskForSaveFilename: gives the chosen path, empty for cancel. Tests put
// their own in its place; an empty function restores the panel.
using SaveFilenameChooser = std::function<std::filesystem::path()>;
void SetSaveFilenameChooser(SaveFilenameChooser chooser);

// The bytes of a local file URL's path, exactly as the file system has them; none for other URLs.
[[nodiscard]] std::optional<std::filesystem::path> PathFromUrl(const QUrl& url);
[[nodiscard]] QUrl UrlFromPath(const std::filesystem::path& path);

}  // namespace lumaweave
