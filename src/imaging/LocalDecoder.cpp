#include "imaging/LocalDecoder.h"

#include <sys/statvfs.h>

#include <functional>
#include <string>

#include "imaging/RawDecoder.h"
#include "imaging/TiffFile.h"
#include "imaging/TiffWriter.h"
#include "imaging/Upright.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// The format's own reader, then, where it refuses, Qt's.
OpenedPicture openAs(PhotoFormat format, const PictureFile& file) {
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
    return picture ? std::move(picture) : openWithQt(file, format);
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

// The picture turned as its orientation asks, in a file that takes the place of the first one.
DecodedFile turnUpright(const Image& sideways, int orientation, const fs::path& path,
                        const fs::path& tiffPath) {
    const PixelData& from = sideways.pixels();
    const auto readRows = [&](int stripRows, const PictureReader::TakeRows& take) {
        return readUprightRows(from, orientation, stripRows, take) ? PictureReader::Result::done
                                                                   : PictureReader::Result::refused;
    };
    return streamToTiff(readRows, uprightDescription(from, orientation), path, tiffPath);
}

}  // namespace

OpenedPicture openPicture(const fs::path& path) {
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    if (!file.isOpen()) {
        Log("Not a readable file: " + path.native());
        return nullptr;
    }
    const ReadBytes read = [&file](std::uint64_t offset, void* to, std::size_t byteCount) {
        return file.readAt(offset, to, byteCount);
    };
    OpenedPicture picture = openAs(photoFormatOf(read), {file, path});
    if (picture && isTooLarge(picture->description())) {
        Log("Too many pixels: " + path.native());
        return nullptr;
    }
    return picture;
}

DecodedFile decodeToTiffHere(const fs::path& path, const fs::path& tiffPath) {
    const OpenedPicture picture = openPicture(path);
    if (!picture || !picture->prepare()) return {{}, DecodeFailure::unreadable};
    const DecodedFile decoded = streamToTiff(
        [&picture](int stripRows, const PictureReader::TakeRows& take) {
            return picture->readRows(stripRows, take);
        },
        picture->description(), path, tiffPath);
    if (decoded.image.isNull() || picture->orientation() == 1) return decoded;
    return turnUpright(decoded.image, picture->orientation(), path, tiffPath);
}

}  // namespace lumaweave
