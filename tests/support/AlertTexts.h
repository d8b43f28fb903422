// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace lumaweave::test {

// Alerts that several rooms' tests expect, letter for letter.

inline constexpr auto unrecognizedFile = "Unrecognized image file type!";
inline constexpr auto toolNotFound =
    "CreateEnfuseCommandString: cannot locate the Enfuse application!";
inline constexpr auto previewNotFound =
    "doEnfusePreviewOnThread : enfused preview file was not found!";
inline constexpr auto loadingFailed = "-doAutoAlignOnThread : error loading image file!";

// A result whose metadata cannot be added, and one that cannot be shown.
inline constexpr auto unreadableResult =
    "CopyImageFileAndAddEXIF: CGImageSourceCreateWithURL() failed!  This means the Enfuse was "
    "unsuccessful, so check the Console log and look for any error messages from Enfuse.";
inline constexpr auto resultNotShown =
    "Enfuse was not able to generate an image.  Check the Console log for details, but sometimes "
    "this happens when the source TIFF files are corrupt or not all the same format.  Opening the "
    "images in Photoshop and re-saving usually fixes this problem (do a Save As...).";

}  // namespace lumaweave::test
