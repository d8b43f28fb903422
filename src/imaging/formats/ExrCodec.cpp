// SPDX-License-Identifier: GPL-3.0-or-later
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfChromaticitiesAttribute.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfStandardAttributes.h>

#include <algorithm>
#include <array>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "imaging/formats/Formats.h"
#include "imaging/formats/OpenedPicture.h"
#include "imaging/picture/ColourProfile.h"

// OpenEXR: RGB or grey, with alpha or not, half or full floats. The picture is the display window;
// where the file has no pixels for it, it is black (and transparent). Its linear light becomes
// display values; its primaries become the profile.

namespace lumaweave {

namespace {

Primaries primariesOf(const Imf::Header& header) {
    if (!Imf::hasChromaticities(header)) return srgbPrimaries;
    const Imf::Chromaticities& c = Imf::chromaticities(header);
    return {static_cast<double>(c.red.x),   static_cast<double>(c.red.y),
            static_cast<double>(c.green.x), static_cast<double>(c.green.y),
            static_cast<double>(c.blue.x),  static_cast<double>(c.blue.y),
            static_cast<double>(c.white.x), static_cast<double>(c.white.y)};
}

class ExrPicture : public WholePicture {
  public:
    explicit ExrPicture(const PictureFile& file) : path_(file.path), file_(file.path.c_str()) {
        const Imf::Header& header = file_.header();
        const Imath::Box2i& shown = header.displayWindow();
        // In 64 bits: the windows of a broken file may span more than an int holds.
        const auto extent = [](int low, int high) {
            return static_cast<int>(
                std::clamp<std::int64_t>(std::int64_t{high} - low + 1, 0, 1 << 30));
        };
        description_.width = extent(shown.min.x, shown.max.x);
        description_.height = extent(shown.min.y, shown.max.y);
        description_.colourProfile = profileOfPrimaries(primariesOf(header));
        description_.format.type = SampleType::float32;
        description_.format.alpha = header.channels().findChannel("A") != nullptr;
    }

    Outcome open() {
        const Imf::ChannelList& channels = file_.header().channels();
        const auto has = [&](const char* name) {
            const Imf::Channel* channel = channels.findChannel(name);
            return channel != nullptr && channel->xSampling == 1 && channel->ySampling == 1;
        };
        if (has("R") && has("G") && has("B")) {
            names_ = {"R", "G", "B"};
        } else if (has("Y") && channels.findChannel("RY") == nullptr) {
            names_ = {"Y"};
            description_.format.colours = 1;
            description_.colourProfile.clear();
        } else {
            return refused(path_, "has no channels for red, green and blue, nor for grey alone");
        }
        if (description_.format.alpha) names_.emplace_back("A");
        return {};
    }

  private:
    Result<Image> decode() override;
    void readRow(int y, std::vector<float>& row);
    void develop(float* row, int width) const;

    std::filesystem::path path_;
    Imf::InputFile file_;
    std::vector<std::string> names_;
};

// The stored row, from the first stored column on.
void ExrPicture::readRow(int y, std::vector<float>& row) {
    const Imath::Box2i& stored = file_.header().dataWindow();
    const std::size_t pixelBytes = names_.size() * sizeof(float);
    const Imath::Box2i area({stored.min.x, y}, {stored.max.x, y});
    Imf::FrameBuffer frame;
    for (std::size_t s = 0; s < names_.size(); ++s) {
        frame.insert(names_[s], Imf::Slice::Make(Imf::FLOAT, row.data() + s, area, pixelBytes,
                                                 row.size() * sizeof(float)));
    }
    file_.setFrameBuffer(frame);
    file_.readPixels(y);
}

Result<Image> ExrPicture::decode() {
    const Imath::Box2i& stored = file_.header().dataWindow();
    const Imath::Box2i& shown = file_.header().displayWindow();
    const std::int64_t storedWidth = std::int64_t{stored.max.x} - stored.min.x + 1;
    if (storedWidth <= 0 || storedWidth > 1 << 20) throw std::runtime_error("too wide");
    PixelBuffer buffer(description_.width, description_.height, description_.format);
    buffer.description().colourProfile = description_.colourProfile;
    const auto samples = static_cast<std::size_t>(description_.format.samples());
    const int first = std::max(stored.min.x, shown.min.x);
    const int last = std::min(stored.max.x, shown.max.x);
    const int bottom = std::min(stored.max.y, shown.max.y);
    std::vector<float> row(static_cast<std::size_t>(storedWidth) * samples);
    for (int y = std::max(stored.min.y, shown.min.y); y <= bottom; ++y) {
        readRow(y, row);
        if (first > last) continue;
        auto* to = buffer.row<float>(y - shown.min.y) +
                   static_cast<std::size_t>(first - shown.min.x) * samples;
        const float* from = row.data() + static_cast<std::size_t>(first - stored.min.x) * samples;
        std::copy_n(from, static_cast<std::size_t>(last - first + 1) * samples, to);
        develop(to, last - first + 1);
    }
    return std::move(buffer).finish();
}

// Colours come multiplied by their alpha.
void ExrPicture::develop(float* row, int width) const {
    const PixelFormat& format = description_.format;
    for (int x = 0; x < width; ++x, row += format.samples()) {
        const float alpha = format.alpha ? row[format.colours] : 1.0F;
        const float divisor = alpha > 0 ? alpha : 1.0F;
        for (int s = 0; s < format.colours; ++s)
            row[s] = displayValue(row[s] / divisor);
        if (format.alpha) row[format.colours] = alpha > 0 ? std::min(alpha, 1.0F) : 0.0F;
    }
}

OpenResult openExr(const PictureFile& file) {
    try {
        auto picture = std::make_unique<ExrPicture>(file);
        if (Outcome opened = picture->open(); !opened) return opened.failure();
        return picture;
    } catch (const std::exception& error) {
        return refused(file.path, error.what());
    }
}

bool recognises(std::string_view head, const ReadBytes&) {
    return hasAt(head, 0, "\x76\x2F\x31\x01");
}

constexpr std::string_view endings[] = {"exr"};

}  // namespace

constinit const PhotoFormat openExrFormat = {
    .name = "OpenEXR", .endings = endings, .recognises = recognises, .open = openExr};

}  // namespace lumaweave
