// SPDX-License-Identifier: GPL-3.0-or-later
#include <jxl/encode.h>

#include <fstream>
#include <stdexcept>
#include <vector>

#include "imaging/picture/PixelData.h"
#include "support/FormatFixtures.h"

namespace lumaweave::test {

namespace {

void check(JxlEncoderStatus status) {
    if (status != JXL_ENC_SUCCESS) throw std::runtime_error("the JPEG XL could not be written");
}

}  // namespace

void writeJxl(const Image& image, const std::filesystem::path& path, int orientation) {
    const PixelData& pixels = image.pixels();
    const PixelFormat& format = pixels.format;
    const bool isFloat = format.type == SampleType::float32;
    JxlEncoder* encoder = JxlEncoderCreate(nullptr);
    JxlBasicInfo info;
    JxlEncoderInitBasicInfo(&info);
    info.xsize = static_cast<std::uint32_t>(pixels.width);
    info.ysize = static_cast<std::uint32_t>(pixels.height);
    info.bits_per_sample = static_cast<std::uint32_t>(format.bytesPerSample() * 8);
    info.exponent_bits_per_sample = isFloat ? 8 : 0;
    info.num_color_channels = static_cast<std::uint32_t>(format.colours);
    info.num_extra_channels = format.alpha ? 1 : 0;
    info.alpha_bits = format.alpha ? info.bits_per_sample : 0;
    info.alpha_exponent_bits = format.alpha ? info.exponent_bits_per_sample : 0;
    info.orientation = static_cast<JxlOrientation>(orientation);
    info.uses_original_profile = JXL_TRUE;
    check(JxlEncoderSetBasicInfo(encoder, &info));
    const QByteArray& profile = pixels.colourProfile;
    if (profile.isEmpty()) {
        JxlColorEncoding colours;
        const JXL_BOOL grey = format.colours == 1 ? JXL_TRUE : JXL_FALSE;
        if (isFloat) {
            JxlColorEncodingSetToLinearSRGB(&colours, grey);
        } else {
            JxlColorEncodingSetToSRGB(&colours, grey);
        }
        check(JxlEncoderSetColorEncoding(encoder, &colours));
    } else {
        check(JxlEncoderSetICCProfile(encoder,
                                      reinterpret_cast<const std::uint8_t*>(profile.constData()),
                                      static_cast<std::size_t>(profile.size())));
    }
    JxlEncoderFrameSettings* settings = JxlEncoderFrameSettingsCreate(encoder, nullptr);
    check(JxlEncoderSetFrameLossless(settings, JXL_TRUE));
    check(JxlEncoderFrameSettingsSetOption(settings, JXL_ENC_FRAME_SETTING_EFFORT, 3));
    const JxlPixelFormat how = {static_cast<std::uint32_t>(format.samples()),
                                format.type == SampleType::uint8    ? JXL_TYPE_UINT8
                                : format.type == SampleType::uint16 ? JXL_TYPE_UINT16
                                                                    : JXL_TYPE_FLOAT,
                                JXL_NATIVE_ENDIAN, 0};
    check(JxlEncoderAddImageFrame(settings, &how, pixels.bytes, pixels.byteCount()));
    JxlEncoderCloseInput(encoder);
    std::vector<std::uint8_t> bytes(1 << 20);
    std::uint8_t* next = bytes.data();
    std::size_t left = bytes.size();
    check(JxlEncoderProcessOutput(encoder, &next, &left));
    JxlEncoderDestroy(encoder);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), next - bytes.data());
}

}  // namespace lumaweave::test
