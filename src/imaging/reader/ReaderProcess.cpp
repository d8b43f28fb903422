// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/reader/ReaderProcess.h"

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <mutex>
#include <optional>
#include <sstream>
#include <string_view>

#include "imaging/reader/ReaderJobs.h"
#include "platform/FileDescriptor.h"
#include "platform/HelperProgram.h"
#include "platform/Log.h"
#include "platform/Memory.h"
#include "platform/Resources.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

using namespace std::chrono_literals;

bool isAboutMetadata(const std::string& job) {
    return job == reader_jobs::metadata || job == reader_jobs::focalLength ||
           job == reader_jobs::moveMetadata;
}

std::chrono::seconds readerTime(const std::string& job, const fs::path& source) {
    if (isAboutMetadata(job)) return metadataTime;
    const FileDescriptor file = FileDescriptor::ofRegularFile(source);
    return decodingTime(file.isOpen() ? file.size() : 0);
}

// The reader's time is of a core; while a fusion uses all of them, it takes longer on the clock.
std::chrono::seconds patience(std::chrono::seconds readerTime) {
    return 2 * readerTime + 5s;
}

// Readers that decode take much memory, and as many may want to run as there are cores: those that
// find too little wait for their turn. One always runs.
class ReaderPlace {
  public:
    ReaderPlace() {
        std::unique_lock lock(mutex_);
        freed_.wait(lock, [] { return taken_ == 0 || taken_ < places(); });
        ++taken_;
        freed_.notify_one();  // there may be room for another
    }
    ~ReaderPlace() {
        const std::lock_guard lock(mutex_);
        --taken_;
        freed_.notify_one();
    }
    ReaderPlace(const ReaderPlace&) = delete;
    ReaderPlace& operator=(const ReaderPlace&) = delete;

  private:
    // A careful count: those that run have taken a part of theirs already.
    static std::uint64_t places() { return taken_ + availableMemory() / readerMemory; }

    static std::mutex mutex_;
    static std::condition_variable freed_;
    static std::uint64_t taken_;
};

std::mutex ReaderPlace::mutex_;
std::condition_variable ReaderPlace::freed_;
std::uint64_t ReaderPlace::taken_ = 0;

std::string_view withoutLineEnd(std::string_view text) {
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

// What a reader has printed.
struct ReaderOutput {
    std::string_view log;
    std::string reason;
};

// For a reader that gives no reason: its last line, without the file's name.
std::string lastReasonIn(std::string_view log, const fs::path& source) {
    log = withoutLineEnd(log);
    std::string_view line = log.substr(log.rfind('\n') + 1);
    const std::string name = source.native() + ": ";
    if (line.starts_with(name)) line.remove_prefix(name.size());
    return std::string(line);
}

ReaderOutput partsOf(std::string_view printed, const fs::path& source) {
    const std::size_t lineEnd = printed.rfind('\n' + std::string(reasonMark));
    const bool isMarked = lineEnd != std::string_view::npos || printed.starts_with(reasonMark);
    if (!isMarked) return {printed, lastReasonIn(printed, source)};
    const std::size_t mark = lineEnd + 1;  // 0 when it is the first line
    return {printed.substr(0, mark),
            std::string(withoutLineEnd(printed.substr(mark + reasonMark.size())))};
}

void logLines(std::string_view log) {
    constexpr int mostLines = 100;
    std::istringstream lines{std::string(log)};
    std::string line;
    for (int i = 0; i < mostLines && std::getline(lines, line); ++i)
        logLine(line);
}

ReaderAnswer refused(const fs::path& source, const std::string& reason) {
    logLine(source.native() + ": " + reason);
    return {ReaderResult::refused, reason};
}

// What its exit says. It has printed itself why it refuses the file, or could not write.
ReaderAnswer answerOf(int exit, const std::string& reason, const fs::path& source) {
    switch (static_cast<ReaderExit>(exit)) {
        case ReaderExit::done:
            return {ReaderResult::done};
        case ReaderExit::refused:
            return {ReaderResult::refused, reason};
        case ReaderExit::nothing:
            return {ReaderResult::nothing};
        case ReaderExit::target:
            return {ReaderResult::target, reason};
        case ReaderExit::memory:
            return refused(source, "reading it takes more than " +
                                       std::to_string(readerMemory >> 20) + " MiB of memory");
    }
    return refused(source, "the reader ended with " + std::to_string(exit));
}

ReaderAnswer answerOf(const HelperEnd& end, const std::string& reason, const fs::path& source,
                      std::chrono::seconds time) {
    const std::string tooLong = "reading it took more than " + std::to_string(time.count()) + " s";
    switch (end.kind) {
        case HelperEnd::Kind::notStarted:
            return refused(source, "the reader cannot be started");
        case HelperEnd::Kind::tookTooLong:
            return refused(source, tooLong);
        case HelperEnd::Kind::killed:
            if (end.number == SIGXCPU) return refused(source, tooLong);
            return refused(source, std::string("the reader crashed: ") + sigdescr_np(end.number));
        case HelperEnd::Kind::exited:
            break;
    }
    return answerOf(end.number, reason, source);
}

std::string contentOf(const fs::path& path) {
    // More than any job writes.
    constexpr std::uint64_t most = std::uint64_t{256} << 20;
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    if (!file.isOpen() || file.size() > most) return {};
    std::string bytes(file.size(), '\0');
    if (!file.readAt(0, bytes.data(), bytes.size())) bytes.clear();
    return bytes;
}

}  // namespace

ReaderAnswer runReader(const std::string& job, const fs::path& source,
                       const std::vector<std::string>& arguments) {
    const auto reader = pathForHelper(readerName);
    if (!reader) return refused(source, std::string(readerName) + " is missing");
    std::vector<std::string> all = {job, source.native()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const std::chrono::seconds time = readerTime(job, source);
    std::optional<ReaderPlace> place;
    if (!isAboutMetadata(job)) place.emplace();
    const HelperEnd end = runHelper(*reader, all, patience(time));
    place.reset();
    const ReaderOutput output = partsOf(end.output, source);
    logLines(output.log);
    return answerOf(end, output.reason, source, time);
}

ReaderBytes readInReader(const std::string& job, const fs::path& source,
                         const std::vector<std::string>& arguments) {
    const fs::path target = newScratchPath(".read");
    std::vector<std::string> all = {target.native()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    ReaderBytes read{runReader(job, source, all), {}};
    if (read.answer.result == ReaderResult::done) read.bytes = contentOf(target);
    std::error_code ignored;
    fs::remove(target, ignored);
    return read;
}

}  // namespace lumaweave
