// SPDX-License-Identifier: GPL-3.0-or-later
#include "batch/BatchRun.h"

#include <QCoreApplication>
#include <QFile>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "align/AutoAlignProgress.h"
#include "batch/BatchPlan.h"
#include "batch/BatchState.h"
#include "batch/EarlierResult.h"
#include "fusion/Enfuse.h"
#include "imaging/decoding/ImageDecoder.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "sources/DecodedShot.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/Alerts.h"
#include "stack/SharedState.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("BatchRun", text);
}

QString nameOf(const fs::path& file) {
    return QFile::decodeName(file.filename().c_str());
}

void clearCells() {
    performOnMainThread([] { gSourcesWindow->clearAllCellsAction(nullptr); }, Wait::yes);
}

}  // namespace

BatchRun::BatchRun(fs::path resultFolder, Listener listener)
    : resultFolder_(std::move(resultFolder)), listener_(std::move(listener)) {}

BatchRun::~BatchRun() = default;

void BatchRun::run() {
    // An alignment whose sheet was cancelled still changes the cells.
    if (AutoAlignProgressDialog::isAlignmentRunning()) {
        listener_.doing(tr("Waiting for the alignment that still runs…"));
        AutoAlignProgressDialog::waitUntilNoneRuns();
    }
    // Each batch may alert anew.
    noteWorkingFolderWritten();
    EarlierResult::recover(resultFolder_);
    runSets();
    ahead_.reset();
}

void BatchRun::runSets() {
    for (int number = 1;; ++number) {
        clearCells();
        if (position_ < gBatchList->size()) listener_.setBegins(number);
        const Filling filling = fillSet();
        ahead_.reset();
        if (filling == Filling::tooMany) DoAlert("Too many images in Batch set!");
        if (filling == Filling::listUsedUp && assigned_ > 0) {
            DoAlert(
                "During the batch a mismatch was found between the number of image files available "
                "and the number of shots per bracket set that you entered.  In other words, more "
                "images were expected, but not found.");
        }
        if (filling != Filling::complete) return;
        listener_.stepDone();
        if (gCancelBatch) return;
        if (gAutoAlignDuringBatch) alignSet();
        fuseSet();
        listener_.stepDone();
    }
}

BatchRun::Filling BatchRun::fillSet() {
    for (assigned_ = 0; assigned_ < gNumImagesInBatchSet; ++assigned_) {
        if (gCancelBatch) return Filling::cancelled;
        const int cell = FindFreeSourceImageCell();
        if (cell < 0) return Filling::tooMany;
        const int wanted = std::min(gNumImagesInBatchSet - assigned_, sourceCellCount - cell);
        const Filling filling = assignNextFile(cell, wanted);
        if (filling != Filling::complete) return filling;
    }
    return Filling::complete;
}

void BatchRun::decodeAhead(int files) {
    ahead_.reset();
    aheadBegin_ = position_;
    aheadEnd_ = std::min(position_ + static_cast<std::size_t>(files), gBatchList->size());
    const auto first = gBatchList->begin();
    ahead_ = std::make_unique<DecodeAhead>(
        std::vector<fs::path>(first + static_cast<std::ptrdiff_t>(aheadBegin_),
                              first + static_cast<std::ptrdiff_t>(aheadEnd_)),
        gPreviewWindow->enfusedViewSize());
}

// Takes files from the list until one fills the cell. `wanted`: how many files this cell and those
// after it ask for; they are decoded ahead together.
BatchRun::Filling BatchRun::assignNextFile(int cell, int wanted) {
    while (position_ < gBatchList->size()) {
        if (!ahead_ || position_ >= aheadEnd_) decodeAhead(wanted);
        const std::size_t index = position_++;
        const fs::path& file = (*gBatchList)[index];
        listener_.doing(tr("Loading %1…").arg(nameOf(file)));
        DecodedShot shot = ahead_->take(index - aheadBegin_);
        if (file.empty()) {
            logLine(fixed_texts::noFileInBatchList);
            continue;
        }
        const bool noRoom = shot.failure() == DecodeFailure::workingFolder;
        if (gSourceCells.at(static_cast<std::size_t>(cell))
                ->assignFileToCell(file, std::move(shot))) {
            lastAssigned_ = file;
            return Filling::complete;
        }
        logLine("The file at path " + file.native() + " could not be assigned by Lumaweave!");
        // The file is good: without it the set would mix shots of two brackets.
        if (noRoom) return Filling::noRoom;
    }
    return Filling::listUsedUp;
}

void BatchRun::alignSet() {
    logLine("doing auto-align...");
    listener_.doing(tr("Aligning the shots up to %1…").arg(nameOf(lastAssigned_)));
    AutoAlignProgressDialog::init();
    // A cancelled one still works on the cells.
    AutoAlignProgressDialog::waitUntilNoneRuns();
    listener_.stepDone();
}

// The tool's exit status says nothing: a set counts when its file can be read from first pixel to
// last.
void BatchRun::fuseSet() {
    logLine("Enfuse a Batch Set...");
    gEnfuseSavePath = resultFolder_ / batchResultName(lastAssigned_);
    listener_.doing(tr("Fusing %1…").arg(nameOf(gEnfuseSavePath)));
    EarlierResult earlier(gEnfuseSavePath);
    bool good = false;
    if (earlier.isSafe()) {
        EnfuseFullRez();
        good = static_cast<bool>(isWhollyDecodable(gEnfuseSavePath));
    }
    logLine("Batch Set Enfused.");
    if (good) {
        earlier.discard();
        return;
    }
    if (earlier.isSafe()) earlier.restore();
    logLine("The set up to " + lastAssigned_.filename().native() + " could not be fused into " +
            gEnfuseSavePath.native());
}

}  // namespace lumaweave
