// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/VipsCodec.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "imaging/formats/Formats.h"
#include "imaging/formats/QtCodec.h"
#include "imaging/formats/TimedSource.h"
#include "imaging/formats/VipsColours.h"
#include "imaging/formats/VipsLibrary.h"
#include "imaging/picture/ColourProfile.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"

// Pictures that libvips reads: JPEG, PNG and WebP here, and those of the formats that use it too.

namespace lumaweave {

using vips::VImage;

namespace {

VImage openPixels(const FileDescriptor& file, bool intoMemory, std::vector<char>& fileBytes) {
    vips::VOption* options =
        VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL)->set("fail_on", VIPS_FAIL_ON_ERROR);
    if (intoMemory) {
        fileBytes.resize(file.size());
        if (!file.readAt(0, fileBytes.data(), fileBytes.size())) fileBytes.clear();
        return VImage::new_from_buffer(fileBytes.data(), fileBytes.size(), "", options);
    }
    const VImage image = VImage::new_from_source(timedSource(file), "", options);
    return image.coding() == VIPS_CODING_RAD ? image.rad2float() : image;
}

struct RegionRelease {
    void operator()(VipsRegion* region) const { g_object_unref(region); }
};
using Region = std::unique_ptr<VipsRegion, RegionRelease>;

class VipsPicture : public OpenedPicture {
  public:
    VipsPicture(const PictureFile& file, const VipsHelp& help) : path_(file.path) {
        const VImage opened = openPixels(file.descriptor, help.intoMemory, fileBytes_);
        description_.width = opened.width();
        description_.height = opened.height();
        description_.pixelsPerMillimetre = opened.xres();
        orientation_ = vips_image_get_orientation(opened.get_image());
        if (isLab(opened)) {
            describeLab(opened);
        } else {
            describe(toRgbOrGrey(opened));
        }
        VipsFacts facts = {description_, orientation_, changes_};
        if (help.correct != nullptr) help.correct(file, facts);
        if (changes_.isLinear) showProfile();
    }

    Outcome readRows(int stripRows, const TakeRows& take) override;

  private:
    void describe(VImage image) {
        PixelFormat& format = description_.format;
        format.colours = image.bands() >= 3 ? 3 : 1;
        format.alpha = image.bands() > format.colours;
        description_.colourProfile = usableProfile(image, format.colours);
        if (image.bands() > format.samples()) {
            image = image.extract_band(0, VImage::option()->set("n", format.samples()));
        }
        pixels_ = toKnownDepth(image, &format.type);
    }

    void describeLab(const VImage& image) {
        const bool isByte = image.coding() == VIPS_CODING_LABQ;
        description_.format = {3, false, isByte ? SampleType::uint8 : SampleType::uint16};
        pixels_ = labFloats(image);
        changes_.isLab = true;
    }

    // The profile of light becomes that of display values.
    void showProfile() {
        QByteArray& profile = description_.colourProfile;
        if (!profile.isEmpty()) profile = withDisplayTones(profile);
        if (isSrgbProfile(profile)) profile.clear();
    }

    [[nodiscard]] std::size_t rowBytes() const {
        return static_cast<std::size_t>(pixels_.width()) *
               VIPS_IMAGE_SIZEOF_PEL(pixels_.get_image());
    }
    // The rows of the area, one behind the other, as pictures here hold them. Puts them into
    // `packed` if libvips' own are not like that.
    [[nodiscard]] const void* rowsOf(VipsRegion* region, const VipsRect& area,
                                     std::vector<std::byte>& packed) const;

    std::filesystem::path path_;
    std::vector<char> fileBytes_;  // what the picture reads from, where that is memory
    VImage pixels_;
    SampleChanges changes_;
};

const void* VipsPicture::rowsOf(VipsRegion* region, const VipsRect& area,
                                std::vector<std::byte>& packed) const {
    const bool hasGaps = static_cast<std::size_t>(VIPS_REGION_LSKIP(region)) != rowBytes();
    if (!hasGaps && !changes_.any()) return VIPS_REGION_ADDR(region, 0, area.top);
    packed.resize(rowBytes() * static_cast<std::size_t>(area.height));
    for (int i = 0; i < area.height; ++i) {
        std::memcpy(packed.data() + rowBytes() * static_cast<std::size_t>(i),
                    VIPS_REGION_ADDR(region, 0, area.top + i), rowBytes());
    }
    if (changes_.any()) {
        changes_.apply(packed,
                       static_cast<std::size_t>(area.width) * static_cast<std::size_t>(area.height),
                       description_.format);
    }
    return packed.data();
}

Outcome VipsPicture::readRows(int stripRows, const TakeRows& take) {
    vips_error_clear();
    const Region region(vips_region_new(pixels_.get_image()));
    std::vector<std::byte> packed;
    for (int y = 0; y < pixels_.height(); y += stripRows) {
        const VipsRect area = {0, y, pixels_.width(), std::min(stripRows, pixels_.height() - y)};
        if (vips_region_prepare(region.get(), &area) != 0) {
            Failure failure = refused(path_, vips_error_buffer());
            vips_error_clear();
            return failure;
        }
        if (!take(rowsOf(region.get(), area, packed), area.height)) {
            return Failure{"its rows are not taken"};
        }
    }
    return {};
}

}  // namespace

OpenResult openWithVips(const PictureFile& file, const VipsHelp& help) {
    startVips();
    vips_error_clear();
    try {
        return std::make_unique<VipsPicture>(file, help);
    } catch (const vips::VError& error) {
        Failure failure = refused(file.path, error.what());
        vips_error_clear();
        return failure;
    }
}

namespace {

using namespace std::string_view_literals;

OpenResult openPlainly(const PictureFile& file) {
    return openWithVips(file);
}

OpenResult openWebp(const PictureFile& file) {
    return openWithVips(file, {.intoMemory = true});
}

bool isJpeg(std::string_view head, const ReadBytes&) {
    return hasAt(head, 0, "\xFF\xD8\xFF"sv);
}

bool isPng(std::string_view head, const ReadBytes&) {
    return hasAt(head, 0, "\x89PNG\r\n\x1A\n"sv);
}

bool isWebp(std::string_view head, const ReadBytes&) {
    return hasAt(head, 0, "RIFF"sv) && hasAt(head, 8, "WEBP"sv);
}

constexpr std::string_view jpegEndings[] = {"jpg", "jpeg"};
constexpr std::string_view pngEndings[] = {"png"};
constexpr std::string_view webpEndings[] = {"webp"};

}  // namespace

constinit const PhotoFormat jpegFormat = {
    .name = "JPEG",
    .endings = jpegEndings,
    .decodedBy = DecodedBy::program,
    .recognises = isJpeg,
    .open = openPlainly,
    .openAsLastResort = [](const PictureFile& file) { return openWithQt(file, "jpeg"); }};

constinit const PhotoFormat pngFormat = {
    .name = "PNG",
    .endings = pngEndings,
    .decodedBy = DecodedBy::program,
    .recognises = isPng,
    .open = openPlainly,
    .openAsLastResort = [](const PictureFile& file) { return openWithQt(file, "png"); }};

constinit const PhotoFormat webpFormat = {
    .name = "WebP",
    .endings = webpEndings,
    .decodedBy = DecodedBy::program,
    .recognises = isWebp,
    .open = openWebp,
    .openAsLastResort = [](const PictureFile& file) { return openWithQt(file, "webp"); }};

}  // namespace lumaweave
