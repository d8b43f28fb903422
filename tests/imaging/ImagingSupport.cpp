// SPDX-License-Identifier: GPL-3.0-or-later
#include "ImagingSupport.h"

#include <tiffio.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "support/TestFolder.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

Image asymmetricPicture(int width, int height, const PixelFormat& format) {
    return makeImage(width, height, format,
                     [](int x, int y, int s) { return ((x * 7 + y * 13 + s * 31) % 97) / 96.0; });
}

Image imageOf(const vips::VImage& picture) {
    PixelFormat format;
    format.colours = picture.bands() >= 3 ? 3 : 1;
    format.alpha = picture.bands() > format.colours;
    format.type = picture.format() == VIPS_FORMAT_UCHAR    ? SampleType::uint8
                  : picture.format() == VIPS_FORMAT_USHORT ? SampleType::uint16
                                                           : SampleType::float32;
    std::size_t size = 0;
    void* bytes = picture.write_to_memory(&size);
    PixelBuffer buffer(picture.width(), picture.height(), format);
    if (size == buffer.description().byteCount()) {
        std::memcpy(buffer.row<std::byte>(0), bytes, size);
    }
    g_free(bytes);
    if (size != buffer.description().byteCount()) throw std::runtime_error("another format");
    return std::move(buffer).finish();
}

std::vector<PixelFormat> everyFormat() {
    std::vector<PixelFormat> formats;
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        for (const int colours : {1, 3}) {
            for (const bool alpha : {false, true})
                formats.push_back({colours, alpha, type});
        }
    }
    return formats;
}

std::string nameOf(const PixelFormat& format) {
    return std::string(format.colours == 3 ? "RGB" : "Grey") + (format.alpha ? "A" : "") +
           std::to_string(format.bytesPerSample() * 8);
}

QByteArray builtInProfile(const std::string& name) {
    startVips();
    VipsBlob* blob = nullptr;
    if (vips_profile_load(name.c_str(), &blob, nullptr) != 0 || blob == nullptr) {
        throw std::runtime_error("no profile " + name);
    }
    std::size_t size = 0;
    const void* bytes = vips_blob_get(blob, &size);
    QByteArray profile(static_cast<const char*>(bytes), static_cast<qsizetype>(size));
    vips_area_unref(VIPS_AREA(blob));
    return profile;
}

namespace {

// Numbers as an ICC profile stores them: the most significant byte first.
void append(QByteArray& bytes, std::uint32_t value, int byteCount = 4) {
    for (int i = byteCount - 1; i >= 0; --i)
        bytes.append(static_cast<char>(value >> (8 * i)));
}
std::uint32_t fixed16(double value) {
    return static_cast<std::uint32_t>(std::lround(value * 65536));
}

QByteArray xyzElement(const double (&value)[3]) {
    QByteArray element("XYZ ");
    append(element, 0);
    for (const double number : value)
        append(element, fixed16(number));
    return element;
}

QByteArray curveElement(double gamma) {
    QByteArray element("curv");
    append(element, 0);
    append(element, 1);
    append(element, static_cast<std::uint32_t>(std::lround(gamma * 256)), 2);
    append(element, 0, 2);
    return element;
}

QByteArray textElement(const char* type) {
    QByteArray element(type);
    append(element, 0);
    if (element.startsWith("desc")) append(element, 5);
    element.append("test", 5);
    element.append(QByteArray(79 - (element.size() + 3) % 4, '\0'));
    return element;
}

using Elements = std::vector<std::pair<const char*, QByteArray>>;

QByteArray profileOf(const char* colourSpace, Elements elements) {
    constexpr double whitePoint[3] = {0.9642, 1.0, 0.8249};  // D50
    elements.emplace_back("wtpt", xyzElement(whitePoint));
    elements.emplace_back("desc", textElement("desc"));
    elements.emplace_back("cprt", textElement("text"));
    constexpr std::uint32_t headerSize = 128;
    QByteArray directory;
    QByteArray data;
    append(directory, static_cast<std::uint32_t>(elements.size()));
    const auto dataBegin = headerSize + 4 + 12 * static_cast<std::uint32_t>(elements.size());
    for (const auto& [name, element] : elements) {
        directory.append(name, 4);
        append(directory, dataBegin + static_cast<std::uint32_t>(data.size()));
        append(directory, static_cast<std::uint32_t>(element.size()));
        data.append(element);
        while (data.size() % 4 != 0)
            data.append('\0');
    }
    QByteArray header;
    append(header, dataBegin + static_cast<std::uint32_t>(data.size()));
    header.append("none");
    append(header, 0x02100000);
    header.append("mntr");
    header.append(colourSpace, 4);
    header.append("XYZ ");
    for (const std::uint32_t number : {2020U, 1U, 1U, 0U, 0U, 0U})
        append(header, number, 2);
    header.append("acsp");
    header.append(QByteArray(28, '\0'));
    for (const double number : whitePoint)
        append(header, fixed16(number));
    header.append(QByteArray(static_cast<qsizetype>(headerSize) - header.size(), '\0'));
    return header + directory + data;
}

}  // namespace

QByteArray rgbProfile(const Colourants& colourants, double gamma) {
    return profileOf("RGB ", {{"rXYZ", xyzElement(colourants.red)},
                              {"gXYZ", xyzElement(colourants.green)},
                              {"bXYZ", xyzElement(colourants.blue)},
                              {"rTRC", curveElement(gamma)},
                              {"gTRC", curveElement(gamma)},
                              {"bTRC", curveElement(gamma)}});
}

QByteArray greyProfile(double gamma) {
    return profileOf("GRAY", {{"kTRC", curveElement(gamma)}});
}

namespace {

void setTags(TIFF* tiff, const PixelData& picture, const TiffShape& shape) {
    const PixelFormat& format = picture.format;
    const bool isFloat = format.type == SampleType::float32;
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(picture.width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(picture.height));
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, format.samples());
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, format.bytesPerSample() * 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT,
                 shape.sampleFormat.value_or(isFloat ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT));
    const std::uint16_t usual = format.colours == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, shape.photometric.value_or(usual));
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG,
                 shape.separatePlanes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, shape.compression);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, shape.orientation);
    if (shape.photometric == PHOTOMETRIC_YCBCR) TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
    if (format.alpha && shape.photometric != PHOTOMETRIC_SEPARATED) {
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &shape.kindOfAlpha);
    }
    if (shape.tiled) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 16);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, 16);
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 8);
    }
    if (shape.xPosition)
        TIFFSetField(tiff, TIFFTAG_XPOSITION, static_cast<double>(*shape.xPosition));
    if (shape.yPosition)
        TIFFSetField(tiff, TIFFTAG_YPOSITION, static_cast<double>(*shape.yPosition));
    if (shape.pixelsPerInch) {
        TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        TIFFSetField(tiff, TIFFTAG_XRESOLUTION, static_cast<double>(*shape.pixelsPerInch));
        TIFFSetField(tiff, TIFFTAG_YRESOLUTION, static_cast<double>(*shape.pixelsPerInch));
    }
    if (shape.description) {
        TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, "a description");
        TIFFSetField(tiff, TIFFTAG_ARTIST, "an artist");
        TIFFSetField(tiff, TIFFTAG_XMLPACKET, 4, "<x/>");
    }
    const QByteArray& profile = picture.colourProfile;
    if (!profile.isEmpty()) {
        TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(profile.size()),
                     profile.constData());
    }
}

// The samples of one row, or one sample of each of its pixels.
std::vector<std::byte> rowOf(const PixelData& picture, int y, int plane) {
    const auto* row = picture.row<std::byte>(y);
    if (plane < 0) return {row, row + picture.bytesPerRow()};
    std::vector<std::byte> samples;
    const int size = picture.format.bytesPerSample();
    for (int x = 0; x < picture.width; ++x) {
        const auto* sample = row + (x * picture.format.samples() + plane) * size;
        samples.insert(samples.end(), sample, sample + size);
    }
    return samples;
}

bool writeTiles(TIFF* tiff, const PixelData& picture) {
    const auto pixelBytes = static_cast<std::size_t>(picture.format.bytesPerPixel());
    std::vector<std::byte> tile(16 * 16 * pixelBytes);
    for (int top = 0; top < picture.height; top += 16) {
        for (int left = 0; left < picture.width; left += 16) {
            std::fill(tile.begin(), tile.end(), std::byte{0});
            const auto columns = static_cast<std::size_t>(std::min(16, picture.width - left));
            for (int y = top; y < std::min(top + 16, picture.height); ++y) {
                std::memcpy(tile.data() + static_cast<std::size_t>(y - top) * 16 * pixelBytes,
                            picture.row<std::byte>(y) + static_cast<std::size_t>(left) * pixelBytes,
                            columns * pixelBytes);
            }
            if (TIFFWriteTile(tiff, tile.data(), static_cast<std::uint32_t>(left),
                              static_cast<std::uint32_t>(top), 0, 0) < 0) {
                return false;
            }
        }
    }
    return true;
}

bool writeRows(TIFF* tiff, const PixelData& picture, bool separatePlanes) {
    const int planes = separatePlanes ? picture.format.samples() : 1;
    for (int plane = 0; plane < planes; ++plane) {
        for (int y = 0; y < picture.height; ++y) {
            std::vector<std::byte> row = rowOf(picture, y, separatePlanes ? plane : -1);
            if (TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y),
                                  static_cast<std::uint16_t>(plane)) < 0) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace

void writeTiffAs(const Image& stored, const fs::path& path, const TiffShape& shape) {
    startVips();
    TIFF* tiff = TIFFOpen(path.c_str(), shape.mode);
    bool written = tiff != nullptr;
    Image page = stored;
    for (int i = 0; i < shape.pages && written; ++i) {
        setTags(tiff, page.pixels(), shape);
        written = (shape.tiled ? writeTiles(tiff, page.pixels())
                               : writeRows(tiff, page.pixels(), shape.separatePlanes)) &&
                  TIFFWriteDirectory(tiff) == 1;
        page = makeImage(stored.pixelsWide(), stored.pixelsHigh(), stored.format(),
                         [](int, int, int) { return 0.0; });
    }
    if (tiff != nullptr) TIFFClose(tiff);
    if (!written) throw std::runtime_error("the TIFF could not be written");
}

void writePaletteTiff(const Image& indices, const fs::path& path) {
    startVips();
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    if (tiff == nullptr) throw std::runtime_error("the TIFF could not be written");
    TiffShape shape;
    shape.photometric = PHOTOMETRIC_PALETTE;
    setTags(tiff, indices.pixels(), shape);
    std::vector<std::uint16_t> red, green, blue;
    for (int i = 0; i < 256; ++i) {
        red.push_back(static_cast<std::uint16_t>(i * 257));
        green.push_back(static_cast<std::uint16_t>((255 - i) * 257));
        blue.push_back(static_cast<std::uint16_t>(i / 2 * 257));
    }
    TIFFSetField(tiff, TIFFTAG_COLORMAP, red.data(), green.data(), blue.data());
    const bool written = writeRows(tiff, indices.pixels(), false);
    TIFFClose(tiff);
    if (!written) throw std::runtime_error("the TIFF could not be written");
}

namespace {

std::uint32_t numberAt(const std::string& bytes, std::size_t offset, int size) {
    std::uint32_t value = 0;
    for (int i = size - 1; i >= 0; --i) {
        const char byte = bytes.at(offset + static_cast<std::size_t>(i));
        value = value * 256 + static_cast<unsigned char>(byte);
    }
    return value;
}

// Where the entries of the first page's directory begin: 12 bytes each.
std::vector<std::size_t> directoryEntries(const std::string& bytes) {
    const std::size_t directory = numberAt(bytes, 4, 4);
    std::vector<std::size_t> entries;
    for (std::size_t i = 0; i < numberAt(bytes, directory, 2); ++i)
        entries.push_back(directory + 2 + 12 * i);
    return entries;
}

}  // namespace

std::vector<int> tagsOf(const fs::path& path) {
    const std::string bytes = readFile(path);
    std::vector<int> tags;
    for (const std::size_t entry : directoryEntries(bytes))
        tags.push_back(static_cast<int>(numberAt(bytes, entry, 2)));
    return tags;
}

void changeTag(const fs::path& path, int tag, std::uint16_t value) {
    std::string bytes = readFile(path);
    for (const std::size_t entry : directoryEntries(bytes)) {
        if (static_cast<int>(numberAt(bytes, entry, 2)) != tag) continue;
        bytes.at(entry + 8) = static_cast<char>(value & 0xFF);
        bytes.at(entry + 9) = static_cast<char>(value >> 8);
    }
    std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace lumaweave::test
