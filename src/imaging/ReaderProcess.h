#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumaweave {

// Files that may do harm are read by a process of its own, the reader: when a damaged or hostile
// file makes a library crash, turn round for ever or take all memory, the reader is lost and not
// the program with a person's work in it. Any thread; the calling one waits, within a bound.

enum class ReaderResult {
    done,
    refused,  // the file is damaged, or harmed the reader: the reason is in the log
    nothing,  // the file has nothing of that kind
    target    // what was read could not be written; the reason is in the log
};

// Has the reader do a job (of readerJobs) with the source.
[[nodiscard]] ReaderResult runReader(const std::string& job, const std::filesystem::path& source,
                                     const std::vector<std::string>& arguments = {});

// The same for jobs that write a target: its content. The target is a scratch file of the working
// folder, and gone when this returns.
struct ReaderBytes {
    ReaderResult result = ReaderResult::refused;
    std::string bytes;
};
[[nodiscard]] ReaderBytes readInReader(const std::string& job, const std::filesystem::path& source,
                                       const std::vector<std::string>& arguments = {});

}  // namespace lumaweave
