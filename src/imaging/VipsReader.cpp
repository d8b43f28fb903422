#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "imaging/ColourProfile.h"
#include "imaging/PictureReader.h"
#include "imaging/TimedSource.h"
#include "imaging/VipsLibrary.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"

// Pictures that libvips reads: JPEG, PNG, TIFF, WebP, JPEG 2000, JPEG XL and Radiance.

namespace lumaweave {

using vips::VImage;

namespace {

VImage openPixels(const FileDescriptor& file, PhotoFormat format, std::vector<char>& fileBytes) {
    vips::VOption* options =
        VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL)->set("fail_on", VIPS_FAIL_ON_ERROR);
    if (format == PhotoFormat::webp) {
        // libvips would map a WebP file, and a file that shrinks under its map ends the program.
        fileBytes.resize(file.size());
        if (!file.readAt(0, fileBytes.data(), fileBytes.size())) fileBytes.clear();
        return VImage::new_from_buffer(fileBytes.data(), fileBytes.size(), "", options);
    }
    const VImage image = VImage::new_from_source(timedSource(file), "", options);
    return image.coding() == VIPS_CODING_RAD ? image.rad2float() : image;
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

VImage cmykToRgb(const VImage& image) {
    constexpr int inks = 4;
    const bool isByte = image.format() == VIPS_FORMAT_UCHAR;
    const VImage rgb = image.extract_band(0, VImage::option()->set("n", inks))
                           .icc_transform("srgb", VImage::option()
                                                      ->set("embedded", hasProfileOf("CMYK", image))
                                                      ->set("input_profile", "cmyk")
                                                      ->set("depth", isByte ? 8 : 16));
    return image.bands() > inks ? rgb.bandjoin(image.extract_band(inks)) : rgb;
}

bool isLab(const VImage& image) {
    return image.coding() == VIPS_CODING_LABQ ||
           image.interpretation() == VIPS_INTERPRETATION_LAB ||
           image.interpretation() == VIPS_INTERPRETATION_LABS;
}

// Lab as floats; it becomes RGB row by row.
VImage labFloats(const VImage& image) {
    const VImage lab = image.coding() == VIPS_CODING_LABQ                   ? image.LabQ2Lab()
                       : image.interpretation() == VIPS_INTERPRETATION_LABS ? image.LabS2Lab()
                                                                            : image;
    return lab.extract_band(0, VImage::option()->set("n", 3)).cast(VIPS_FORMAT_FLOAT);
}

// Colour spaces that the fusion tool does not take become sRGB, which is what shots without a
// profile have: a bracket mixes well with it, and its files are understood everywhere.
VImage toRgbOrGrey(const VImage& image) {
    if (image.interpretation() == VIPS_INTERPRETATION_CMYK) return cmykToRgb(image);
    if (isRgbOrGrey(image.interpretation())) return image;
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

// The beginning of a file, where its header is.
std::string headOf(const FileDescriptor& file) {
    constexpr std::uint64_t enough = 1 << 20;
    std::string head(std::min(file.size(), enough), '\0');
    if (!file.readAt(0, head.data(), head.size())) head.clear();
    return head;
}

std::uint32_t bigEndianAt(std::string_view bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value = value << 8U | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

// What libvips does not tell of a JPEG 2000 file.
struct Jpeg2000Facts {
    int bits = 0;        // of the first component; 0 when they cannot be told
    bool isYcc = false;  // and libvips, which knows it where the colour is sampled down, does not
    QByteArray profile;
};

// Whether the components of a codestream have as many samples each.
bool isSampledEqually(std::string_view codestream) {
    constexpr std::size_t componentsOffset = 40;
    constexpr std::size_t componentBytes = 3;  // bits, and the steps across and down
    if (codestream.size() < componentsOffset + 2 + 3 * componentBytes) return false;
    const std::string_view components = codestream.substr(componentsOffset + 2);
    for (std::size_t i = 0; i < 3; ++i) {
        const std::string_view steps = components.substr(i * componentBytes + 1, 2);
        if (steps != std::string_view("\1\1", 2)) return false;
    }
    return true;
}

Jpeg2000Facts jpeg2000Facts(const FileDescriptor& file) {
    using namespace std::string_view_literals;
    const std::string head = headOf(file);
    const std::string_view bytes = head;
    Jpeg2000Facts facts;
    constexpr std::size_t bitsOffset = 42;  // behind the sizes of picture and tiles
    const std::size_t codestream = bytes.find("\xFF\x4F\xFF\x51"sv);
    if (codestream == std::string_view::npos || codestream + bitsOffset >= bytes.size()) {
        return facts;
    }
    facts.bits = (static_cast<unsigned char>(bytes[codestream + bitsOffset]) & 0x7F) + 1;
    // The box of colours: its length, its name, a 1 or 2, two bytes, a number or a profile.
    constexpr std::size_t boxHead = 11;
    constexpr std::size_t fieldBytes = 4;
    const std::size_t name = bytes.substr(0, codestream).find("colr"sv);
    if (name == std::string_view::npos || name < fieldBytes) return facts;
    const std::string_view box = bytes.substr(name - fieldBytes);
    const std::size_t length = bigEndianAt(box, 0);
    if (length < boxHead + fieldBytes || length > box.size()) return facts;
    constexpr unsigned ycc = 18;
    if (box[8] == 1) {
        facts.isYcc =
            bigEndianAt(box, boxHead) == ycc && isSampledEqually(bytes.substr(codestream));
    } else if (box[8] == 2) {
        facts.profile = QByteArray(box.data() + boxHead, static_cast<qsizetype>(length - boxHead));
    }
    return facts;
}

// How the rows of a Radiance file lie, as EXIF counts it: the line behind the header says which
// axis comes first, and which way each goes.
int radianceOrientation(const FileDescriptor& file) {
    const std::string head = headOf(file);
    const std::string_view bytes = head;
    const std::size_t headerEnd = bytes.find("\n\n");
    if (headerEnd == std::string_view::npos) return 1;
    const std::string_view line = bytes.substr(headerEnd + 2, 40);
    const std::size_t second = line.find_first_of("+-", 1);
    if (second == std::string_view::npos || second + 1 >= line.size()) return 1;
    const std::string axes = {line[0], line[1], line[second], line[second + 1]};
    constexpr std::array<std::string_view, 8> known = {"-Y+X", "-Y-X", "+Y-X", "+Y+X",
                                                       "+X-Y", "-X-Y", "-X+Y", "+X+Y"};
    const auto* found = std::find(known.begin(), known.end(), axes);
    return found == known.end() ? 1 : static_cast<int>(found - known.begin()) + 1;
}

// What is done to samples that libvips gives otherwise than pictures here hold them.
struct SampleChange {
    bool isLinear = false;  // light instead of display values
    bool isYcc = false;     // luminance and colour differences
    unsigned highest = 0;   // what stands for white, where that is not the type's own highest
};

template <typename Sample>
void stretch(Sample* samples, std::size_t count, unsigned highest) {
    constexpr unsigned full = fullValue<Sample>();
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned value = std::min<unsigned>(samples[i], highest);
        samples[i] = static_cast<Sample>((std::uint64_t{value} * full + highest / 2) / highest);
    }
}

void showLight(float* samples, std::size_t pixels, const PixelFormat& format) {
    for (std::size_t i = 0; i < pixels; ++i, samples += format.samples()) {
        for (int s = 0; s < format.colours; ++s)
            samples[s] = displayValue(samples[s]);
    }
}

template <typename Sample>
void yccToRgb(Sample* pixel, std::size_t pixels, int samples) {
    constexpr double full = fullValue<Sample>();
    constexpr double middle = (full + 1) / 2;
    const auto sampleOf = [full](double value) {
        return static_cast<Sample>(std::clamp(value + 0.5, 0.0, full));
    };
    for (std::size_t i = 0; i < pixels; ++i, pixel += samples) {
        const double luminance = pixel[0];
        const double blue = pixel[1] - middle;
        const double red = pixel[2] - middle;
        pixel[0] = sampleOf(luminance + 1.402 * red);
        pixel[1] = sampleOf(luminance - 0.344136 * blue - 0.714136 * red);
        pixel[2] = sampleOf(luminance + 1.772 * blue);
    }
}

class VipsReader : public PictureReader {
  public:
    VipsReader(const PictureFile& file, PhotoFormat format) : path_(file.path) {
        const VImage opened = openPixels(file.descriptor, format, fileBytes_);
        description_.width = opened.width();
        description_.height = opened.height();
        description_.pixelsPerMillimetre = opened.xres();
        // Its library has turned it.
        if (format != PhotoFormat::jpegXl) {
            orientation_ = vips_image_get_orientation(opened.get_image());
        }
        if (format == PhotoFormat::radiance) orientation_ = radianceOrientation(file.descriptor);
        if (isLab(opened)) {
            describeLab(opened);
        } else {
            describe(toRgbOrGrey(opened));
            noteChanges(file, format);
        }
    }

    [[nodiscard]] Result readRows(int stripRows, const TakeRows& take) override;

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
        isLab_ = true;
    }

    void noteChanges(const PictureFile& file, PhotoFormat format) {
        const bool isFloat = description_.format.type == SampleType::float32;
        if (format == PhotoFormat::jpeg2000 && !isFloat) {
            // Its samples come shifted up to the top of 8 or 16 bits.
            const Jpeg2000Facts facts = jpeg2000Facts(file.descriptor);
            const int room = description_.format.bytesPerSample() * 8;
            if (facts.bits > 0 && facts.bits < room) {
                change_.highest = ((1U << facts.bits) - 1U) << (room - facts.bits);
            }
            change_.isYcc = facts.isYcc && description_.format.colours == 3;
            if (isProfileOf(profileColourSpace(description_.format.colours),
                            facts.profile.constData(),
                            static_cast<std::size_t>(facts.profile.size()))) {
                description_.colourProfile = facts.profile;
            }
        }
        QByteArray& profile = description_.colourProfile;
        // Its library makes one for files that have none.
        if (format == PhotoFormat::jpegXl && isSrgbProfile(profile)) profile.clear();
        if (format == PhotoFormat::radiance) change_.isLinear = true;
        if (format == PhotoFormat::jpegXl && isFloat) {
            change_.isLinear = isLinearProfile(profile);
        }
        if (change_.isLinear && !profile.isEmpty()) profile = withDisplayTones(profile);
        if (change_.isLinear && isSrgbProfile(profile)) profile.clear();
    }

    [[nodiscard]] bool changesSamples() const {
        return isLab_ || change_.isLinear || change_.highest != 0 || change_.isYcc;
    }
    void changeSamples(std::vector<std::byte>& rows, std::size_t pixels) const;

    std::filesystem::path path_;
    std::vector<char> fileBytes_;  // what the picture reads from, where that is memory
    VImage pixels_;
    bool isLab_ = false;
    SampleChange change_;
};

void VipsReader::changeSamples(std::vector<std::byte>& rows, std::size_t pixels) const {
    const PixelFormat& format = description_.format;
    if (isLab_) {
        auto* floats = reinterpret_cast<float*>(rows.data());
        labToSrgb(floats, floats, pixels);
    }
    withSampleType(format.type, [&]<typename Sample>() {
        auto* samples = reinterpret_cast<Sample*>(rows.data());
        if (isLab_) {
            const std::vector<float> colours(
                reinterpret_cast<const float*>(rows.data()),
                reinterpret_cast<const float*>(rows.data()) + 3 * pixels);
            for (const float colour : colours)
                *samples++ = static_cast<Sample>(
                    std::lround(colour * static_cast<float>(fullValue<Sample>())));
        } else if constexpr (std::is_same_v<Sample, float>) {
            showLight(samples, pixels, format);
        } else {
            const std::size_t count = pixels * static_cast<std::size_t>(format.samples());
            if (change_.highest != 0) stretch(samples, count, change_.highest);
            if (change_.isYcc) yccToRgb(samples, pixels, format.samples());
        }
    });
}

PictureReader::Result VipsReader::readRows(int stripRows, const TakeRows& take) {
    vips_error_clear();
    const std::size_t rowBytes =
        static_cast<std::size_t>(pixels_.width()) * VIPS_IMAGE_SIZEOF_PEL(pixels_.get_image());
    VipsRegion* region = vips_region_new(pixels_.get_image());
    std::vector<std::byte> packed;
    Result result = Result::done;
    for (int y = 0; y < pixels_.height() && result == Result::done; y += stripRows) {
        const VipsRect area = {0, y, pixels_.width(), std::min(stripRows, pixels_.height() - y)};
        if (vips_region_prepare(region, &area) != 0) {
            Log(path_.native() + ": " + vips_error_buffer());
            vips_error_clear();
            result = Result::unreadable;
            break;
        }
        const void* rows = VIPS_REGION_ADDR(region, 0, y);
        const bool hasGaps = static_cast<std::size_t>(VIPS_REGION_LSKIP(region)) != rowBytes;
        if (hasGaps || changesSamples()) {
            packed.resize(rowBytes * static_cast<std::size_t>(area.height));
            for (int i = 0; i < area.height; ++i) {
                std::memcpy(packed.data() + rowBytes * static_cast<std::size_t>(i),
                            VIPS_REGION_ADDR(region, 0, y + i), rowBytes);
            }
            if (changesSamples()) {
                changeSamples(packed, static_cast<std::size_t>(area.width) *
                                          static_cast<std::size_t>(area.height));
            }
            rows = packed.data();
        }
        if (!take(rows, area.height)) result = Result::refused;
    }
    g_object_unref(region);
    return result;
}

}  // namespace

OpenedPicture openWithVips(const PictureFile& file, PhotoFormat format) {
    startVips();
    vips_error_clear();
    try {
        return std::make_unique<VipsReader>(file, format);
    } catch (const vips::VError& error) {
        Log(file.path.native() + ": " + error.what());
        vips_error_clear();
        return nullptr;
    }
}

}  // namespace lumaweave
