// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/decoding/ImageDecoder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <tiffio.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ImagingSupport.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/PixelData.h"
#include "imaging/tiff/TiffFile.h"
#include "imaging/tiff/TiffWriter.h"
#include "support/LogRecorder.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using test::asymmetricPicture;
using test::Difference;
using test::differenceBetween;
using test::LogRecorder;
using test::makeImage;
using test::TestFolder;
using test::TiffShape;
using test::vipsImage;
using test::writeTiffAs;
using testing::UnorderedElementsAreArray;
using vips::VImage;

namespace {

constexpr PixelFormat grey8 = {1, false, SampleType::uint8};
constexpr PixelFormat greyAlpha8 = {1, true, SampleType::uint8};
constexpr PixelFormat rgb8 = {3, false, SampleType::uint8};
constexpr PixelFormat rgba8 = {3, true, SampleType::uint8};
constexpr PixelFormat rgb16 = {3, false, SampleType::uint16};
constexpr PixelFormat rgba16 = {3, true, SampleType::uint16};
constexpr PixelFormat grey16 = {1, false, SampleType::uint16};
constexpr PixelFormat rgbFloat = {3, false, SampleType::float32};

class ImageDecoderTest : public testing::Test {
  protected:
    // Decodes the file in both ways, which must agree, and gives the picture.
    [[nodiscard]] Image decode(const fs::path& path) const {
        EXPECT_TRUE(isDecodable(path));
        const DecodedFile decoded = decodeToTiff(path, tiff);
        EXPECT_EQ(decoded.failure, DecodeFailure::none);
        const Image inMemory = decodeImage(path);
        EXPECT_EQ(inMemory.format(), decoded.image.format());
        EXPECT_EQ(inMemory.colourProfile(), decoded.image.colourProfile());
        EXPECT_EQ(differenceBetween(inMemory, decoded.image).largest, 0);
        return decoded.image;
    }
    void expectExactly(const fs::path& path, const Image& picture) const {
        const Image decoded = decode(path);
        EXPECT_EQ(decoded.format(), picture.format());
        EXPECT_EQ(decoded.pixelsWide(), picture.pixelsWide());
        EXPECT_EQ(decoded.pixelsHigh(), picture.pixelsHigh());
        EXPECT_EQ(decoded.size(), QSizeF(picture.pixelsWide(), picture.pixelsHigh()));
        EXPECT_EQ(differenceBetween(decoded, picture).largest, 0);
    }
    void expectExactTiff(const PixelFormat& format, const TiffShape& shape) const {
        const Image picture = asymmetricPicture(51, 37, format);
        writeTiffAs(picture, file, shape);
        expectExactly(file, picture);
    }

    TestFolder folder;
    const fs::path file = folder / "shot";
    const fs::path tiff = folder / "decoded.tif";
};

void setProfile(VImage& picture, const QByteArray& profile) {
    vips_image_set_blob_copy(picture.get_image(), VIPS_META_ICC_NAME, profile.constData(),
                             static_cast<std::size_t>(profile.size()));
}

Image smoothPicture(const PixelFormat& format) {
    return makeImage(96, 64, format, [](int x, int y, int s) {
        return 0.5 + 0.4 * std::sin(x * 0.06 + s) * std::cos(y * 0.05);
    });
}

}  // namespace

TEST_F(ImageDecoderTest, Jpeg) {
    for (const PixelFormat& format : {rgb8, grey8}) {
        const Image picture = smoothPicture(format);
        vipsImage(picture).jpegsave(file.c_str(), VImage::option()->set("Q", 98));
        const Image decoded = decode(file);
        EXPECT_EQ(decoded.format(), format);
        // What quality 98 may cost a smooth picture: some of 255 levels at a point, one on average.
        const Difference difference = differenceBetween(decoded, picture);
        EXPECT_LT(difference.largest, 6.0 / 255);
        EXPECT_LT(difference.mean, 1.0 / 255);
    }
}

TEST_F(ImageDecoderTest, ProgressiveJpeg) {
    const Image picture = smoothPicture(rgb8);
    vipsImage(picture).jpegsave(file.c_str(),
                                VImage::option()->set("Q", 98)->set("interlace", true));
    EXPECT_LT(differenceBetween(decode(file), picture).largest, 6.0 / 255);
}

TEST_F(ImageDecoderTest, CmykJpegBecomesRgb) {
    const QByteArray profile = test::builtInProfile("cmyk");
    VImage cmyk = vipsImage(smoothPicture(rgb8))
                      .icc_transform("cmyk", VImage::option()->set("input_profile", "srgb"));
    setProfile(cmyk, profile);
    cmyk.jpegsave(file.c_str(), VImage::option()->set("Q", 98));
    const Image decoded = decode(file);
    EXPECT_EQ(decoded.format(), rgb8);
    // The printing colours hold all but the strongest of these colours; 16 of 255 levels for them.
    EXPECT_LT(differenceBetween(decoded, smoothPicture(rgb8)).mean, 16.0 / 255);
    // Without a profile of its own a usual one is taken.
    cmyk.remove(VIPS_META_ICC_NAME);
    cmyk.jpegsave(file.c_str(), VImage::option()->set("Q", 98));
    EXPECT_LT(differenceBetween(decode(file), smoothPicture(rgb8)).mean, 16.0 / 255);
}

TEST_F(ImageDecoderTest, ACmykPictureWithAProfileOfAnotherKindIsTakenAsUsualCmyk) {
    VImage cmyk = vipsImage(smoothPicture(rgb8))
                      .icc_transform("cmyk", VImage::option()->set("input_profile", "srgb"));
    cmyk.remove(VIPS_META_ICC_NAME);
    cmyk.tiffsave(file.c_str());
    const Image plain = decode(file);
    for (const QByteArray& profile :
         {test::greyProfile(1.0), test::builtInProfile("p3"), QByteArray(300, 'x')}) {
        setProfile(cmyk, profile);
        cmyk.tiffsave(file.c_str());
        EXPECT_EQ(differenceBetween(decode(file), plain).largest, 0);
    }
}

TEST_F(ImageDecoderTest, Png) {
    for (const PixelFormat& format : test::everyFormat()) {
        if (format.type == SampleType::float32) continue;
        for (const bool interlaced : {false, true}) {
            const Image picture = asymmetricPicture(51, 37, format);
            vipsImage(picture).pngsave(file.c_str(),
                                       VImage::option()->set("interlace", interlaced));
            expectExactly(file, picture);
        }
    }
}

TEST_F(ImageDecoderTest, PngWithAPalette) {
    // Four colours, so that the palette holds them all.
    const Image picture = makeImage(51, 37, rgb8, [](int x, int y, int s) {
        return ((x / 10 + 2 * (y / 10)) % 4 >> (s % 2)) % 2 == 0 ? 0.2 : 0.8;
    });
    vipsImage(picture).pngsave(file.c_str(), VImage::option()->set("palette", true));
    const Image decoded = decode(file);
    EXPECT_EQ(decoded.format(), rgb8);
    // The quantiser may move a colour by a level.
    EXPECT_LE(differenceBetween(decoded, picture).largest, 1.0 / 255);
}

TEST_F(ImageDecoderTest, TiffOfEveryFormatAndCompression) {
    for (const PixelFormat& format : test::everyFormat()) {
        for (const int compression :
             {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
            expectExactTiff(format, {.compression = static_cast<std::uint16_t>(compression)});
        }
    }
}

TEST_F(ImageDecoderTest, TiffInTiles) {
    for (const PixelFormat& format : {rgb8, rgba16, grey8, rgbFloat}) {
        expectExactTiff(format, {.tiled = true});
        expectExactTiff(format, {.compression = COMPRESSION_LZW, .tiled = true});
    }
}

TEST_F(ImageDecoderTest, TiffInSeparatePlanes) {
    expectExactTiff(rgb8, {.separatePlanes = true});
    expectExactTiff(rgb16, {.separatePlanes = true});
}

TEST_F(ImageDecoderTest, TiffOfEitherByteOrderAndOffsetSize) {
    expectExactTiff(rgb16, {.mode = "wb"});
    expectExactTiff(rgbFloat, {.mode = "wb", .compression = COMPRESSION_LZW});
    expectExactTiff(rgb16, {.mode = "w8"});
    expectExactTiff(grey16, {.mode = "wb8"});
}

TEST_F(ImageDecoderTest, OfSeveralTiffPagesTheFirst) {
    expectExactTiff(rgb8, {.pages = 3});
}

TEST_F(ImageDecoderTest, TiffWithAPalette) {
    const Image indices = asymmetricPicture(51, 37, grey8);
    test::writePaletteTiff(indices, file);
    const std::vector<double> index = test::samplesOf(indices);
    expectExactly(file, makeImage(51, 37, rgb8, [&index](int x, int y, int s) {
                      const auto i = static_cast<int>(
                          std::lround(index[static_cast<std::size_t>(y * 51 + x)] * 255));
                      return (s == 0 ? i : s == 1 ? 255 - i : i / 2) / 255.0;
                  }));
}

TEST_F(ImageDecoderTest, TiffWhoseWhiteIsZero) {
    const Image stored = asymmetricPicture(51, 37, grey8);
    writeTiffAs(stored, file, {.photometric = PHOTOMETRIC_MINISWHITE});
    const std::vector<double> value = test::samplesOf(stored);
    expectExactly(file, makeImage(51, 37, grey8, [&value](int x, int y, int) {
                      return 1 - value[static_cast<std::size_t>(y * 51 + x)];
                  }));
}

TEST_F(ImageDecoderTest, TiffWithColoursMultipliedByTheirAlpha) {
    const Image stored = makeImage(8, 8, rgba8, [](int, int, int s) { return s == 3 ? 0.4 : 0.2; });
    writeTiffAs(stored, file, {.kindOfAlpha = EXTRASAMPLE_ASSOCALPHA});
    const Image straight =
        makeImage(8, 8, rgba8, [](int, int, int s) { return s == 3 ? 0.4 : 0.5; });
    const Image decoded = decode(file);
    EXPECT_EQ(decoded.format(), rgba8);
    EXPECT_LE(differenceBetween(decoded, straight).largest, 1.0 / 255);
}

TEST_F(ImageDecoderTest, CmykTiffBecomesRgb) {
    // Cyan, magenta, yellow and black take the places of RGBA.
    const Image white = makeImage(16, 8, rgba8, [](int, int, int) { return 0.0; });
    writeTiffAs(white, file, {.photometric = PHOTOMETRIC_SEPARATED});
    const Image decoded = decode(file);
    EXPECT_EQ(decoded.format(), rgb8);
    EXPECT_EQ(decoded.colourProfile(), test::builtInProfile("srgb"));
    for (const double sample : test::samplesOf(decoded))
        EXPECT_GT(sample, 0.95);
    // Much cyan takes the red away.
    const Image cyan = makeImage(16, 8, rgba8, [](int, int, int s) { return s == 0 ? 1.0 : 0.0; });
    writeTiffAs(cyan, file, {.photometric = PHOTOMETRIC_SEPARATED});
    const std::vector<double> samples = test::samplesOf(decode(file));
    EXPECT_LT(samples[0], 0.4);
    EXPECT_GT(samples[2], 0.7);
}

TEST_F(ImageDecoderTest, LabTiffBecomesRgb) {
    // Relative to the white of profiles, as the format has it.
    vipsImage(smoothPicture(rgb8))
        .icc_import(VImage::option()->set("input_profile", "srgb")->set("pcs", VIPS_PCS_LAB))
        .tiffsave(file.c_str());
    const Image decoded = decode(file);
    EXPECT_EQ(decoded.format().colours, 3);
    EXPECT_FALSE(decoded.format().alpha);
    EXPECT_LT(differenceBetween(decoded, smoothPicture(rgb8)).mean, 2.0 / 255);
}

TEST_F(ImageDecoderTest, ThirtyTwoBitIntegersBecomeSixteenBit) {
    // The bits of the floats 0.5 and 1 as integers.
    const Image stored =
        makeImage(16, 8, rgbFloat, [](int, int, int s) { return s == 0 ? 0.5 : 1.0; });
    writeTiffAs(stored, file, {.sampleFormat = SAMPLEFORMAT_UINT});
    expectExactly(file, makeImage(16, 8, rgb16, [](int, int, int s) {
                      return (s == 0 ? 0x3F00 : 0x3F80) / 65535.0;
                  }));
}

TEST_F(ImageDecoderTest, OneBitBecomesEight) {
    const Image picture =
        makeImage(64, 32, grey8, [](int x, int y, int) { return (x / 5 + y / 3) % 2; });
    vipsImage(picture).tiffsave(file.c_str(), VImage::option()->set("bitdepth", 1));
    expectExactly(file, picture);
    vipsImage(picture).pngsave(file.c_str(), VImage::option()->set("bitdepth", 1));
    expectExactly(file, picture);
}

TEST_F(ImageDecoderTest, FloatsBeyondWhiteStayWhatTheyAre) {
    const Image picture = makeImage(
        16, 8, rgbFloat, [](int x, int y, int s) { return x * 0.3 - 1 + y * 0.01 + s * 100; });
    writeTiffAs(picture, file, {});
    expectExactly(file, picture);
}

TEST_F(ImageDecoderTest, Webp) {
    for (const PixelFormat& format : {rgb8, rgba8}) {
        // Opaque enough that the encoder keeps the colours under the alpha.
        const Image picture = makeImage(51, 37, format, [](int x, int y, int s) {
            return s == 3 ? 0.5 + x / 200.0 : ((x * 7 + y * 13 + s * 31) % 97) / 96.0;
        });
        vipsImage(picture).webpsave(file.c_str(), VImage::option()->set("lossless", true));
        expectExactly(file, picture);
    }
    vipsImage(smoothPicture(rgb8)).webpsave(file.c_str(), VImage::option()->set("Q", 98));
    EXPECT_LT(differenceBetween(decode(file), smoothPicture(rgb8)).mean, 2.0 / 255);
}

TEST_F(ImageDecoderTest, TheContentCountsAndNotTheName) {
    const Image picture = asymmetricPicture(51, 37);
    vipsImage(picture).pngsave((folder / "shot.jpg").c_str());
    expectExactly(folder / "shot.jpg", picture);
    vipsImage(picture).tiffsave((folder / "shot.csv").c_str());
    expectExactly(folder / "shot.csv", picture);
}

TEST_F(ImageDecoderTest, OddNamesAreNamesLikeAnyOther) {
    const Image picture = asymmetricPicture(51, 37);
    writeTiffAs(picture, file, {});
    for (const char* name : {"a[0].tif", "%d %s %n.tif", "shot.tif[page=1]", "\xFF\xFE caf\xE9.tif",
                             "-shot", "a:b,c=d", "line\nbreak", "$HOME `id` \"q\" \\"}) {
        fs::copy_file(file, folder / name);
        const fs::path odd = folder / (std::string("decoded ") + name);
        const DecodedFile decoded = decodeToTiff(folder / name, odd);
        EXPECT_EQ(differenceBetween(decoded.image, picture).largest, 0) << name;
        EXPECT_TRUE(fs::exists(odd)) << name;
        EXPECT_EQ(differenceBetween(decodeImage(folder / name), picture).largest, 0) << name;
    }
}

TEST_F(ImageDecoderTest, ALinkToAPictureIsThatPicture) {
    const Image picture = asymmetricPicture(51, 37);
    writeTiffAs(picture, file, {});
    fs::create_symlink(file, folder / "link");
    expectExactly(folder / "link", picture);
}

TEST_F(ImageDecoderTest, TheProfileStays) {
    const QByteArray p3 = test::builtInProfile("p3");
    const std::vector<std::pair<const char*, std::function<void(const VImage&)>>> savers = {
        {"JPEG", [this](const VImage& picture) { picture.jpegsave(file.c_str()); }},
        {"PNG", [this](const VImage& picture) { picture.pngsave(file.c_str()); }},
        {"TIFF", [this](const VImage& picture) { picture.tiffsave(file.c_str()); }},
        {"WebP", [this](const VImage& picture) { picture.webpsave(file.c_str()); }}};
    for (const auto& [name, save] : savers) {
        VImage picture = vipsImage(asymmetricPicture(51, 37));
        setProfile(picture, p3);
        save(picture);
        EXPECT_EQ(decode(file).colourProfile(), p3) << name;
        picture.remove(VIPS_META_ICC_NAME);
        save(picture);
        EXPECT_TRUE(decode(file).colourProfile().isEmpty()) << name;
    }
    VImage grey = vipsImage(asymmetricPicture(51, 37, greyAlpha8));
    setProfile(grey, test::greyProfile(1.8));
    grey.tiffsave(file.c_str());
    EXPECT_EQ(decode(file).colourProfile(), test::greyProfile(1.8));
}

TEST_F(ImageDecoderTest, AProfileOfAnotherKindIsDropped) {
    const std::string line = "Colour profile of another kind of picture passed over";
    const std::vector<std::pair<PixelFormat, QByteArray>> mismatched = {
        {rgb8, test::greyProfile(2.2)},
        {grey8, test::builtInProfile("srgb")},
        {rgb8, test::builtInProfile("cmyk")},
        {rgb8, "short"},
        {rgb8, QByteArray(500, 'x')}};
    for (const auto& [format, profile] : mismatched) {
        VImage picture = vipsImage(asymmetricPicture(51, 37, format));
        setProfile(picture, profile);
        picture.tiffsave(file.c_str());
        const LogRecorder log;
        const Image decoded = decode(file);
        EXPECT_TRUE(decoded.colourProfile().isEmpty());
        EXPECT_EQ(differenceBetween(decoded, asymmetricPicture(51, 37, format)).largest, 0);
        EXPECT_GT(log.count(line), 0);
    }
}

TEST_F(ImageDecoderTest, TheFileHasTheProfileTheResolutionAndNoOtherMetadata) {
    PixelBuffer buffer(51, 37, rgb8);
    buffer.description().colourProfile = test::builtInProfile("p3");
    const Image picture = std::move(buffer).finish();
    writeTiffAs(picture, file,
                {.compression = COMPRESSION_LZW, .pixelsPerInch = 300.0F, .description = true});
    const DecodedFile decoded = decodeToTiff(file, tiff);
    ASSERT_FALSE(decoded.image.isNull());
    EXPECT_THAT(
        test::tagsOf(tiff),
        UnorderedElementsAreArray(
            {TIFFTAG_IMAGEWIDTH, TIFFTAG_IMAGELENGTH, TIFFTAG_BITSPERSAMPLE, TIFFTAG_COMPRESSION,
             TIFFTAG_PHOTOMETRIC, TIFFTAG_STRIPOFFSETS, TIFFTAG_ORIENTATION,
             TIFFTAG_SAMPLESPERPIXEL, TIFFTAG_ROWSPERSTRIP, TIFFTAG_STRIPBYTECOUNTS,
             TIFFTAG_XRESOLUTION, TIFFTAG_YRESOLUTION, TIFFTAG_PLANARCONFIG, TIFFTAG_RESOLUTIONUNIT,
             TIFFTAG_SAMPLEFORMAT, TIFFTAG_ICCPROFILE}));
    EXPECT_TRUE(fusionToolReadsAsShown(tiff));
    EXPECT_NEAR(decoded.image.pixels().pixelsPerMillimetre, 300 / 25.4, 1e-3);
    EXPECT_NEAR(decodeImage(file).pixels().pixelsPerMillimetre, 300 / 25.4, 1e-3);
    TIFF* written = TIFFOpen(tiff.c_str(), "r");
    ASSERT_NE(written, nullptr);
    float pixelsPerInch = 0;
    std::uint16_t compression = 0;
    TIFFGetField(written, TIFFTAG_XRESOLUTION, &pixelsPerInch);
    TIFFGetField(written, TIFFTAG_COMPRESSION, &compression);
    EXPECT_NEAR(static_cast<double>(pixelsPerInch), 300, 0.01);
    EXPECT_EQ(compression, COMPRESSION_NONE);
    EXPECT_FALSE(TIFFIsTiled(written));
    TIFFClose(written);
}

TEST_F(ImageDecoderTest, SeveralThreadsDecodeAtATime) {
    const Image picture = asymmetricPicture(301, 207, rgb16);
    vipsImage(picture).pngsave(file.c_str());
    std::vector<Image> decoded(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < decoded.size(); ++i) {
        threads.emplace_back([&, i] {
            decoded[i] = i % 2 == 0
                             ? decodeToTiff(file, folder / (std::to_string(i) + ".tif")).image
                             : decodeImage(file);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const Image& image : decoded)
        EXPECT_EQ(differenceBetween(image, picture).largest, 0);
}

}  // namespace lumaweave
