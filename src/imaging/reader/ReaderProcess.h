// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumaweave {

// A process of its own, the reader, reads files that may do harm: when a damaged or hostile file
// makes a library crash, turn round for ever or take all memory, the reader is lost and not the
// program with the user's work in it. Any thread; the calling one waits, within a bound.

enum class ReaderResult {
    done,
    refused,  // the file is damaged, or harmed the reader
    nothing,  // the file has nothing of that kind
    target    // what was read could not be written
};

struct ReaderAnswer {
    ReaderResult result = ReaderResult::refused;
    // Why it is `refused` or `target`, in words that could end a sentence; the log has it too.
    std::string reason = {};
};

// Has the reader do a job (of reader_jobs) with the source.
[[nodiscard]] ReaderAnswer runReader(const std::string& job, const std::filesystem::path& source,
                                     const std::vector<std::string>& arguments = {});

// The same for jobs that write a target: its content. The target is a scratch file of the working
// folder, and gone when this returns.
struct ReaderBytes {
    ReaderAnswer answer;
    std::string bytes;
};
[[nodiscard]] ReaderBytes readInReader(const std::string& job, const std::filesystem::path& source,
                                       const std::vector<std::string>& arguments = {});

}  // namespace lumaweave
