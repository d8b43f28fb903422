#include <QColorSpace>
#include <QFile>
#include <QImageReader>
#include <algorithm>
#include <array>
#include <cstring>

#include "imaging/ColourProfile.h"
#include "imaging/PictureReader.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"

// Qt's own readers, for the few formats that no other library here is asked for, and for files that
// libvips does not take.

namespace lumaweave {

namespace {

// By these names alone: a plug-in that reads drawings or text may be installed too.
QByteArray readerFor(PhotoFormat format, const QByteArray& head) {
    switch (format) {
        case PhotoFormat::jpeg:
            return "jpeg";
        case PhotoFormat::png:
            return "png";
        case PhotoFormat::webp:
            return "webp";
        case PhotoFormat::tiff:
            return "tiff";
        case PhotoFormat::simple:
            if (head.startsWith("BM")) return "bmp";
            if (head.startsWith("GIF")) return "gif";
            return head.size() > 1 && (head[1] == '1' || head[1] == '4')   ? "pbm"
                   : head.size() > 1 && (head[1] == '2' || head[1] == '5') ? "pgm"
                                                                           : "ppm";
        default:
            return {};
    }
}

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

class QtReader : public WholePictureReader {
  public:
    QtReader(const PictureFile& file, const QByteArray& reader)
        : path_(file.path), file_(QFile::decodeName(file.path.c_str())), reader_(&file_, reader) {
        reader_.setAutoTransform(true);
        // The named reader and no other, whatever the file is called.
        reader_.setAutoDetectImageFormat(false);
    }

    [[nodiscard]] bool open() {
        if (!file_.open(QIODevice::ReadOnly) || !reader_.canRead()) return fail();
        // A moving picture is no photograph.
        if (reader_.format() == "gif" && reader_.imageCount() > 1) return fail();
        QSize size = reader_.size();
        if (!size.isValid()) return fail();
        if (reader_.transformation() & QImageIOHandler::TransformationRotate90) size.transpose();
        description_.width = size.width();
        description_.height = size.height();
        return true;
    }

  private:
    bool fail() {
        const bool known = reader_.error() != QImageReader::UnknownError;
        Log(path_.native() + ": " +
            (known ? reader_.errorString().toStdString() : "not a picture that can be read"));
        return false;
    }

    [[nodiscard]] Image decode() override {
        QImage image = reader_.read();
        if (image.isNull()) {
            fail();
            return {};
        }
        PixelFormat format;
        const QImage::Format target = targetFormat(image, format);
        const QByteArray profile = usableProfile(image, format.colours);
        image.convertTo(target);
        PixelBuffer buffer(image.width(), image.height(), format);
        buffer.description().colourProfile = profile;
        const std::size_t rowBytes = buffer.description().bytesPerRow();
        for (int y = 0; y < image.height(); ++y) {
            if (target == QImage::Format_RGBA64 && !format.alpha) {
                const auto* from = reinterpret_cast<const unsigned short*>(image.constScanLine(y));
                auto* to = buffer.row<unsigned short>(y);
                for (int x = 0; x < image.width(); ++x)
                    std::copy_n(from + 4 * x, 3, to + 3 * x);
            } else {
                std::memcpy(buffer.row<std::byte>(y), image.constScanLine(y), rowBytes);
            }
        }
        return std::move(buffer).finish();
    }

    std::filesystem::path path_;
    QFile file_;
    QImageReader reader_;
};

}  // namespace

OpenedPicture openWithQt(const PictureFile& file, PhotoFormat format) {
    QByteArray head(4, '\0');
    if (!file.descriptor.readAt(0, head.data(), static_cast<std::size_t>(head.size()))) {
        return nullptr;
    }
    const QByteArray reader = readerFor(format, head);
    if (reader.isEmpty()) return nullptr;
    auto picture = std::make_unique<QtReader>(file, reader);
    return picture->open() ? std::move(picture) : nullptr;
}

}  // namespace lumaweave
