// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/picture/Image.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "imaging/picture/PixelData.h"
#include "imaging/picture/Scaling.h"
#include "imaging/picture/ScreenImage.h"

namespace lumaweave {

int PixelFormat::bytesPerSample() const {
    return withSampleType(type, []<typename Sample>() { return static_cast<int>(sizeof(Sample)); });
}

PixelBuffer::PixelBuffer(int width, int height, const PixelFormat& format) {
    data_.width = width;
    data_.height = height;
    data_.format = format;
    bytes_ = std::make_shared<std::vector<std::byte>>(data_.byteCount());
}

Image PixelBuffer::finish() && {
    data_.bytes = bytes_->data();
    data_.owner = std::move(bytes_);
    return Image(std::make_shared<const PixelData>(std::move(data_)));
}

Image::Image(std::shared_ptr<const PixelData> pixels)
    : pixels_(std::move(pixels)), size_(pixels_->width, pixels_->height) {}

int Image::pixelsWide() const {
    return isNull() ? 0 : pixels_->width;
}
int Image::pixelsHigh() const {
    return isNull() ? 0 : pixels_->height;
}
PixelFormat Image::format() const {
    return isNull() ? PixelFormat{} : pixels_->format;
}
QByteArray Image::colourProfile() const {
    return isNull() ? QByteArray() : pixels_->colourProfile;
}

Image Image::scaled(int pixelsWide, int pixelsHigh) const {
    if (isNull()) return {};
    return scaledPixels(*pixels_, std::max(1, pixelsWide), std::max(1, pixelsHigh));
}

namespace {

// One row of a crop: pixels of the source between the given columns, made opaque where the source
// has no alpha of its own.
template <typename Sample>
void copyRow(const Sample* source, const PixelFormat& format, int count, Sample* target) {
    const int samples = format.samples();
    if (format.alpha) {
        std::copy_n(source, count * samples, target);
        return;
    }
    for (int x = 0; x < count; ++x) {
        target = std::copy_n(source, samples, target);
        *target++ = fullValue<Sample>();
        source += samples;
    }
}

Image cropPixels(const PixelData& source, int left, int top, int width, int height) {
    PixelFormat format = source.format;
    format.alpha = true;
    PixelBuffer crop(width, height, format);
    crop.description().colourProfile = source.colourProfile;
    crop.description().pixelsPerMillimetre = source.pixelsPerMillimetre;
    const int firstColumn = std::clamp(-left, 0, width);
    const int endColumn = std::clamp(source.width - left, firstColumn, width);
    const int firstRow = std::clamp(-top, 0, height);
    const int endRow = std::clamp(source.height - top, firstRow, height);
    withSampleType(format.type, [&]<typename Sample>() {
        if (firstColumn == endColumn) return;
        for (int y = firstRow; y < endRow; ++y) {
            const auto* from =
                source.row<Sample>(top + y) + (left + firstColumn) * source.format.samples();
            copyRow(from, source.format, endColumn - firstColumn,
                    crop.row<Sample>(y) + firstColumn * format.samples());
        }
    });
    return std::move(crop).finish();
}

// A coordinate far outside stays far outside without leaving the range of int; one that is not a
// number counts as outside too.
int wholePixel(double coordinate) {
    constexpr double limit = 1 << 29;
    if (!(std::abs(coordinate) < limit)) return coordinate > 0 ? 1 << 29 : -(1 << 29);
    return static_cast<int>(std::floor(coordinate + 0.5));
}

}  // namespace

Image Image::cropped(const QRectF& rectangle, int pixelsWide, int pixelsHigh) const {
    if (isNull() || pixelsWide < 1 || pixelsHigh < 1) return {};
    const double xScale = pixels_->width / size_.width();
    const double yScale = pixels_->height / size_.height();
    const int left = wholePixel(rectangle.x() * xScale);
    const int top = wholePixel(rectangle.y() * yScale);
    const int width = std::max(1, wholePixel(rectangle.width() * xScale));
    const int height = std::max(1, wholePixel(rectangle.height() * yScale));
    const Image crop = cropPixels(*pixels_, left, top, width, height);
    const bool sameSize = width == pixelsWide && height == pixelsHigh;
    return sameSize ? crop : crop.scaled(pixelsWide, pixelsHigh);
}

namespace {

// A target of the source's kind, each row filled by fill(from, to) from a row of the source.
template <typename RowOf, typename Fill>
Image rowByRow(const PixelData& source, int width, int height, const RowOf& rowOf,
               const Fill& fill) {
    PixelBuffer target(width, height, source.format);
    target.description().colourProfile = source.colourProfile;
    target.description().pixelsPerMillimetre = source.pixelsPerMillimetre;
    for (int y = 0; y < height; ++y)
        fill(source.row<std::byte>(rowOf(y)), target.row<std::byte>(y));
    return std::move(target).finish();
}

Image copiedPart(const PixelData& source, const QRect& area) {
    const auto pixelBytes = static_cast<std::size_t>(source.format.bytesPerPixel());
    const std::size_t skipped = pixelBytes * static_cast<std::size_t>(area.x());
    const std::size_t copied = pixelBytes * static_cast<std::size_t>(area.width());
    return rowByRow(
        source, area.width(), area.height(), [&](int y) { return area.y() + y; },
        [&](const std::byte* from, std::byte* to) { std::memcpy(to, from + skipped, copied); });
}

// The source position in the middle of what target position i stands for.
int middleOf(int i, int sourceLength, int targetLength) {
    return static_cast<int>((2LL * i + 1) * sourceLength / (2LL * targetLength));
}

}  // namespace

Image Image::scaledPart(const QRectF& area, int pixelsWide, int pixelsHigh) const {
    const QRectF part = isNull() ? QRectF() : area & QRectF(0, 0, pixels_->width, pixels_->height);
    if (part.isEmpty() || pixelsWide < 1 || pixelsHigh < 1) return {};
    const QRect whole = part.toRect();
    if (QRectF(whole) == part && whole.size() == QSize(pixelsWide, pixelsHigh)) {
        return copiedPart(*pixels_, whole);
    }
    return lumaweave::scaledPart(*pixels_, part, pixelsWide, pixelsHigh);
}

Image Image::thinned(int pixelsWide, int pixelsHigh) const {
    if (isNull()) return {};
    const int width = std::clamp(pixelsWide, 1, pixels_->width);
    const int height = std::clamp(pixelsHigh, 1, pixels_->height);
    const auto pixelBytes = static_cast<std::size_t>(pixels_->format.bytesPerPixel());
    return rowByRow(
        *pixels_, width, height, [&](int y) { return middleOf(y, pixels_->height, height); },
        [&](const std::byte* from, std::byte* to) {
            for (int x = 0; x < width; ++x) {
                const auto column = static_cast<std::size_t>(middleOf(x, pixels_->width, width));
                std::memcpy(to, from + column * pixelBytes, pixelBytes);
                to += pixelBytes;
            }
        });
}

QImage Image::toScreen() const {
    return isNull() ? QImage() : screenImage(*pixels_);
}

void Image::toScreen(unsigned char* rgba,
                     const std::function<void(double share)>& progressed) const {
    if (!isNull()) screenPixels(*pixels_, rgba, progressed);
}

}  // namespace lumaweave
