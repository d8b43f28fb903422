// SPDX-License-Identifier: GPL-3.0-or-later
#include "sources/WorkingCopies.h"

#include <QCheckBox>
#include <string_view>

#include "imaging/tiff/TiffFile.h"
#include "imaging/tiff/TiffWriter.h"
#include "platform/Log.h"
#include "platform/ShellQuoting.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "sources/DecodedShot.h"
#include "sources/SourcesWindow.h"
#include "stack/Alerts.h"
#include "stack/SharedState.h"
#include "stack/Shot.h"
#include "stack/WorkingFiles.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// Goes by these four endings alone; other spellings are converted like any other format.
bool countsAsTiff(const fs::path& path) {
    const std::string_view text = path.native();
    return text.ends_with("tif") || text.ends_with("tiff") || text.ends_with("TIF") ||
           text.ends_with("TIFF");
}

bool wantsCopiesOfTiffs() {
    bool wants = true;
    performOnMainThread(
        [&wants] { wants = gSourcesWindow->ensureValidTIFFFilesCheckBox()->isChecked(); },
        Wait::yes);
    return wants;
}

QSize sizeOf(const Image& image) {
    return {image.pixelsWide(), image.pixelsHigh()};
}

QSize wantedSize(const Image& image) {
    return fittedPixels(image.size(), gPreviewWindow->enfusedViewSize());
}

void writeScaledCopy(Shot& shot, const Image& image, const Image& scaled) {
    const fs::path file = GetURLToScaledSourceFile(shot.number());
    if (writeTiff(scaled, file, Write::atomic)) {
        noteWorkingFolderWritten();
    } else {
        alertWorkingFolderUnwritable();
    }
    shot.noteScaledFile(image, file, sizeOf(scaled));
}

}  // namespace

void makeWorkingCopy(Shot& shot, const fs::path& original, DecodedShot& decoded) {
    if (countsAsTiff(original)) {
        logLine("Source is a TIFF file");
        // Never hands over a file as it is if the tool would read it otherwise than we show it, or
        // the shell would act on its name.
        if (!wantsCopiesOfTiffs() && fusionToolReadsAsShown(original) && canBeQuoted(original)) {
            return;
        }
        logLine("But we are going to re-save it as a new TIFF...");
    }
    logLine("Converting image to TIFF...");
    const fs::path copy = GetURLToTIFFedSource(shot.number());
    if (!decoded.takeScratchFile(copy)) alertWorkingFolderUnwritable();
    shot.setImageFile(copy);
}

void makeFirstScaledCopy(Shot& shot, const DecodedShot& decoded) {
    logLine("Creating scaled source for Preview...");
    const Image& image = decoded.image();
    const QSize wanted = wantedSize(image);
    const bool fits = wanted == sizeOf(decoded.scaled());
    writeScaledCopy(shot, image,
                    fits ? decoded.scaled() : image.scaled(wanted.width(), wanted.height()));
}

void makeScaledCopy(Shot& shot) {
    logLine("Creating scaled source for Preview...");
    const Image image = shot.image();
    if (image.isNull()) return;
    const QSize size = wantedSize(image);
    const Image scaled = image.scaled(size.width(), size.height());
    shot.setThumbnail(thumbnailOf(scaled));
    writeScaledCopy(shot, image, scaled);
}

void refreshScaledCopy(Shot& shot) {
    const Shot::Content content = shot.content();
    if (content.image.isNull() || content.scaledSize.isEmpty()) return;
    if (content.scaledSize != wantedSize(content.image)) makeScaledCopy(shot);
}

}  // namespace lumaweave
