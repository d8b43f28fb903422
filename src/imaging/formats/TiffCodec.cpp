// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include "imaging/formats/Formats.h"
#include "imaging/formats/QtCodec.h"
#include "imaging/formats/VipsCodec.h"
#include "imaging/picture/ColourProfile.h"
#include "imaging/tiff/TiffLayout.h"
#include "imaging/tiff/TiffLibrary.h"
#include "platform/ByteOrder.h"

// TIFF. What libvips refuses or takes for something else is read here, with libtiff: half and
// double floats, floats that were multiplied by their alpha, integers of odd widths (10, 12,
// 14 bits…), and luminance with colour differences that are not compressed as JPEG.

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

// Number `index` of a row of floats of that many bits, in the machine's byte order.
float floatAt(const unsigned char* row, std::size_t index, int bits) {
    const unsigned char* from = row + index * static_cast<std::size_t>(bits / 8);
    if (bits == 16) return halfValue(readNumber<std::uint16_t>(from, std::endian::native));
    if (bits == 32) {
        return std::bit_cast<float>(readNumber<std::uint32_t>(from, std::endian::native));
    }
    return static_cast<float>(
        std::bit_cast<double>(readNumber<std::uint64_t>(from, std::endian::native)));
}

// Number `index` of a row of numbers of that many bits, the most significant first.
unsigned packedNumber(const unsigned char* row, std::size_t index, unsigned bits) {
    const std::size_t first = index * bits;
    unsigned value = 0;
    for (std::size_t bit = first; bit < first + bits; ++bit)
        value = value << 1U | (row[bit / 8] >> (7 - bit % 8) & 1U);
    return value;
}

// The same, of fewer than 16 bits, stretched to 16.
unsigned short wordAt(const unsigned char* row, std::size_t index, unsigned bits) {
    const unsigned highest = std::max((1U << bits) - 1U, 1U);
    const unsigned value = packedNumber(row, index, bits);
    return static_cast<unsigned short>((value * 65535U + highest / 2) / highest);
}

// The strips or tiles in which the pixels of a page lie.
struct Blocks {
    bool tiled = false;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    tmsize_t bytes = 0;
    tmsize_t rowBytes = 0;

    [[nodiscard]] bool isUsable() const {
        constexpr tmsize_t most = tmsize_t{1} << 31;
        return bytes > 0 && bytes <= most && rowBytes > 0 && width > 0 && height > 0;
    }
};

Blocks blocksOf(TIFF* tiff, const TiffLayout& layout) {
    Blocks blocks{TIFFIsTiled(tiff) != 0, layout.width, layout.height};
    if (blocks.tiled) {
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &blocks.width);
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &blocks.height);
        blocks.bytes = TIFFTileSize(tiff);
        blocks.rowBytes = TIFFTileRowSize(tiff);
    } else {
        TIFFGetField(tiff, TIFFTAG_ROWSPERSTRIP, &blocks.height);
        blocks.height = std::min(blocks.height, layout.height);
        blocks.bytes = TIFFStripSize(tiff);
        blocks.rowBytes = TIFFScanlineSize(tiff);
    }
    return blocks;
}

class UncommonTiff : public WholePicture {
  public:
    // Without libtiff's maps: the file may shrink.
    explicit UncommonTiff(const PictureFile& file)
        : path_(file.path), tiff_(openTiff(file.descriptor, file.path, "rm")) {}

    // False when it is a TIFF for libvips.
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
        const QByteArray profile = profileIn(tiff_.get());
        if (isProfileOf(profileColourSpace(description_.format.colours), profile.constData(),
                        static_cast<std::size_t>(profile.size()))) {
            description_.colourProfile = profile;
        }
    }

    Result<Image> decode() override {
        PixelBuffer buffer(description_.width, description_.height, description_.format);
        buffer.description().colourProfile = description_.colourProfile;
        if (isYcc(layout_) ? readYcc(buffer) : readBlocks(buffer)) {
            return std::move(buffer).finish();
        }
        return refused(path_, "the pixels cannot be read");
    }

    bool readYcc(PixelBuffer& buffer) {
        const int width = description_.width;
        // libtiff would turn some of the orientations itself.
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

    bool readBlocks(PixelBuffer& buffer) {
        const Blocks blocks = blocksOf(tiff_.get(), layout_);
        if (!blocks.isUsable()) return false;
        const bool separate = layout_.planes == PLANARCONFIG_SEPARATE;
        const int planes = separate ? description_.format.samples() : 1;
        std::vector<unsigned char> block(static_cast<std::size_t>(blocks.bytes));
        for (int plane = 0; plane < planes; ++plane) {
            for (std::uint32_t y = 0; y < layout_.height; y += blocks.height) {
                for (std::uint32_t x = 0; x < layout_.width; x += blocks.width) {
                    if (!readBlock(blocks, x, y, plane, block.data())) return false;
                    unpackBlock(blocks, block.data(), plane, x, y, buffer);
                }
            }
        }
        if (layout_.isMultiplied() && description_.format.alpha) divideByAlpha(buffer);
        return true;
    }

    [[nodiscard]] std::uint32_t rowsAt(const Blocks& blocks, std::uint32_t y) const {
        return std::min(blocks.height, layout_.height - y);
    }

    // The block at that place of the picture.
    bool readBlock(const Blocks& blocks, std::uint32_t x, std::uint32_t y, int plane,
                   unsigned char* to) {
        TIFF* tiff = tiff_.get();
        const auto number = static_cast<std::uint16_t>(plane);
        const tmsize_t read =
            blocks.tiled
                ? TIFFReadTile(tiff, to, x, y, 0, number)
                : TIFFReadEncodedStrip(tiff, TIFFComputeStrip(tiff, y, number), to, blocks.bytes);
        return read >= blocks.rowBytes * static_cast<tmsize_t>(rowsAt(blocks, y));
    }

    void unpackBlock(const Blocks& blocks, const unsigned char* block, int plane, std::uint32_t x,
                     std::uint32_t y, PixelBuffer& buffer) const {
        const auto count = static_cast<int>(std::min(blocks.width, layout_.width - x));
        for (std::uint32_t i = 0; i < rowsAt(blocks, y); ++i, block += blocks.rowBytes)
            unpackRow(block, plane, static_cast<int>(x), count, static_cast<int>(y + i), buffer);
    }

    // Some pixels of one row; of one sample each where planes are separate.
    void unpackRow(const unsigned char* from, int plane, int left, int count, int y,
                   PixelBuffer& buffer) const {
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
                    const unsigned short value = wordAt(from, index, layout_.bits);
                    buffer.row<unsigned short>(y)[target] =
                        inverted ? static_cast<unsigned short>(65535 - value) : value;
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

OpenResult openTiffPicture(const PictureFile& file) {
    if (auto uncommon = std::make_unique<UncommonTiff>(file); uncommon->open()) return uncommon;
    return openWithVips(file);
}

bool recognises(std::string_view head, const ReadBytes&) {
    using namespace std::string_view_literals;
    constexpr std::string_view starts[] = {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv};
    return std::ranges::any_of(starts, [head](auto start) { return hasAt(head, 0, start); });
}

constexpr std::string_view endings[] = {"tif", "tiff"};

}  // namespace

constinit const PhotoFormat tiffFormat = {
    .name = "TIFF",
    .endings = endings,
    .decodedBy = DecodedBy::program,
    .recognises = recognises,
    .open = openTiffPicture,
    .openAsLastResort = [](const PictureFile& file) { return openWithQt(file, "tiff"); }};

}  // namespace lumaweave
