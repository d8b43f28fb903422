#include "imaging/DecoderHere.h"

#include <sys/statvfs.h>

#include <chrono>
#include <cstring>
#include <exception>
#include <functional>
#include <string>

#include "imaging/PictureReader.h"
#include "imaging/RawDecoder.h"
#include "imaging/ReaderJobs.h"
#include "imaging/TiffFile.h"
#include "imaging/TiffWriter.h"
#include "imaging/TimedSource.h"
#include "imaging/Upright.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

enum class LastResort { no, yes };

// The format's own reader, then, where it refuses, Qt's as a last resort.
OpenedPicture openAs(PhotoFormat format, const PictureFile& file, LastResort lastResort) {
    OpenedPicture picture;
    switch (format) {
        case PhotoFormat::none:
            Log("Not a photograph: " + file.path.native());
            return nullptr;
        case PhotoFormat::raw:
            return openRaw(file);
        case PhotoFormat::heif:
            return openHeif(file);
        case PhotoFormat::openExr:
            return openExr(file);
        case PhotoFormat::simple:
            return openWithQt(file, format);
        case PhotoFormat::tiff:
            picture = openUncommonTiff(file);
            if (picture) return picture;
            break;
        default:
            break;
    }
    picture = openWithVips(file, format);
    if (picture || lastResort == LastResort::no) return picture;
    return openWithQt(file, format);
}

bool isTooLarge(const PixelData& picture) {
    return static_cast<long long>(picture.width) * picture.height > largestPixelCount ||
           picture.width > longestSide || picture.height > longestSide;
}

bool hasRoomFor(const PixelData& description, const fs::path& file) {
    struct statvfs status {};
    if (statvfs(file.parent_path().c_str(), &status) != 0) return false;
    const auto room = static_cast<unsigned long long>(status.f_bavail) * status.f_frsize;
    return description.byteCount() < room;
}

// Streams pixels into a TIFF and maps it. readRows: as PictureReader's.
using ReadRows = std::function<PictureReader::Result(int, const PictureReader::TakeRows&)>;
DecodedFile streamToTiff(const ReadRows& readRows, const PixelData& description,
                         const fs::path& path, const fs::path& tiffPath) {
    if (!hasRoomFor(description, tiffPath)) {
        Log("No room for the pixels of " + path.native());
        return {{}, DecodeFailure::workingFolder};
    }
    TiffStripWriter writer;
    if (!writer.open(tiffPath, description)) return {{}, DecodeFailure::workingFolder};
    const auto result = readRows(writer.stripRows(), [&writer](const void* rows, int count) {
        return writer.writeStrip(rows, count);
    });
    if (result == PictureReader::Result::unreadable) return {{}, DecodeFailure::unreadable};
    if (result == PictureReader::Result::refused || !writer.close()) {
        return {{}, DecodeFailure::workingFolder};
    }
    auto image = mapTiff(tiffPath);
    if (!image) return {{}, DecodeFailure::workingFolder};
    return {*image, DecodeFailure::none};
}

// A few hundred bytes may claim hundreds of megapixels, all of which would be turned.
std::chrono::nanoseconds turningTime(const fs::path& path) {
    std::error_code none;
    const std::uintmax_t size = fs::file_size(path, none);
    return decodingTime(none ? 0 : size) / 2;
}

// The picture turned as its orientation asks, in a file that takes the place of the first one.
DecodedFile turnUpright(const Image& sideways, int orientation, const fs::path& path,
                        const fs::path& tiffPath) {
    const PixelData& from = sideways.pixels();
    const std::chrono::nanoseconds time = turningTime(path);
    const WorkLimit limit(time);
    const auto readRows = [&](int stripRows, const PictureReader::TakeRows& take) {
        bool inTime = true;
        const auto takeInTime = [&](const void* rows, int count) {
            inTime = !limit.isOver();
            return inTime && take(rows, count);
        };
        if (readUprightRows(from, orientation, stripRows, takeInTime)) {
            return PictureReader::Result::done;
        }
        if (inTime) return PictureReader::Result::refused;
        Log(path.native() + ": turning it takes more than " +
            std::to_string(std::chrono::duration_cast<std::chrono::seconds>(time).count()) + " s");
        return PictureReader::Result::unreadable;
    };
    return streamToTiff(readRows, uprightDescription(from, orientation), path, tiffPath);
}

// Opens a file with the reader that its content asks for, and reads its header. Null, with the
// reason in the log, when it is no photograph, is damaged, or has too many pixels.
OpenedPicture openPicture(const fs::path& path, LastResort lastResort = LastResort::yes) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    if (!file.isOpen()) {
        Log("Not a readable file: " + path.native());
        return nullptr;
    }
    const ReadBytes read = [&file](std::uint64_t offset, void* to, std::size_t byteCount) {
        return file.readAt(offset, to, byteCount);
    };
    OpenedPicture picture;
    try {
        picture = openAs(photoFormatOf(read), {file, path}, lastResort);
    } catch (const std::exception& error) {
        Log(path.native() + ": " + error.what());
    }
    if (picture && isTooLarge(picture->description())) {
        Log("Too many pixels: " + path.native());
        return nullptr;
    }
    return picture;
}

}  // namespace

DecodedFile decodeToTiffHere(const fs::path& path, const fs::path& tiffPath) {
    const OpenedPicture picture = openPicture(path);
    if (!picture || !picture->prepare()) return {{}, DecodeFailure::unreadable};
    DecodedFile decoded = streamToTiff(
        [&picture](int stripRows, const PictureReader::TakeRows& take) {
            return picture->readRows(stripRows, take);
        },
        picture->description(), path, tiffPath);
    if (decoded.image.isNull() || picture->orientation() == 1) return decoded;
    DecodedFile upright = turnUpright(decoded.image, picture->orientation(), path, tiffPath);
    std::error_code ignored;
    if (upright.image.isNull()) fs::remove(tiffPath, ignored);  // the one that is not upright
    return upright;
}

bool isDecodableHere(const fs::path& path) {
    return openPicture(path) != nullptr;
}

bool isQuicklyDecodableHere(const fs::path& path) {
    return openPicture(path, LastResort::no) != nullptr;
}

bool isWhollyDecodableHere(const fs::path& path) {
    const OpenedPicture picture = openPicture(path);
    if (!picture || !picture->prepare()) return false;
    constexpr int rowsAtATime = 64;
    return picture->readRows(rowsAtATime, [](const void*, int) { return true; }) ==
           PictureReader::Result::done;
}

Image decodeImageHere(const fs::path& path) {
    constexpr std::size_t largestInMemory = std::size_t{32} << 20;
    const OpenedPicture picture = openPicture(path);
    if (!picture) return {};
    if (picture->orientation() != 1 || picture->description().byteCount() > largestInMemory) {
        const fs::path scratch = newScratchPath(".tif");
        Image image = decodeToTiffHere(path, scratch).image;
        std::error_code ignored;
        fs::remove(scratch, ignored);
        return image;
    }
    if (!picture->prepare()) return {};
    const PixelData& description = picture->description();
    PixelBuffer buffer(description.width, description.height, description.format);
    buffer.description().colourProfile = description.colourProfile;
    buffer.description().pixelsPerMillimetre = description.pixelsPerMillimetre;
    auto* next = buffer.row<std::byte>(0);
    const std::size_t rowBytes = description.bytesPerRow();
    constexpr int rowsAtATime = 64;
    const auto result = picture->readRows(rowsAtATime, [&](const void* rows, int count) {
        const std::size_t size = rowBytes * static_cast<std::size_t>(count);
        std::memcpy(next, rows, size);
        next += size;
        return true;
    });
    if (result != PictureReader::Result::done) return {};
    return std::move(buffer).finish();
}

}  // namespace lumaweave
