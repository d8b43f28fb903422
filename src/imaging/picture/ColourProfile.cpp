// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/picture/ColourProfile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>

#include "imaging/picture/LcmsLibrary.h"

namespace lumaweave {

bool isProfileOf(const char* colourSpace, const void* profile, std::size_t size) {
    constexpr std::size_t headerSize = 128;
    constexpr std::size_t colourSpaceOffset = 16;
    constexpr std::size_t signatureOffset = 36;
    const auto* bytes = static_cast<const char*>(profile);
    return size >= headerSize && std::memcmp(bytes + signatureOffset, "acsp", 4) == 0 &&
           std::memcmp(bytes + colourSpaceOffset, colourSpace, 4) == 0;
}

namespace {

struct CurveCloser {
    void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};
using Curve = std::unique_ptr<cmsToneCurve, CurveCloser>;

QByteArray bytesOf(const LcmsProfile& profile) {
    cmsUInt32Number size = 0;
    if (!profile || cmsSaveProfileToMem(profile.get(), nullptr, &size) == 0) return {};
    QByteArray bytes(static_cast<qsizetype>(size), '\0');
    if (cmsSaveProfileToMem(profile.get(), bytes.data(), &size) == 0) return {};
    // Without the time: the shots of a bracket must have one and the same profile.
    constexpr qsizetype timeOffset = 24;
    constexpr qsizetype timeBytes = 12;
    bytes.replace(timeOffset, timeBytes, QByteArray(timeBytes, '\0'));
    return bytes;
}

Curve displayCurve() {
    const std::array<cmsFloat64Number, 5> parameters = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92,
                                                        0.04045};
    return Curve(cmsBuildParametricToneCurve(nullptr, 4, parameters.data()));
}

constexpr std::array<cmsTagSignature, 3> colourCurves = {cmsSigRedTRCTag, cmsSigGreenTRCTag,
                                                         cmsSigBlueTRCTag};

bool isLinear(void* profile, cmsTagSignature curve) {
    const auto* tones = static_cast<const cmsToneCurve*>(cmsReadTag(profile, curve));
    return tones != nullptr && cmsIsToneCurveLinear(tones) != 0;
}

bool isSrgbCurve(void* profile, cmsTagSignature curve) {
    const auto* tones = static_cast<const cmsToneCurve*>(cmsReadTag(profile, curve));
    const Curve expected = displayCurve();
    for (int i = 0; i <= 16 && tones != nullptr; ++i) {
        const float value = static_cast<float>(i) / 16;
        if (std::abs(cmsEvalToneCurveFloat(tones, value) -
                     cmsEvalToneCurveFloat(expected.get(), value)) > 1e-3F) {
            return false;
        }
    }
    return tones != nullptr;
}

bool isSameColour(void* a, void* b, cmsTagSignature tag) {
    const auto* left = static_cast<const cmsCIEXYZ*>(cmsReadTag(a, tag));
    const auto* right = static_cast<const cmsCIEXYZ*>(cmsReadTag(b, tag));
    constexpr double tolerance = 1e-3;
    return left != nullptr && right != nullptr && std::abs(left->X - right->X) < tolerance &&
           std::abs(left->Y - right->Y) < tolerance && std::abs(left->Z - right->Z) < tolerance;
}

}  // namespace

bool isSrgbProfile(const QByteArray& bytes) {
    const LcmsProfile profile = openProfile(bytes);
    if (!profile) return false;
    if (cmsGetColorSpace(profile.get()) == cmsSigGrayData) {
        return isSrgbCurve(profile.get(), cmsSigGrayTRCTag);
    }
    if (cmsIsMatrixShaper(profile.get()) == 0) return false;
    const LcmsProfile srgb(cmsCreate_sRGBProfile());
    for (const cmsTagSignature colour :
         {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag}) {
        if (!isSameColour(profile.get(), srgb.get(), colour)) return false;
    }
    return std::all_of(colourCurves.begin(), colourCurves.end(),
                       [&](cmsTagSignature curve) { return isSrgbCurve(profile.get(), curve); });
}

bool meansTheSame(const QByteArray& profile, const QByteArray& other) {
    const auto isSrgb = [](const QByteArray& p) { return p.isEmpty() || isSrgbProfile(p); };
    return profile == other || (isSrgb(profile) && isSrgb(other));
}

bool isLinearProfile(const QByteArray& bytes) {
    const LcmsProfile profile = openProfile(bytes);
    if (!profile) return false;
    if (cmsGetColorSpace(profile.get()) == cmsSigGrayData) {
        return isLinear(profile.get(), cmsSigGrayTRCTag);
    }
    return std::all_of(colourCurves.begin(), colourCurves.end(),
                       [&](cmsTagSignature curve) { return isLinear(profile.get(), curve); });
}

bool isConversionTarget(const QByteArray& bytes) {
    if (bytes.isEmpty()) return true;
    const LcmsProfile profile = openProfile(bytes);
    if (!profile) return false;
    const bool isGrey = cmsGetColorSpace(profile.get()) == cmsSigGrayData;
    const LcmsProfile srgb(cmsCreate_sRGBProfile());
    const LcmsTransform transform(cmsCreateTransform(
        srgb.get(), TYPE_RGB_FLT, profile.get(), isGrey ? TYPE_GRAY_FLT : TYPE_RGB_FLT,
        INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE | cmsFLAGS_NOOPTIMIZE));
    return transform != nullptr;
}

QByteArray withDisplayTones(const QByteArray& linearProfile) {
    const LcmsProfile profile = openProfile(linearProfile);
    if (!profile) return {};
    const Curve curve = displayCurve();
    if (cmsGetColorSpace(profile.get()) == cmsSigGrayData) return srgbGreyProfile();
    if (cmsIsMatrixShaper(profile.get()) == 0) return {};
    // A new one, with nothing else of the old: tables would contradict the curves.
    const LcmsProfile target(cmsCreateProfilePlaceholder(nullptr));
    cmsSetProfileVersion(target.get(), 4.3);
    cmsSetDeviceClass(target.get(), cmsSigDisplayClass);
    cmsSetColorSpace(target.get(), cmsSigRgbData);
    cmsSetPCS(target.get(), cmsSigXYZData);
    for (const cmsTagSignature colourant :
         {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag,
          cmsSigMediaWhitePointTag, cmsSigChromaticAdaptationTag, cmsSigProfileDescriptionTag,
          cmsSigCopyrightTag}) {
        const void* value = cmsReadTag(profile.get(), colourant);
        if (value != nullptr) cmsWriteTag(target.get(), colourant, value);
    }
    for (const cmsTagSignature tones : colourCurves)
        cmsWriteTag(target.get(), tones, curve.get());
    return bytesOf(target);
}

QByteArray profileOfPrimaries(const Primaries& primaries) {
    const auto isNear = [](double a, double b) { return std::abs(a - b) < 5e-4; };
    const Primaries& s = srgbPrimaries;
    const Primaries& p = primaries;
    if (isNear(p.redX, s.redX) && isNear(p.redY, s.redY) && isNear(p.greenX, s.greenX) &&
        isNear(p.greenY, s.greenY) && isNear(p.blueX, s.blueX) && isNear(p.blueY, s.blueY) &&
        isNear(p.whiteX, s.whiteX) && isNear(p.whiteY, s.whiteY)) {
        return {};
    }
    const cmsCIExyY white = {p.whiteX, p.whiteY, 1};
    const cmsCIExyYTRIPLE colours = {
        {p.redX, p.redY, 1}, {p.greenX, p.greenY, 1}, {p.blueX, p.blueY, 1}};
    const Curve curve = displayCurve();
    const std::array<cmsToneCurve*, 3> curves = {curve.get(), curve.get(), curve.get()};
    return bytesOf(LcmsProfile(cmsCreateRGBProfile(&white, &colours, curves.data())));
}

QByteArray srgbGreyProfile() {
    return bytesOf(LcmsProfile(cmsCreateGrayProfile(cmsD50_xyY(), displayCurve().get())));
}

void labToSrgb(const float* lab, float* rgb, std::size_t pixels) {
    const LcmsProfile from(cmsCreateLab4Profile(nullptr));
    const LcmsProfile to(cmsCreate_sRGBProfile());
    const LcmsTransform transform(cmsCreateTransform(from.get(), TYPE_Lab_FLT, to.get(),
                                                     TYPE_RGB_FLT, INTENT_RELATIVE_COLORIMETRIC,
                                                     cmsFLAGS_NOCACHE | cmsFLAGS_NOOPTIMIZE));
    if (!transform) return;
    cmsDoTransform(transform.get(), lab, rgb, static_cast<cmsUInt32Number>(pixels));
    for (std::size_t i = 0; i < 3 * pixels; ++i)
        rgb[i] = std::clamp(rgb[i], 0.0F, 1.0F);
}

float displayValue(float light) {
    constexpr float brightest = 65504;
    if (std::isnan(light)) return 0;
    const float magnitude = std::min(std::abs(light), brightest);
    const float value = magnitude <= 0.0031308F ? magnitude * 12.92F
                                                : 1.055F * std::pow(magnitude, 1 / 2.4F) - 0.055F;
    return std::copysign(value, light);
}

}  // namespace lumaweave
