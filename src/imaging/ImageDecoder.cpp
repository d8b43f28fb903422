#include "imaging/ImageDecoder.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "imaging/ColourProfile.h"
#include "imaging/PixelData.h"
#include "imaging/TiffFile.h"
#include "imaging/TiffWriter.h"
#include "imaging/VipsLibrary.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using vips::VImage;

namespace {

bool looksLikeWebp(const FileDescriptor& file) {
    char head[12] = {};
    return file.readAt(0, head, sizeof head) && std::memcmp(head, "RIFF", 4) == 0 &&
           std::memcmp(head + 8, "WEBP", 4) == 0;
}

// A picture whose pixels have not been read yet, in one of the forms that Image knows.
struct PendingImage {
    std::vector<char> fileBytes;  // what the picture reads from, where that is memory
    VImage pixels;
    PixelData description;
    int orientation = 1;
};

VImage openPixels(const FileDescriptor& file, std::vector<char>& fileBytes) {
    vips::VOption* options =
        VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL)->set("fail_on", VIPS_FAIL_ON_ERROR);
    if (looksLikeWebp(file)) {
        // libvips would map a WebP file, and a file that shrinks under its map ends the program.
        fileBytes.resize(file.size());
        if (!file.readAt(0, fileBytes.data(), fileBytes.size())) fileBytes.clear();
        return VImage::new_from_buffer(fileBytes.data(), fileBytes.size(), "", options);
    }
    return VImage::new_from_source(vips::VSource::new_from_descriptor(file.number()), "", options);
}

bool isCmyk(const VImage& image) {
    return image.interpretation() == VIPS_INTERPRETATION_CMYK;
}

bool hasProfile(const VImage& image) {
    return image.get_typeof(VIPS_META_ICC_NAME) != 0;
}

bool hasProfileOf(const char* colourSpace, const VImage& image) {
    if (!hasProfile(image)) return false;
    std::size_t size = 0;
    const void* bytes = image.get_blob(VIPS_META_ICC_NAME, &size);
    return isProfileOf(colourSpace, bytes, size);
}

bool isRgbOrGrey(VipsInterpretation interpretation) {
    switch (interpretation) {
        case VIPS_INTERPRETATION_B_W:
        case VIPS_INTERPRETATION_GREY16:
        case VIPS_INTERPRETATION_RGB:
        case VIPS_INTERPRETATION_sRGB:
        case VIPS_INTERPRETATION_RGB16:
        case VIPS_INTERPRETATION_scRGB:
        case VIPS_INTERPRETATION_MULTIBAND:
            return true;
        default:
            return false;
    }
}

// Colour spaces that the fusion tool does not take become sRGB.
VImage toRgbOrGrey(const VImage& image) {
    if (isRgbOrGrey(image.interpretation())) return image;
    if (isCmyk(image)) {
        return image.icc_transform("srgb", VImage::option()
                                               ->set("embedded", hasProfileOf("CMYK", image))
                                               ->set("input_profile", "cmyk"));
    }
    VImage rgb = image.colourspace(VIPS_INTERPRETATION_sRGB).copy();
    rgb.remove(VIPS_META_ICC_NAME);
    return rgb;
}

// 8 and 16-bit integers and floats stay; other depths go to the next one of these that holds them.
VImage toKnownDepth(const VImage& image, SampleType* type) {
    switch (image.format()) {
        case VIPS_FORMAT_UCHAR:
        case VIPS_FORMAT_CHAR:
            *type = SampleType::uint8;
            return image.cast(VIPS_FORMAT_UCHAR);
        case VIPS_FORMAT_USHORT:
        case VIPS_FORMAT_SHORT:
            *type = SampleType::uint16;
            return image.cast(VIPS_FORMAT_USHORT);
        case VIPS_FORMAT_UINT:
        case VIPS_FORMAT_INT:
            *type = SampleType::uint16;
            return image.cast(VIPS_FORMAT_UINT)
                .linear(65535.0 / 4294967295.0, 0.5)
                .cast(VIPS_FORMAT_USHORT);
        default:
            *type = SampleType::float32;
            return image.cast(VIPS_FORMAT_FLOAT);
    }
}

// The profile, where it speaks of pictures of this kind.
QByteArray usableProfile(const VImage& image, int colours) {
    if (!hasProfile(image)) return {};
    if (!hasProfileOf(profileColourSpace(colours), image)) {
        Log("Colour profile of another kind of picture passed over");
        return {};
    }
    std::size_t size = 0;
    const auto* bytes = static_cast<const char*>(image.get_blob(VIPS_META_ICC_NAME, &size));
    return {bytes, static_cast<qsizetype>(size)};
}

void describe(const VImage& opened, PendingImage& pending) {
    PixelData& description = pending.description;
    description.width = opened.width();
    description.height = opened.height();
    description.pixelsPerMillimetre = opened.xres();
    pending.orientation = vips_image_get_orientation(opened.get_image());
    VImage image = toRgbOrGrey(opened);
    PixelFormat& format = description.format;
    format.colours = image.bands() >= 3 ? 3 : 1;
    format.alpha = image.bands() > format.colours;
    description.colourProfile = usableProfile(image, format.colours);
    if (image.bands() > format.samples()) {
        image = image.extract_band(0, VImage::option()->set("n", format.samples()));
    }
    pending.pixels = toKnownDepth(image, &format.type);
}

bool isTooLarge(const VImage& image) {
    return static_cast<long long>(image.width()) * image.height() > largestPixelCount ||
           image.width() > longestSide || image.height() > longestSide;
}

// Opens a file and reads its header. The reason of a failure is in the log.
bool openImage(const fs::path& path, PendingImage& pending) {
    startVips();
    vips_error_clear();
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    if (!file.isOpen()) {
        Log("Not a readable file: " + path.native());
        return false;
    }
    try {
        const VImage opened = openPixels(file, pending.fileBytes);
        if (isTooLarge(opened)) {
            Log("Too many pixels: " + path.native());
            return false;
        }
        describe(opened, pending);
        return true;
    } catch (const vips::VError& error) {
        Log(path.native() + ": " + error.what());
        vips_error_clear();
        return false;
    }
}

using TakeRows = std::function<bool(const void* rows, int rowCount)>;

enum class PullResult { done, unreadable, refused };

// Reads the pixels from top to bottom in pieces of stripRows rows, in this thread.
PullResult pullRows(const VImage& image, std::size_t rowBytes, int stripRows,
                    const TakeRows& take) {
    VipsRegion* region = vips_region_new(image.get_image());
    std::vector<std::byte> packed;
    PullResult result = PullResult::done;
    for (int y = 0; y < image.height() && result == PullResult::done; y += stripRows) {
        const VipsRect area = {0, y, image.width(), std::min(stripRows, image.height() - y)};
        if (vips_region_prepare(region, &area) != 0) {
            result = PullResult::unreadable;
            break;
        }
        const void* rows = VIPS_REGION_ADDR(region, 0, y);
        if (static_cast<std::size_t>(VIPS_REGION_LSKIP(region)) != rowBytes) {
            packed.resize(rowBytes * static_cast<std::size_t>(area.height));
            for (int i = 0; i < area.height; ++i) {
                std::memcpy(packed.data() + rowBytes * static_cast<std::size_t>(i),
                            VIPS_REGION_ADDR(region, 0, y + i), rowBytes);
            }
            rows = packed.data();
        }
        if (!take(rows, area.height)) result = PullResult::refused;
    }
    g_object_unref(region);
    return result;
}

bool hasRoomFor(const PixelData& description, const fs::path& file) {
    struct statvfs status {};
    if (statvfs(file.parent_path().c_str(), &status) != 0) return false;
    const auto room = static_cast<unsigned long long>(status.f_bavail) * status.f_frsize;
    return description.byteCount() < room;
}

// Streams the pixels into a TIFF and maps it.
DecodedFile streamToTiff(const VImage& pixels, const PixelData& description, const fs::path& path,
                         const fs::path& tiffPath) {
    if (!hasRoomFor(description, tiffPath)) {
        Log("No room for the pixels of " + path.native());
        return {{}, DecodeFailure::workingFolder};
    }
    TiffStripWriter writer;
    if (!writer.open(tiffPath, description)) return {{}, DecodeFailure::workingFolder};
    const PullResult pulled =
        pullRows(pixels, description.bytesPerRow(), writer.stripRows(),
                 [&writer](const void* rows, int count) { return writer.writeStrip(rows, count); });
    if (pulled == PullResult::unreadable) {
        Log(path.native() + ": " + vips_error_buffer());
        vips_error_clear();
        return {{}, DecodeFailure::unreadable};
    }
    if (pulled == PullResult::refused || !writer.close()) {
        return {{}, DecodeFailure::workingFolder};
    }
    auto image = mapTiff(tiffPath);
    if (!image) return {{}, DecodeFailure::workingFolder};
    return {*image, DecodeFailure::none};
}

// The picture turned as its orientation tag asks, in a file that takes the place of the first one.
DecodedFile turnUpright(const Image& sideways, int orientation, const fs::path& path,
                        const fs::path& tiffPath) {
    const PixelData& from = sideways.pixels();
    constexpr VipsBandFormat formats[] = {VIPS_FORMAT_UCHAR, VIPS_FORMAT_USHORT, VIPS_FORMAT_FLOAT};
    VImage picture = VImage::new_from_memory(const_cast<std::byte*>(from.bytes), from.byteCount(),
                                             from.width, from.height, from.format.samples(),
                                             formats[static_cast<int>(from.format.type)]);
    picture.set(VIPS_META_ORIENTATION, orientation);
    const VImage upright = picture.autorot();
    PixelData description = from;
    description.width = upright.width();
    description.height = upright.height();
    return streamToTiff(upright, description, path, tiffPath);
}

}  // namespace

DecodedFile decodeToTiff(const fs::path& path, const fs::path& tiffPath) {
    PendingImage pending;
    if (!openImage(path, pending)) return {{}, DecodeFailure::unreadable};
    DecodedFile decoded = streamToTiff(pending.pixels, pending.description, path, tiffPath);
    if (decoded.image.isNull() || pending.orientation == 1) return decoded;
    try {
        return turnUpright(decoded.image, pending.orientation, path, tiffPath);
    } catch (const vips::VError& error) {
        Log(path.native() + ": " + error.what());
        vips_error_clear();
        std::error_code ignored;
        fs::remove(tiffPath, ignored);
        return {{}, DecodeFailure::unreadable};
    }
}

bool isDecodable(const fs::path& path) {
    PendingImage pending;
    return openImage(path, pending);
}

bool isWhollyDecodable(const fs::path& path) {
    PendingImage pending;
    if (!openImage(path, pending)) return false;
    constexpr int rowsAtATime = 64;
    const PullResult pulled = pullRows(pending.pixels, pending.description.bytesPerRow(),
                                       rowsAtATime, [](const void*, int) { return true; });
    if (pulled == PullResult::done) return true;
    Log(path.native() + ": " + vips_error_buffer());
    vips_error_clear();
    return false;
}

Image decodeImage(const fs::path& path) {
    constexpr std::size_t largestInMemory = std::size_t{32} << 20;
    PendingImage pending;
    if (!openImage(path, pending)) return {};
    if (pending.orientation != 1 || pending.description.byteCount() > largestInMemory) {
        const fs::path scratch = newScratchPath(".tif");
        Image image = decodeToTiff(path, scratch).image;
        std::error_code ignored;
        fs::remove(scratch, ignored);
        return image;
    }
    PixelBuffer buffer(pending.description.width, pending.description.height,
                       pending.description.format);
    buffer.description().colourProfile = pending.description.colourProfile;
    buffer.description().pixelsPerMillimetre = pending.description.pixelsPerMillimetre;
    auto* next = buffer.row<std::byte>(0);
    const std::size_t rowBytes = pending.description.bytesPerRow();
    constexpr int rowsAtATime = 64;
    const PullResult pulled =
        pullRows(pending.pixels, rowBytes, rowsAtATime, [&](const void* rows, int count) {
            const std::size_t size = rowBytes * static_cast<std::size_t>(count);
            std::memcpy(next, rows, size);
            next += size;
            return true;
        });
    if (pulled != PullResult::done) {
        Log(path.native() + ": " + vips_error_buffer());
        vips_error_clear();
        return {};
    }
    return std::move(buffer).finish();
}

}  // namespace lumaweave
