#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "imaging/ColourProfile.h"
#include "imaging/PictureReader.h"
#include "imaging/TiffLayout.h"
#include "imaging/VipsLibrary.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"

// TIFFs that libvips refuses or takes for something else: half and double floats, floats that were
// multiplied by their alpha, integers of odd widths (10, 12, 14 bits…), and luminance with colour
// differences that are not compressed as JPEG.

namespace lumaweave {

namespace {

bool isYcc(const TiffLayout& layout) {
    return layout.photometric == PHOTOMETRIC_YCBCR && layout.compression != COMPRESSION_JPEG &&
           layout.compression != COMPRESSION_OJPEG && layout.bits == 8;
}

bool hasOddSamples(const TiffLayout& layout) {
    const std::uint16_t bits = layout.bits;
    const bool colours = layout.photometric == PHOTOMETRIC_RGB ||
                         layout.photometric == PHOTOMETRIC_MINISBLACK ||
                         layout.photometric == PHOTOMETRIC_MINISWHITE;
    if (!colours) return false;
    // libvips divides floats by an alpha that goes up to 255.
    if (layout.sampleFormat == SAMPLEFORMAT_IEEEFP) {
        return bits == 16 || bits == 64 || (bits == 32 && layout.isMultiplied());
    }
    return layout.sampleFormat == SAMPLEFORMAT_UINT && bits > 4 && bits < 16 && bits != 8;
}

float halfValue(std::uint16_t half) {
    const bool negative = (half & 0x8000U) != 0;
    const int exponent = (half >> 10U) & 0x1F;
    const auto fraction = static_cast<float>(half & 0x3FFU);
    const float magnitude = exponent == 0    ? std::ldexp(fraction, -24)
                            : exponent == 31 ? (fraction == 0 ? INFINITY : NAN)
                                             : std::ldexp(1024 + fraction, exponent - 25);
    return negative ? -magnitude : magnitude;
}

template <typename Number>
Number numberAt(const unsigned char* bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

float floatAt(const unsigned char* row, std::size_t index, int bits) {
    if (bits == 16) return halfValue(numberAt<std::uint16_t>(row + 2 * index));
    if (bits == 32) return numberAt<float>(row + 4 * index);
    return static_cast<float>(numberAt<double>(row + 8 * index));
}

// Number `index` of a row of numbers of that many bits, the most significant first.
unsigned packedNumber(const unsigned char* row, std::size_t index, unsigned bits) {
    const std::size_t first = index * bits;
    unsigned value = 0;
    for (std::size_t bit = first; bit < first + bits; ++bit)
        value = value << 1U | (row[bit / 8] >> (7 - bit % 8) & 1U);
    return value;
}

class UncommonTiffReader : public WholePictureReader {
  public:
    explicit UncommonTiffReader(const PictureFile& file) : path_(file.path) {
        startVips();  // it takes libtiff's messages, which would go to standard error
        // Without maps: the file may shrink.
        const int descriptor = fcntl(file.descriptor.number(), F_DUPFD_CLOEXEC, 0);
        lseek(descriptor, 0, SEEK_SET);
        tiff_.reset(TIFFFdOpen(descriptor, path_.c_str(), "rm"));
        if (!tiff_) close(descriptor);
    }

    [[nodiscard]] bool open() {
        if (!tiff_) return false;
        layout_ = tiffLayoutOf(tiff_.get());
        if (!isYcc(layout_) && !hasOddSamples(layout_)) return false;
        description_.width = static_cast<int>(std::min(layout_.width, 1U << 30));
        description_.height = static_cast<int>(std::min(layout_.height, 1U << 30));
        if (layout_.orientation >= 1 && layout_.orientation <= 8) {
            orientation_ = layout_.orientation;
        }
        PixelFormat& format = description_.format;
        format.colours = isYcc(layout_) || layout_.photometric == PHOTOMETRIC_RGB ? 3 : 1;
        format.alpha = !isYcc(layout_) && layout_.samples > format.colours;
        format.type = isYcc(layout_)                                ? SampleType::uint8
                      : layout_.sampleFormat == SAMPLEFORMAT_IEEEFP ? SampleType::float32
                                                                    : SampleType::uint16;
        readProfile();
        return layout_.samples >= format.colours;
    }

  private:
    void readProfile() {
        std::uint32_t size = 0;
        const void* bytes = nullptr;
        if (TIFFGetField(tiff_.get(), TIFFTAG_ICCPROFILE, &size, &bytes) != 1) return;
        if (!isProfileOf(profileColourSpace(description_.format.colours), bytes, size)) return;
        description_.colourProfile =
            QByteArray(static_cast<const char*>(bytes), static_cast<qsizetype>(size));
    }

    [[nodiscard]] Image decode() override {
        PixelBuffer buffer(description_.width, description_.height, description_.format);
        buffer.description().colourProfile = description_.colourProfile;
        if (isYcc(layout_) ? readYcc(buffer) : readBlocks(buffer)) {
            return std::move(buffer).finish();
        }
        Log(path_.native() + ": the pixels cannot be read");
        return {};
    }

    bool readYcc(PixelBuffer& buffer) {
        const int width = description_.width;
        // It would turn some of the orientations itself.
        TIFFSetField(tiff_.get(), TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        std::vector<std::uint32_t> raster(static_cast<std::size_t>(width) *
                                          static_cast<std::size_t>(description_.height));
        if (TIFFReadRGBAImageOriented(tiff_.get(), layout_.width, layout_.height, raster.data(),
                                      ORIENTATION_TOPLEFT, 1) != 1) {
            return false;
        }
        const std::uint32_t* from = raster.data();
        for (int y = 0; y < description_.height; ++y) {
            auto* to = buffer.row<unsigned char>(y);
            for (int x = 0; x < width; ++x, ++from) {
                *to++ = static_cast<unsigned char>(TIFFGetR(*from));
                *to++ = static_cast<unsigned char>(TIFFGetG(*from));
                *to++ = static_cast<unsigned char>(TIFFGetB(*from));
            }
        }
        return true;
    }

    // Strips and tiles alike.
    bool readBlocks(PixelBuffer& buffer) {
        TIFF* tiff = tiff_.get();
        const bool tiled = TIFFIsTiled(tiff) != 0;
        const bool separate = layout_.planes == PLANARCONFIG_SEPARATE;
        std::uint32_t blockWidth = layout_.width;
        std::uint32_t blockHeight = layout_.height;
        TIFFGetField(tiff, tiled ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP, &blockHeight);
        if (tiled) TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &blockWidth);
        blockHeight = tiled ? blockHeight : std::min(blockHeight, layout_.height);
        const tmsize_t size = tiled ? TIFFTileSize(tiff) : TIFFStripSize(tiff);
        const tmsize_t rowSize = tiled ? TIFFTileRowSize(tiff) : TIFFScanlineSize(tiff);
        if (size <= 0 || rowSize <= 0 || blockWidth == 0 || blockHeight == 0 ||
            size > tmsize_t{1} << 31) {
            return false;
        }
        std::vector<unsigned char> block(static_cast<std::size_t>(size));
        const int planes = separate ? description_.format.samples() : 1;
        for (int plane = 0; plane < planes; ++plane) {
            for (std::uint32_t y = 0; y < layout_.height; y += blockHeight) {
                for (std::uint32_t x = 0; x < layout_.width; x += blockWidth) {
                    const auto number = static_cast<std::uint16_t>(plane);
                    const tmsize_t read =
                        tiled ? TIFFReadTile(tiff, block.data(), x, y, 0, number)
                              : TIFFReadEncodedStrip(tiff, TIFFComputeStrip(tiff, y, number),
                                                     block.data(), size);
                    const auto rows = std::min(blockHeight, layout_.height - y);
                    if (read < rowSize * static_cast<tmsize_t>(rows)) return false;
                    for (std::uint32_t i = 0; i < rows; ++i) {
                        unpackRow(block.data() + static_cast<tmsize_t>(i) * rowSize, plane,
                                  static_cast<int>(x),
                                  static_cast<int>(std::min(blockWidth, layout_.width - x)),
                                  static_cast<int>(y + i), buffer);
                    }
                }
            }
        }
        if (layout_.isMultiplied() && description_.format.alpha) divideByAlpha(buffer);
        return true;
    }

    // Some pixels of one row; of one sample each where planes are separate.
    void unpackRow(const unsigned char* from, int plane, int left, int count, int y,
                   PixelBuffer& buffer) {
        const bool separate = layout_.planes == PLANARCONFIG_SEPARATE;
        const int samples = description_.format.samples();
        const int storedSamples = separate ? 1 : layout_.samples;
        for (int x = 0; x < count; ++x) {
            for (int s = 0; s < (separate ? 1 : samples); ++s) {
                const auto index = static_cast<std::size_t>(x * storedSamples + s);
                const int sample = separate ? plane : s;
                const auto target = static_cast<std::size_t>((left + x) * samples + sample);
                const bool inverted = layout_.photometric == PHOTOMETRIC_MINISWHITE && sample == 0;
                if (description_.format.type == SampleType::float32) {
                    const float value = floatAt(from, index, layout_.bits);
                    buffer.row<float>(y)[target] = inverted ? 1 - value : value;
                } else {
                    const unsigned highest = (1U << layout_.bits) - 1U;
                    unsigned value = packedNumber(from, index, layout_.bits);
                    if (inverted) value = highest - value;
                    buffer.row<unsigned short>(y)[target] =
                        static_cast<unsigned short>((value * 65535U + highest / 2) / highest);
                }
            }
        }
    }

    void divideByAlpha(PixelBuffer& buffer) const {
        const PixelFormat& format = description_.format;
        const auto divide = [&]<typename Sample>(Sample* pixel, int width) {
            for (int x = 0; x < width; ++x, pixel += format.samples()) {
                const auto alpha = static_cast<double>(pixel[format.colours]);
                for (int s = 0; s < format.colours && alpha > 0; ++s) {
                    const auto value = static_cast<double>(pixel[s]) *
                                       static_cast<double>(fullValue<Sample>()) / alpha;
                    pixel[s] = format.type == SampleType::float32
                                   ? static_cast<Sample>(value)
                                   : static_cast<Sample>(std::min(std::round(value), 65535.0));
                }
            }
        };
        for (int y = 0; y < description_.height; ++y) {
            if (format.type == SampleType::float32) {
                divide(buffer.row<float>(y), description_.width);
            } else {
                divide(buffer.row<unsigned short>(y), description_.width);
            }
        }
    }

    std::filesystem::path path_;
    OpenTiff tiff_;
    TiffLayout layout_;
};

}  // namespace

OpenedPicture openUncommonTiff(const PictureFile& file) {
    auto reader = std::make_unique<UncommonTiffReader>(file);
    return reader->open() ? std::move(reader) : nullptr;
}

}  // namespace lumaweave
