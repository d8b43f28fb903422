// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/decoding/DecoderHere.h"

#include <sys/statvfs.h>

#include <chrono>
#include <cstring>
#include <exception>
#include <functional>
#include <string>

#include "imaging/formats/OpenedPicture.h"
#include "imaging/formats/PhotoFormat.h"
#include "imaging/formats/WorkLimit.h"
#include "imaging/picture/Upright.h"
#include "imaging/reader/ReaderJobs.h"
#include "imaging/tiff/TiffFile.h"
#include "imaging/tiff/TiffWriter.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

enum class LastResort { no, yes };

OpenResult openAs(const PhotoFormat& format, const PictureFile& file, LastResort lastResort) {
    OpenResult opened = format.open(file);
    if (opened || lastResort == LastResort::no || format.openAsLastResort == nullptr) return opened;
    OpenResult last = format.openAsLastResort(file);
    return last ? std::move(last) : std::move(opened);
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

DecodedFile unreadable(const Outcome& outcome) {
    return {{}, DecodeFailure::unreadable, outcome.reason()};
}

DecodedFile notWritten(const Outcome& outcome) {
    return {{}, DecodeFailure::workingFolder, outcome.reason()};
}

// Streams pixels into a TIFF and maps it. readRows: as OpenedPicture's.
using ReadRows = std::function<Outcome(int, const OpenedPicture::TakeRows&)>;
DecodedFile streamToTiff(const ReadRows& readRows, const PixelData& description,
                         const fs::path& path, const fs::path& tiffPath) {
    if (!hasRoomFor(description, tiffPath)) {
        logLine("No room for the pixels of " + path.native());
        return notWritten(Failure{"there is no room for its pixels"});
    }
    TiffStripWriter writer;
    Outcome writing = writer.open(tiffPath, description);
    if (!writing) return notWritten(writing);
    const Outcome reading = readRows(writer.stripRows(), [&](const void* rows, int count) {
        writing = writer.writeStrip(rows, count);
        return static_cast<bool>(writing);
    });
    if (writing && !reading) return unreadable(reading);
    if (writing) writing = writer.close();
    if (!writing) return notWritten(writing);
    auto image = mapTiff(tiffPath);
    if (!image) return notWritten(Failure{"its working copy cannot be read"});
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
    const auto readRows = [&](int stripRows, const OpenedPicture::TakeRows& take) -> Outcome {
        bool inTime = true;
        const auto takeInTime = [&](const void* rows, int count) {
            inTime = !limit.isOver();
            return inTime && take(rows, count);
        };
        if (readUprightRows(from, orientation, stripRows, takeInTime)) return {};
        if (inTime) return Failure{"its rows are not taken"};
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
        return refused(path, "turning it takes more than " + std::to_string(seconds) + " s");
    };
    return streamToTiff(readRows, uprightDescription(from, orientation), path, tiffPath);
}

// Opens a file with the codec that its content asks for, and reads its header. Fails, which is
// logged too, when it is no photograph, is damaged, or has too many pixels.
OpenResult openPicture(const fs::path& path, LastResort lastResort = LastResort::yes) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    if (!file.isOpen()) {
        logLine("Not a readable file: " + path.native());
        return Failure{"it is not a readable file"};
    }
    OpenResult opened = Failure{};
    try {
        const PhotoFormat* format = photoFormatOf(readBytesOf(file));
        if (format == nullptr) {
            logLine("Not a photograph: " + path.native());
            return Failure{"it is not a photograph"};
        }
        opened = openAs(*format, {file, path}, lastResort);
    } catch (const std::exception& error) {
        return refused(path, error.what());
    }
    if (opened && isTooLarge((*opened)->description())) {
        logLine("Too many pixels: " + path.native());
        return Failure{"it has too many pixels"};
    }
    return opened;
}

// The same, ready for its pixels to be read.
OpenResult openAndPrepare(const fs::path& path) {
    OpenResult opened = openPicture(path);
    if (!opened) return opened;
    if (const Outcome prepared = (*opened)->prepare(); !prepared) return prepared.failure();
    return opened;
}

// Null when they cannot be read.
Image readIntoMemory(OpenedPicture& picture) {
    const PixelData& description = picture.description();
    PixelBuffer buffer(description.width, description.height, description.format);
    buffer.description().colourProfile = description.colourProfile;
    buffer.description().pixelsPerMillimetre = description.pixelsPerMillimetre;
    auto* next = buffer.row<std::byte>(0);
    const std::size_t rowBytes = description.bytesPerRow();
    constexpr int rowsAtATime = 64;
    const Outcome reading = picture.readRows(rowsAtATime, [&](const void* rows, int count) {
        const std::size_t size = rowBytes * static_cast<std::size_t>(count);
        std::memcpy(next, rows, size);
        next += size;
        return true;
    });
    return reading ? std::move(buffer).finish() : Image();
}

}  // namespace

DecodedFile decodeToTiffHere(const fs::path& path, const fs::path& tiffPath) {
    OpenResult opened = openAndPrepare(path);
    if (!opened) return unreadable(opened.failure());
    OpenedPicture& picture = **opened;
    DecodedFile decoded = streamToTiff(
        [&picture](int stripRows, const OpenedPicture::TakeRows& take) {
            return picture.readRows(stripRows, take);
        },
        picture.description(), path, tiffPath);
    if (decoded.image.isNull() || picture.orientation() == 1) return decoded;
    DecodedFile upright = turnUpright(decoded.image, picture.orientation(), path, tiffPath);
    std::error_code ignored;
    if (upright.image.isNull()) fs::remove(tiffPath, ignored);  // the one that is not upright
    return upright;
}

Outcome isDecodableHere(const fs::path& path) {
    const OpenResult opened = openPicture(path);
    return opened ? Outcome() : opened.failure();
}

Outcome isQuicklyDecodableHere(const fs::path& path) {
    const OpenResult opened = openPicture(path, LastResort::no);
    return opened ? Outcome() : opened.failure();
}

Outcome isWhollyDecodableHere(const fs::path& path) {
    OpenResult opened = openAndPrepare(path);
    if (!opened) return opened.failure();
    constexpr int rowsAtATime = 64;
    return (*opened)->readRows(rowsAtATime, [](const void*, int) { return true; });
}

Image decodeImageHere(const fs::path& path) {
    constexpr std::size_t largestInMemory = std::size_t{32} << 20;
    OpenResult opened = openPicture(path);
    if (!opened) return {};
    OpenedPicture& picture = **opened;
    if (picture.orientation() != 1 || picture.description().byteCount() > largestInMemory) {
        const fs::path scratch = newScratchPath(".tif");
        Image image = decodeToTiffHere(path, scratch).image;
        std::error_code ignored;
        fs::remove(scratch, ignored);
        return image;
    }
    return picture.prepare() ? readIntoMemory(picture) : Image();
}

}  // namespace lumaweave
