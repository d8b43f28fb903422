#include "imaging/ImageDecoder.h"

#include "imaging/DecoderHere.h"
#include "imaging/HeldPixels.h"
#include "imaging/PhotoFormat.h"
#include "imaging/ReaderJobs.h"
#include "imaging/ReaderProcess.h"
#include "imaging/TiffFile.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// Whether a file of this format is decoded by the reader, whatever it holds: its library gives
// pictures as a whole, and has not been read by as many hostile eyes as the four that most
// photographs come in. Those are decoded here, which is faster.
bool isForReader(PhotoFormat format) {
    switch (format) {
        case PhotoFormat::none:
        case PhotoFormat::jpeg:
        case PhotoFormat::png:
        case PhotoFormat::tiff:
        case PhotoFormat::webp:
            return false;
        default:
            return true;
    }
}

bool goesToReader(const fs::path& path) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    if (!file.isOpen()) return false;
    const ReadBytes read = [&file](std::uint64_t offset, void* to, std::size_t count) {
        return file.readAt(offset, to, count);
    };
    const PhotoFormat format = photoFormatOf(read);
    if (format == PhotoFormat::none) return false;
    if (isForReader(format)) return true;
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
    const auto without = [&tiffPath](DecodeFailure failure) {
        std::error_code ignored;
        fs::remove(tiffPath, ignored);
        return DecodedFile{{}, failure};
    };
    const ReaderResult result = runReader(readerJobs::decode, path, {tiffPath.native()});
    if (result == ReaderResult::target) return without(DecodeFailure::workingFolder);
    if (result != ReaderResult::done) return without(DecodeFailure::unreadable);
    const auto image = mapTiff(tiffPath);
    if (image && isReasonable(*image)) return {*image, DecodeFailure::none};
    Log(path.native() + ": the reader has left no whole picture");
    return without(DecodeFailure::unreadable);
}

}  // namespace

DecodedFile decodeToTiff(const fs::path& path, const fs::path& tiffPath) {
    return goesToReader(path) ? decodeInReader(path, tiffPath) : decodeToTiffHere(path, tiffPath);
}

bool isDecodable(const fs::path& path) {
    if (!goesToReader(path)) return isDecodableHere(path);
    return runReader(readerJobs::checkHeader, path) == ReaderResult::done;
}

bool isWhollyDecodable(const fs::path& path) {
    if (!goesToReader(path)) return isWhollyDecodableHere(path);
    return runReader(readerJobs::checkPixels, path) == ReaderResult::done;
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
