// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/QtCodec.h"

#include <QColorSpace>
#include <QFile>
#include <QImageReader>
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "imaging/formats/Formats.h"
#include "imaging/picture/ColourProfile.h"
#include "platform/FileDescriptor.h"

// Qt's own decoders, for the few formats that no other library here reads, and for files that
// libvips does not take.

namespace lumaweave {

namespace {

bool isDeep(QImage::Format format) {
    return format == QImage::Format_Grayscale16 || format == QImage::Format_RGBX64 ||
           format == QImage::Format_RGBA64 || format == QImage::Format_RGBA64_Premultiplied;
}

QImage::Format targetFormat(const QImage& image, PixelFormat& format) {
    const bool grey =
        image.format() == QImage::Format_Grayscale16 || (image.depth() <= 8 && image.isGrayscale());
    format.alpha = image.hasAlphaChannel();
    format.colours = grey && !format.alpha ? 1 : 3;
    format.type = isDeep(image.format()) ? SampleType::uint16 : SampleType::uint8;
    if (format.type == SampleType::uint16) {
        return format.colours == 1 ? QImage::Format_Grayscale16 : QImage::Format_RGBA64;
    }
    if (format.colours == 1) return QImage::Format_Grayscale8;
    return format.alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888;
}

QByteArray usableProfile(const QImage& image, int colours) {
    const QByteArray profile = image.colorSpace().iccProfile();
    if (image.colorSpace() == QColorSpace(QColorSpace::SRgb)) return {};
    const bool fits = isProfileOf(profileColourSpace(colours), profile.constData(),
                                  static_cast<std::size_t>(profile.size()));
    return fits ? profile : QByteArray();
}

// One row of colours out of rows that have alpha too.
void copyWithoutAlpha(const QImage& image, int y, unsigned short* to) {
    const auto* from = reinterpret_cast<const unsigned short*>(image.constScanLine(y));
    for (int x = 0; x < image.width(); ++x)
        std::copy_n(from + 4 * x, 3, to + 3 * x);
}

class QtPicture : public WholePicture {
  public:
    QtPicture(const PictureFile& file, const char* name)
        : path_(file.path), file_(QFile::decodeName(file.path.c_str())), decoder_(&file_, name) {
        decoder_.setAutoTransform(true);
        // The named decoder and no other, whatever the file is called.
        decoder_.setAutoDetectImageFormat(false);
    }

    Outcome open() {
        if (!file_.open(QIODevice::ReadOnly) || !decoder_.canRead()) return notRead();
        // A moving picture is no photograph.
        if (decoder_.format() == "gif" && decoder_.imageCount() > 1) return notRead();
        QSize size = decoder_.size();
        if (!size.isValid()) return notRead();
        if (decoder_.transformation() & QImageIOHandler::TransformationRotate90) size.transpose();
        description_.width = size.width();
        description_.height = size.height();
        return {};
    }

  private:
    [[nodiscard]] Failure notRead() const {
        const bool known = decoder_.error() != QImageReader::UnknownError;
        return refused(
            path_, known ? decoder_.errorString().toStdString() : "not a picture that can be read");
    }

    Result<Image> decode() override {
        QImage image = decoder_.read();
        if (image.isNull()) return notRead();
        PixelFormat format;
        const QImage::Format target = targetFormat(image, format);
        const QByteArray profile = usableProfile(image, format.colours);
        image.convertTo(target);
        PixelBuffer buffer(image.width(), image.height(), format);
        buffer.description().colourProfile = profile;
        const bool hasSpareSample = target == QImage::Format_RGBA64 && !format.alpha;
        for (int y = 0; y < image.height(); ++y) {
            if (hasSpareSample) {
                copyWithoutAlpha(image, y, buffer.row<unsigned short>(y));
            } else {
                std::memcpy(buffer.row<std::byte>(y), image.constScanLine(y),
                            buffer.description().bytesPerRow());
            }
        }
        return std::move(buffer).finish();
    }

    std::filesystem::path path_;
    QFile file_;
    QImageReader decoder_;
};

OpenResult openPortableMap(const PictureFile& file) {
    char head[2] = {};
    if (!file.descriptor.readAt(0, head, sizeof head)) return Failure{"it cannot be read"};
    const char kind = head[1];
    return openWithQt(file, kind == '1' || kind == '4'   ? "pbm"
                            : kind == '2' || kind == '5' ? "pgm"
                                                         : "ppm");
}

bool isGif(std::string_view head, const ReadBytes&) {
    return hasAt(head, 0, "GIF87a") || hasAt(head, 0, "GIF89a");
}

bool isPortableMap(std::string_view head, const ReadBytes&) {
    return head.size() > 2 && head[0] == 'P' && head[1] >= '1' && head[1] <= '6' &&
           std::isspace(static_cast<unsigned char>(head[2])) != 0;
}

bool isBmp(std::string_view head, const ReadBytes&) {
    // A text may begin with these letters, too: the four reserved bytes behind the size are zero.
    return hasAt(head, 0, "BM") && hasAt(head, 6, std::string_view("\0\0\0\0", 4));
}

constexpr std::string_view bmpEndings[] = {"bmp"};

}  // namespace

OpenResult openWithQt(const PictureFile& file, const char* name) {
    constexpr std::uint64_t leastBytes = 4;
    if (file.descriptor.size() < leastBytes) return Failure{"it is too short for a picture"};
    auto picture = std::make_unique<QtPicture>(file, name);
    if (Outcome opened = picture->open(); !opened) return opened.failure();
    return picture;
}

constinit const PhotoFormat gifFormat = {
    .name = "GIF", .endings = {}, .recognises = isGif, .open = [](const PictureFile& file) {
        return openWithQt(file, "gif");
    }};

constinit const PhotoFormat portableMapFormat = {
    .name = "portable map", .endings = {}, .recognises = isPortableMap, .open = openPortableMap};

constinit const PhotoFormat bmpFormat = {
    .name = "BMP", .endings = bmpEndings, .recognises = isBmp, .open = [](const PictureFile& file) {
        return openWithQt(file, "bmp");
    }};

}  // namespace lumaweave
