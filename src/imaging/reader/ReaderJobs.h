// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string_view>

// What the program and its reader (the process for files that could do harm) have agreed on.

namespace lumaweave {

inline constexpr auto readerName = "lumaweave-reader";

// The first argument; a source follows, then what the job needs.
namespace reader_jobs {
inline constexpr auto decode = "decode";               // target
inline constexpr auto checkHeader = "check-header";    // nothing
inline constexpr auto checkPixels = "check-pixels";    // nothing
inline constexpr auto metadata = "metadata";           // target
inline constexpr auto focalLength = "focal-length";    // target
inline constexpr auto moveMetadata = "move-metadata";  // target, "II" or "MM", first byte
}  // namespace reader_jobs

// How the reader ends when nothing kills it. Whatever else it ends with counts as a crash.
enum class ReaderExit {
    done = 0,
    refused = 10,  // it has printed why
    nothing = 11,  // there is nothing of that kind in the file
    target = 12,   // the target could not be written
    memory = 13    // it needed more than it may have
};

// Begins the line with which a failed reader ends what it prints; then comes the reason in words.
// The lines before it are for the log.
inline constexpr std::string_view reasonMark = "reason: ";

// Memory of its own that a reader may take, in bytes.
inline constexpr std::uint64_t readerMemory = std::uint64_t{2} << 30;
// Not under a sanitizer, whose shadow takes terabytes.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool isReaderMemoryLimited = false;
#else
inline constexpr bool isReaderMemoryLimited = true;
#endif

// How long one core may decode a file: many times as long as a camera's file of that size takes.
// Small files that take longer are made for that.
[[nodiscard]] inline std::chrono::seconds decodingTime(std::uint64_t fileSize) {
    constexpr std::uint64_t megabyte = 1'000'000;
    constexpr std::uint64_t most = 600;
    return std::chrono::seconds(10 + std::min(4 * (fileSize / megabyte), most));
}
// The same for a file's metadata.
inline constexpr std::chrono::seconds metadataTime{5};

}  // namespace lumaweave
