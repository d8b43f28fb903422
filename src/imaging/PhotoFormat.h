#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "imaging/TiffDirectory.h"

namespace lumaweave {

// What kind of photograph a file holds, told by its bytes alone. Pure; any thread.

enum class PhotoFormat {
    none,  // no photograph: text, drawings, documents, video…
    jpeg,
    png,
    tiff,
    webp,
    heif,  // HEIC, HEIF, AVIF
    jpeg2000,
    jpegXl,
    openExr,
    radiance,
    raw,
    simple  // BMP, GIF, PNM: what the widget library reads and the image library is not asked for
};

// How many of a file's first bytes tell its format.
inline constexpr std::size_t formatHeadBytes = 32;

// The format that a file with these first bytes has. A raw file that is built as a TIFF counts as a
// TIFF here: its directories must be asked (isRawTiff).
[[nodiscard]] PhotoFormat formatOfHead(std::span<const std::byte> head);

// Whether a TIFF holds a camera's raw pixels: it says that it is a DNG, or one of its directories
// has a colour mosaic or undeveloped colours. Directories that cannot be read are passed over, so
// that a damaged raw file is not taken for the small picture that it carries. A developed picture,
// whatever camera or scanner it names, is none.
[[nodiscard]] bool isRawTiff(const ReadBytes& read);

// The endings that such files usually have, in small letters, for choosing among files. They say
// nothing of what is in a file.
[[nodiscard]] std::span<const std::string_view> usualEndings();

// The format of a file: its first bytes and, for a TIFF, its directories.
[[nodiscard]] PhotoFormat photoFormatOf(const ReadBytes& read);

}  // namespace lumaweave
