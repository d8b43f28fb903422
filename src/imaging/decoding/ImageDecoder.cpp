// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/decoding/ImageDecoder.h"

#include "imaging/decoding/DecoderHere.h"
#include "imaging/formats/HeldPixels.h"
#include "imaging/formats/PhotoFormat.h"
#include "imaging/reader/ReaderJobs.h"
#include "imaging/reader/ReaderProcess.h"
#include "imaging/tiff/TiffFile.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

bool goesToReader(const fs::path& path) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    if (!file.isOpen()) return false;
    const ReadBytes read = readBytesOf(file);
    const PhotoFormat* format = photoFormatOf(read);
    if (format == nullptr) return false;
    if (format->decodedBy == DecodedBy::reader) return true;
    // A picture that can only be decoded as a whole, and is this large, could take more memory than
    // there is: the reader's is bounded.
    constexpr std::uint64_t most = std::uint64_t{256} << 20;
    return pixelBytesHeldAtOnce(read, file.size()) > most || !isQuicklyDecodableHere(path);
}

bool isReasonable(const Image& image) {
    return image.pixelsWide() <= longestSide && image.pixelsHigh() <= longestSide &&
           static_cast<long long>(image.pixelsWide()) * image.pixelsHigh() <= largestPixelCount;
}

DecodedFile decodeInReader(const fs::path& path, const fs::path& tiffPath) {
    const auto without = [&tiffPath](DecodeFailure failure, const std::string& reason) {
        std::error_code ignored;
        fs::remove(tiffPath, ignored);
        return DecodedFile{{}, failure, reason};
    };
    const ReaderAnswer answer = runReader(reader_jobs::decode, path, {tiffPath.native()});
    if (answer.result == ReaderResult::target) {
        return without(DecodeFailure::workingFolder, answer.reason);
    }
    if (answer.result != ReaderResult::done) {
        return without(DecodeFailure::unreadable, answer.reason);
    }
    const auto image = mapTiff(tiffPath);
    if (image && isReasonable(*image)) return {*image, DecodeFailure::none};
    const std::string reason = "the reader has left no whole picture";
    logLine(path.native() + ": " + reason);
    return without(DecodeFailure::unreadable, reason);
}

Outcome askReader(const std::string& job, const fs::path& path) {
    const ReaderAnswer answer = runReader(job, path);
    return answer.result == ReaderResult::done ? Outcome() : Failure{answer.reason};
}

}  // namespace

DecodedFile decodeToTiff(const fs::path& path, const fs::path& tiffPath) {
    return goesToReader(path) ? decodeInReader(path, tiffPath) : decodeToTiffHere(path, tiffPath);
}

Outcome isDecodable(const fs::path& path) {
    return goesToReader(path) ? askReader(reader_jobs::checkHeader, path) : isDecodableHere(path);
}

Outcome isWhollyDecodable(const fs::path& path) {
    return goesToReader(path) ? askReader(reader_jobs::checkPixels, path)
                              : isWhollyDecodableHere(path);
}

Image decodeImage(const fs::path& path) {
    if (!goesToReader(path)) return decodeImageHere(path);
    const fs::path scratch = newScratchPath(".tif");
    Image image = decodeInReader(path, scratch).image;
    std::error_code ignored;
    fs::remove(scratch, ignored);
    return image;
}

}  // namespace lumaweave
