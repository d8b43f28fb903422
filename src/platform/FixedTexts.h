// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Texts of alerts, the log and the output that stay letter for letter, because users search for
// them and scripts wait for them: names of calls, odd spellings and double blanks included. Do not
// mend what reads like a mistake here. Ordinary texts stand where they are used.
namespace lumaweave::fixed_texts {

// Alerts.
inline constexpr auto noImageToShow = "updateViewWithImageOnMainThread: theImage = nil";
inline constexpr auto noFusionTool =
    "CreateEnfuseCommandString: cannot locate the Enfuse application!";
inline constexpr auto noSavePath = "EnfuseFullRez: -fileURLWithPath failed!";
inline constexpr auto noPreview = "doEnfusePreviewOnThread : enfused preview file was not found!";
inline constexpr auto resultUnreadableForMetadata =
    "CopyImageFileAndAddEXIF: CGImageSourceCreateWithURL() failed!  This means the Enfuse was "
    "unsuccessful, so check the Console log and look for any error messages from Enfuse.";
inline constexpr auto resultUnwritableWithMetadata =
    "CopyImageFileAndAddEXIF: CGImageDestinationCreateWithURL() failed!  This possibly means that "
    "Enfuse wrote out a corrupt TIFF file (as it sometimes does on Mac OS 10.6).  Try again.";
inline constexpr auto resultUnreadable =
    "Enfuse was not able to generate an image.  Check the Console log for details, but sometimes "
    "this happens when the source TIFF files are corrupt or not all the same format.  Opening the "
    "images in Photoshop and re-saving usually fixes this problem (do a Save As...).";
inline constexpr auto noAlignmentTool =
    "-createAlignImageStackCommandString: cannot locate the align_image_stack application!";
inline constexpr auto alignedImageUnreadable = "-doAutoAlignOnThread : error loading image file!";

// The log.
inline constexpr auto noImageInBatch = "assignFileToCell: initWithContentsOfURL returned nil!";
inline constexpr auto imageLoaded = "NSImage loaded ok";
inline constexpr auto noFileInBatchList = "gBatchList objectAtIndex:i returned nil!";
inline constexpr auto noResultImage = "OutputImageWindow : image == nil";
inline constexpr auto reassigningAligned = "reassigning aligned imags to souce cells...";
inline constexpr auto paddedBitmap = "crap, bad rowbytes!";
inline constexpr auto panoramaViewMade = "MyOpenGLView : awakeFromNib";
inline constexpr auto panoramaWindowMade = "VRWindow loaded from NIB";
inline constexpr auto feedUnreadable = "doVersionCheck: parser error";

// The output.
inline constexpr auto savePath = "got save path:  ";  // the path follows
inline constexpr auto retainCount =
    " - theImage retain count: ";  // behind a letter; a digit follows

}  // namespace lumaweave::fixed_texts
