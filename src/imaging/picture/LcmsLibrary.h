// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// lcms2's handles as objects that close themselves. For imaging/picture and imaging/tiff only.

#include <lcms2.h>

#include <QByteArray>
#include <memory>

#include "imaging/picture/ColourProfile.h"

namespace lumaweave {

struct LcmsProfileCloser {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
struct LcmsTransformCloser {
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using LcmsProfile = std::unique_ptr<void, LcmsProfileCloser>;
using LcmsTransform = std::unique_ptr<void, LcmsTransformCloser>;

// Null when the bytes are no profile.
inline LcmsProfile openProfile(const QByteArray& bytes) {
    return LcmsProfile(
        cmsOpenProfileFromMem(bytes.constData(), static_cast<cmsUInt32Number>(bytes.size())));
}

// The same for a picture of 1 or 3 colour samples; empty is sRGB, or grey with sRGB's tone curve.
inline LcmsProfile openProfileOf(const QByteArray& bytes, int colours) {
    if (!bytes.isEmpty()) return openProfile(bytes);
    return colours == 1 ? openProfile(srgbGreyProfile()) : LcmsProfile(cmsCreate_sRGBProfile());
}

}  // namespace lumaweave
