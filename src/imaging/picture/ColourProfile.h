// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <cstddef>

namespace lumaweave {

// ICC profiles, as bytes. All functions may be called from any thread.

// Whether these bytes begin like an ICC profile for pictures in this colour space: "RGB ", "GRAY"
// or "CMYK". libvips checks less, and reads and writes past its buffers where a picture in colours
// has a grey profile.
[[nodiscard]] bool isProfileOf(const char* colourSpace, const void* profile, std::size_t size);

// The colour space of a picture with 1 or 3 colour samples, as profiles name it.
[[nodiscard]] inline const char* profileColourSpace(int colours) {
    return colours == 3 ? "RGB " : "GRAY";
}

// Whether the profile (of RGB or grey) says that values are proportional to light.
[[nodiscard]] bool isLinearProfile(const QByteArray& profile);

// Whether the profile is just sRGB, or grey with sRGB's tone curve: it could be left out.
[[nodiscard]] bool isSrgbProfile(const QByteArray& profile);

// Whether pictures of one kind (grey or RGB) may exchange these profiles, and keep their colours.
// Empty is sRGB, or grey with sRGB's tone curve.
[[nodiscard]] bool meansTheSame(const QByteArray& profile, const QByteArray& other);

// The same colours with the tone curve of sRGB, for values that displayValue made. Empty when the
// profile is not built of primaries and curves.
[[nodiscard]] QByteArray withDisplayTones(const QByteArray& linearProfile);

// Whether colours can be converted to this profile, of RGB or grey, or empty: those of scanners and
// cameras often convert only from them.
[[nodiscard]] bool isConversionTarget(const QByteArray& profile);

// CIE coordinates of an RGB space.
struct Primaries {
    double redX, redY, greenX, greenY, blueX, blueY, whiteX, whiteY;
};
inline constexpr Primaries srgbPrimaries = {0.64, 0.33, 0.30, 0.60, 0.15, 0.06, 0.3127, 0.3290};
inline constexpr Primaries displayP3Primaries = {0.680, 0.320, 0.265,  0.690,
                                                 0.150, 0.060, 0.3127, 0.3290};
inline constexpr Primaries bt2020Primaries = {0.708, 0.292, 0.170,  0.797,
                                              0.131, 0.046, 0.3127, 0.3290};

// A profile with these primaries and the tone curve of sRGB; empty (which stands for sRGB) for
// sRGB's own, and for what is no RGB space.
[[nodiscard]] QByteArray profileOfPrimaries(const Primaries& primaries);

// Grey with the tone curve of sRGB.
[[nodiscard]] QByteArray srgbGreyProfile();

// Lab colours (lightness 0 to 100; relative to the white of profiles) as sRGB values from 0 to 1,
// clipped. Three numbers a pixel; lab and rgb may be the same. (libvips' own conversion is one to
// two levels of 255 out.)
void labToSrgb(const float* lab, float* rgb, std::size_t pixels);

// The display value (0 black, 1 white) of linear light, by the curve of sRGB, which goes on above
// white, and below black as its mirror image: nothing is lost. What is not a number becomes black,
// and infinite light the brightest that half floats hold.
[[nodiscard]] float displayValue(float light);

}  // namespace lumaweave
