// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QImage>
#include <QRectF>
#include <QSizeF>
#include <functional>
#include <memory>

namespace lumaweave {

struct PixelData;

// How one sample of a pixel is stored. Floats are display values, 0 (black) to 1 (white), as the
// fusion tool reads and writes them; they are not linear light.
enum class SampleType { uint8, uint16, float32 };

// What a pixel is made of: 1 (grey) or 3 (RGB) colour samples, with or without alpha behind them.
struct PixelFormat {
    int colours = 3;
    bool alpha = false;
    SampleType type = SampleType::uint8;

    [[nodiscard]] int samples() const { return colours + (alpha ? 1 : 0); }
    [[nodiscard]] int bytesPerSample() const;
    [[nodiscard]] int bytesPerPixel() const { return samples() * bytesPerSample(); }
    bool operator==(const PixelFormat&) const = default;
};

// A decoded picture, upright, top row first. A value: copies share the pixels, which never change.
// Where the pixels lie (memory, or a map of a file that the program wrote) does not show. All
// functions may be called from any thread; only setSize changes a value.
class Image {
  public:
    Image() = default;  // no picture: isNull
    explicit Image(std::shared_ptr<const PixelData> pixels);

    [[nodiscard]] bool isNull() const { return pixels_ == nullptr; }
    [[nodiscard]] int pixelsWide() const;
    [[nodiscard]] int pixelsHigh() const;
    [[nodiscard]] PixelFormat format() const;
    // The embedded ICC profile; empty means sRGB (or a grey with sRGB's tone curve).
    [[nodiscard]] QByteArray colourProfile() const;

    // The size in points at which the picture counts in layouts and crops; the pixel size unless
    // set otherwise.
    [[nodiscard]] QSizeF size() const { return size_; }
    void setSize(QSizeF size) { size_ = size; }

    // The picture at another pixel size (each at least 1), with its depth and profile. Shrinking
    // averages the covered area, weighted by alpha; enlarging interpolates. Null stays null.
    [[nodiscard]] Image scaled(int pixelsWide, int pixelsHigh) const;

    // A crop of width x height pixels from the rectangle (in points, origin at the top left), with
    // an alpha sample; what lies outside the picture is transparent. 1:1 where the size in points
    // is the pixel size. The rectangle's origin is rounded to a whole pixel.
    [[nodiscard]] Image cropped(const QRectF& rectangle, int pixelsWide, int pixelsHigh) const;

    // The part inside an area (pixels, fractions count; it lies within the picture) at another
    // pixel size, as scaled() would make it there. A part at its own size keeps its pixels as they
    // are.
    [[nodiscard]] Image scaledPart(const QRectF& area, int pixelsWide, int pixelsHigh) const;

    // The picture at a smaller pixel size by leaving pixels out: coarse, and in no time.
    [[nodiscard]] Image thinned(int pixelsWide, int pixelsHigh) const;

    // For the screen: 8-bit RGBA (not premultiplied) in its colours (setScreenProfile; sRGB without
    // one), converted from the picture's own profile. Takes 4 bytes a pixel: scale large pictures
    // down first. Null gives a null image.
    [[nodiscard]] QImage toScreen() const;
    // The same into the caller's memory: rows of pixelsWide x 4 bytes, without gaps. Every core
    // works on it, strip by strip; the calling thread tells the share that is done, up to 1. Null
    // writes nothing.
    void toScreen(unsigned char* rgba,
                  const std::function<void(double share)>& progressed = {}) const;

    // The pixels themselves (see PixelData.h).
    [[nodiscard]] const PixelData& pixels() const { return *pixels_; }
    [[nodiscard]] bool sharesPixelsWith(const Image& other) const {
        return pixels_ == other.pixels_;
    }

  private:
    std::shared_ptr<const PixelData> pixels_;
    QSizeF size_;
};

}  // namespace lumaweave
