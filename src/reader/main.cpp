// SPDX-License-Identifier: GPL-3.0-or-later

// The reader: reads one file in a process of its own, so that a hostile one harms nothing else.
// lumaweave-reader JOB SOURCE [ARGUMENT...]; the jobs are in ReaderJobs.h.

#include <QImageReader>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "imaging/decoding/DecoderHere.h"
#include "imaging/metadata/CarriedRecords.h"
#include "imaging/metadata/MetadataBlocks.h"
#include "imaging/metadata/RecordedFocalLength.h"
#include "imaging/reader/ReaderJobs.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"
#include "reader/Limits.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

struct Job {
    std::string name;
    fs::path source;
    std::vector<std::string> arguments;

    [[nodiscard]] bool is(std::string_view job, std::size_t argumentCount) const {
        return name == job && arguments.size() == argumentCount;
    }
    [[nodiscard]] fs::path target() const { return arguments.front(); }
};

std::chrono::seconds decodingTimeOf(const fs::path& source) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(source);
    return decodingTime(file.isOpen() ? file.size() : 0);
}

// How a job has ended, and why it failed.
struct End {
    ReaderExit exit = ReaderExit::refused;
    std::string reason = {};
};

End write(const fs::path& target, std::string_view bytes) {
    std::ofstream file(target, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file.fail()) return {ReaderExit::done};
    logLine("Cannot write " + target.native());
    std::error_code ignored;
    fs::remove(target, ignored);
    return {ReaderExit::target, "what was read cannot be written"};
}

End decode(const Job& job) {
    const DecodedFile decoded = decodeToTiffHere(job.source, job.target());
    switch (decoded.failure) {
        case DecodeFailure::none:
            return {ReaderExit::done};
        case DecodeFailure::unreadable:
            return {ReaderExit::refused, decoded.reason};
        case DecodeFailure::workingFolder:
            return {ReaderExit::target, decoded.reason};
    }
    return {ReaderExit::refused};
}

End endOf(const Outcome& outcome) {
    return {outcome ? ReaderExit::done : ReaderExit::refused, outcome.reason()};
}

End checkHeader(const Job& job) {
    return endOf(isDecodableHere(job.source));
}

End checkPixels(const Job& job) {
    return endOf(isWhollyDecodableHere(job.source));
}

End readMetadata(const Job& job) {
    const auto records = readCarriedRecords(job.source);
    if (!records) return {ReaderExit::refused};
    if (saysNothing(*records)) return {ReaderExit::nothing};
    return write(job.target(), packMetadata({descriptionOf(*records), asTiff(*records, false, 0),
                                             asTiff(*records, true, 0)}));
}

End moveMetadata(const Job& job) {
    const std::string& place = job.arguments[2];
    std::size_t firstByte = 0;
    std::from_chars(place.data(), place.data() + place.size(), firstByte);
    const auto records = readCarriedRecords(job.source);
    if (!records) return {ReaderExit::refused};
    const std::vector<std::byte> tiff = asTiff(*records, job.arguments[1] == "MM", firstByte);
    return write(job.target(), {reinterpret_cast<const char*>(tiff.data()), tiff.size()});
}

End readFocalLength(const Job& job) {
    const auto length = recordedFocalLength(job.source);
    if (!length) return {ReaderExit::nothing};
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), *length);
    return write(job.target(), {digits.data(), static_cast<std::size_t>(end.ptr - digits.data())});
}

End perform(const Job& job) {
    struct Work {
        const char* name;
        std::size_t argumentCount;
        End (*perform)(const Job&);
        bool isAboutMetadata;
    };
    constexpr std::array works = {Work{reader_jobs::decode, 1, decode, false},
                                  Work{reader_jobs::checkHeader, 0, checkHeader, false},
                                  Work{reader_jobs::checkPixels, 0, checkPixels, false},
                                  Work{reader_jobs::metadata, 1, readMetadata, true},
                                  Work{reader_jobs::moveMetadata, 3, moveMetadata, true},
                                  Work{reader_jobs::focalLength, 1, readFocalLength, true}};
    for (const Work& work : works) {
        if (!job.is(work.name, work.argumentCount)) continue;
        limitThisProcess(work.isAboutMetadata ? metadataTime : decodingTimeOf(job.source));
        return work.perform(job);
    }
    logLine("A part of Lumaweave, which starts it for files that may do harm.");
    return {ReaderExit::refused, "no such job"};
}

}  // namespace

}  // namespace lumaweave

int main(int argc, char** argv) {
    using namespace lumaweave;
    endWithTheProgram();
    // The process's own bound is the one that counts.
    QImageReader::setAllocationLimit(0);
    End end;
    try {
        Job job;
        if (argc > 1) job.name = argv[1];
        if (argc > 2) job.source = argv[2];
        for (int i = 3; i < argc; ++i)
            job.arguments.emplace_back(argv[i]);
        end = perform(job);
    } catch (const std::exception& error) {
        logLine(error.what());
        end.reason = error.what();
    }
    if (!end.reason.empty()) printLine(std::string(reasonMark) + end.reason);
    // Nothing is left to tidy up, and the libraries do not touch again what a hostile file has done
    // to their state.
    _exit(static_cast<int>(end.exit));
}
