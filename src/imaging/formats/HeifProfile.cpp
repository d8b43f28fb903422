// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/HeifProfile.h"

#include <memory>

#include "imaging/picture/ColourProfile.h"
#include "platform/Log.h"

namespace lumaweave {

namespace {

struct ReleaseNclx {
    void operator()(heif_color_profile_nclx* profile) const {
        heif_nclx_color_profile_free(profile);
    }
};

// The profile that stands for the colours which the file names by number.
QByteArray profileOfNumbers(const heif_image_handle* handle) {
    heif_color_profile_nclx* read = nullptr;
    if (heif_image_handle_get_nclx_color_profile(handle, &read).code != heif_error_Ok) return {};
    const std::unique_ptr<heif_color_profile_nclx, ReleaseNclx> numbers(read);
    const auto tones = numbers->transfer_characteristics;
    if (tones == heif_transfer_characteristic_ITU_R_BT_2100_0_PQ ||
        tones == heif_transfer_characteristic_ITU_R_BT_2100_0_HLG) {
        logLine("A picture for screens of high dynamic range is taken as one for usual screens");
    }
    switch (numbers->color_primaries) {
        case heif_color_primaries_SMPTE_EG_432_1:
            return profileOfPrimaries(displayP3Primaries);
        case heif_color_primaries_ITU_R_BT_2020_2_and_2100_0:
            return profileOfPrimaries(bt2020Primaries);
        default:
            return {};
    }
}

}  // namespace

QByteArray heifProfileOf(const heif_image_handle* handle) {
    const std::size_t size = heif_image_handle_get_raw_color_profile_size(handle);
    const heif_color_profile_type type = heif_image_handle_get_color_profile_type(handle);
    const bool isIcc = type == heif_color_profile_type_prof || type == heif_color_profile_type_rICC;
    if (!isIcc || size == 0) return profileOfNumbers(handle);
    QByteArray profile(static_cast<qsizetype>(size), '\0');
    if (heif_image_handle_get_raw_color_profile(handle, profile.data()).code != heif_error_Ok ||
        !isProfileOf("RGB ", profile.constData(), size)) {
        logLine("Colour profile of another kind of picture passed over");
        return {};
    }
    return profile;
}

}  // namespace lumaweave
