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

#include "imaging/CarriedRecords.h"
#include "imaging/DecoderHere.h"
#include "imaging/MetadataBlocks.h"
#include "imaging/ReaderJobs.h"
#include "imaging/RecordedFocalLength.h"
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

ReaderExit write(const fs::path& target, std::string_view bytes) {
    std::ofstream file(target, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file.fail()) return ReaderExit::done;
    Log("Cannot write " + target.native());
    std::error_code ignored;
    fs::remove(target, ignored);
    return ReaderExit::target;
}

ReaderExit decode(const Job& job) {
    switch (decodeToTiffHere(job.source, job.target()).failure) {
        case DecodeFailure::none:
            return ReaderExit::done;
        case DecodeFailure::unreadable:
            return ReaderExit::refused;
        case DecodeFailure::workingFolder:
            return ReaderExit::target;
    }
    return ReaderExit::refused;
}

ReaderExit readMetadata(const Job& job) {
    const auto records = readCarriedRecords(job.source);
    if (!records) return ReaderExit::refused;
    if (saysNothing(*records)) return ReaderExit::nothing;
    return write(job.target(), packMetadata({descriptionOf(*records), asTiff(*records, false, 0),
                                             asTiff(*records, true, 0)}));
}

ReaderExit moveMetadata(const Job& job) {
    const std::string& place = job.arguments[2];
    std::size_t firstByte = 0;
    std::from_chars(place.data(), place.data() + place.size(), firstByte);
    const auto records = readCarriedRecords(job.source);
    if (!records) return ReaderExit::refused;
    const std::vector<std::byte> tiff = asTiff(*records, job.arguments[1] == "MM", firstByte);
    return write(job.target(), {reinterpret_cast<const char*>(tiff.data()), tiff.size()});
}

ReaderExit readFocalLength(const Job& job) {
    const auto length = recordedFocalLength(job.source);
    if (!length) return ReaderExit::nothing;
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), *length);
    return write(job.target(), {digits.data(), static_cast<std::size_t>(end.ptr - digits.data())});
}

ReaderExit perform(const Job& job) {
    using Seconds = std::chrono::seconds;
    const FileDescriptor source = FileDescriptor::ofRegularFile(job.source);
    const Seconds decoding = decodingTime(source.isOpen() ? source.size() : 0);
    const auto within = [&job](Seconds time, ReaderExit (*work)(const Job&)) {
        limitThisProcess(time);
        return work(job);
    };
    const auto check = [](bool good) { return good ? ReaderExit::done : ReaderExit::refused; };
    if (job.is(readerJobs::decode, 1)) return within(decoding, decode);
    if (job.is(readerJobs::checkHeader, 0)) {
        limitThisProcess(decoding);
        return check(isDecodableHere(job.source));
    }
    if (job.is(readerJobs::checkPixels, 0)) {
        limitThisProcess(decoding);
        return check(isWhollyDecodableHere(job.source));
    }
    if (job.is(readerJobs::metadata, 1)) return within(metadataTime, readMetadata);
    if (job.is(readerJobs::moveMetadata, 3)) return within(metadataTime, moveMetadata);
    if (job.is(readerJobs::focalLength, 1)) return within(metadataTime, readFocalLength);
    Log("A part of Lumaweave, which starts it for files that may do harm.");
    return ReaderExit::refused;
}

}  // namespace

}  // namespace lumaweave

int main(int argc, char** argv) {
    using namespace lumaweave;
    endWithTheProgram();
    // The process's own bound is the one that counts.
    QImageReader::setAllocationLimit(0);
    ReaderExit exit = ReaderExit::refused;
    try {
        Job job;
        if (argc > 1) job.name = argv[1];
        if (argc > 2) job.source = argv[2];
        for (int i = 3; i < argc; ++i)
            job.arguments.emplace_back(argv[i]);
        exit = perform(job);
    } catch (const std::exception& error) {
        Log(error.what());
    }
    // Nothing is left to be tidied up, and what a hostile file has done to the libraries' state is
    // not touched again.
    _exit(static_cast<int>(exit));
}
