#include "batch/BatchProgress.h"

#include <QApplication>
#include <QFile>
#include <algorithm>
#include <utility>
#include <vector>

#include "align/AutoAlignProgress.h"
#include "app/Services.h"
#include "app/SharedState.h"
#include "batch/BatchActivity.h"
#include "batch/BatchPlan.h"
#include "batch/EarlierResult.h"
#include "fusion/Enfuse.h"
#include "fusion/WorkingFiles.h"
#include "imaging/ImageDecoder.h"
#include "platform/Log.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "sources/DecodedShot.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "ui_BatchProgressDialog.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr int millisecondsBetweenTimes = 1000;
constexpr double millisecondsInSecond = 1000;

QString nameOf(const fs::path& file) {
    return QFile::decodeName(file.filename().c_str());
}

}  // namespace

BatchProgressDialog::BatchProgressDialog() : layout_(std::make_unique<Ui::BatchProgressDialog>()) {
    layout_->setupUi(this);
    connect(layout_->cancelButton, &QPushButton::clicked, this,
            [this] { doCancelAction(layout_->cancelButton); });
    tick_.setInterval(millisecondsBetweenTimes);
    connect(&tick_, &QTimer::timeout, this, &BatchProgressDialog::showTime);
}

BatchProgressDialog::~BatchProgressDialog() = default;

QProgressBar* BatchProgressDialog::progressBar() const {
    return layout_->progressBar;
}
QLabel* BatchProgressDialog::setField() const {
    return layout_->setField;
}
QLabel* BatchProgressDialog::fileField() const {
    return layout_->fileField;
}
QLabel* BatchProgressDialog::timeField() const {
    return layout_->timeField;
}

void BatchProgressDialog::init() {
    if (!buildSourceFileList()) return;
    if (const auto objection = batchObjection(gBatchFolderPath, *gBatchList)) {
        DoAlert(*objection);
        return;
    }
    const auto dialog =
        ownedByMainThread(std::unique_ptr<BatchProgressDialog>(new BatchProgressDialog));
    dialog->runBatch();
}

bool BatchProgressDialog::buildSourceFileList() {
    gNumBatchSets = 0;
    gNumFilesInBatchFolder = 0;
    gBatchList.emplace();
    constexpr std::size_t usualCount = 200;
    gBatchList->reserve(usualCount);
    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator entry(gBatchFolderPath, error), end; !error && entry != end;
         entry.increment(error))
        names.push_back(entry->path().filename().native());
    if (error || names.empty()) return false;
    Log("Contents of Folder = " + listForLog(names));
    names = sortedForBatch(std::move(names));
    Log("Sorted Contents of Folder = " + listForLog(names));
    for (const std::string& name : names) {
        if (isHiddenName(name)) continue;
        const fs::path path = gBatchFolderPath / name;
        const fs::file_status status = fs::status(path, error);
        if (!fs::exists(status) || fs::is_directory(status)) continue;
        gBatchList->push_back(path);
        ++gNumFilesInBatchFolder;
        Log(path.native());
    }
    if (gNumFilesInBatchFolder < 2) return false;
    gNumBatchSets = gNumFilesInBatchFolder / gNumImagesInBatchSet;
    return true;
}

void BatchProgressDialog::runBatch() {
    destFolderPath_ = batchResultFolder(gBatchFolderPath);
    std::error_code ignored;
    fs::create_directory(destFolderPath_, ignored);
    theWindow_ = this;
    // A bar without any step would show the animation of one without an end.
    progressBar()->setRange(0, std::max(1, gNumBatchSets * (gAutoAlignDuringBatch ? 3 : 2)));
    sinceStart_.start();
    showSet(1);
    tick_.start();
    gDoingBatch = true;
    gCancelBatch = false;
    BatchActivity::instance().setPhase(BatchActivity::Phase::running);
    performInBackground([self = shared_from_this()] { self->doBatchingOnThread(); });
    begin(gSourcesWindow->window());
    run();
    end();
    tick_.stop();
    theWindow_ = nullptr;
    if (ended_) {
        gSourcesWindow->clearAllCellsAction(nullptr);
        BatchActivity::instance().setPhase(BatchActivity::Phase::none);
        return;
    }
    // Cancelled, or the program quits. The worker still uses the cells; it empties them at its end.
    gCancelBatch = true;
    detached_ = true;
    BatchActivity::instance().setPhase(BatchActivity::Phase::finishing);
}

void BatchProgressDialog::showSet(int number) {
    if (number > 1) {
        secondsForDoneSets_ = static_cast<double>(sinceStart_.elapsed()) / millisecondsInSecond;
    }
    set_ = number;
    sinceSetBegan_.start();
    if (number <= gNumBatchSets) {
        setField()->setText(tr("Set %1 of %2").arg(number).arg(gNumBatchSets));
    } else {
        // Files that make no whole set: the worker finds out.
        setField()->setText(tr("Files after the last whole set"));
    }
    showTime();
}

void BatchProgressDialog::showTime() {
    const double inThisSet = static_cast<double>(sinceSetBegan_.elapsed()) / millisecondsInSecond;
    timeField()->setText(set_ > gNumBatchSets
                             ? QString()
                             : remainingBatchText(remainingBatchSeconds(
                                   set_ - 1, gNumBatchSets, secondsForDoneSets_, inThisSet)));
}

void BatchProgressDialog::bumpProgressBarOnMainThread() {
    progressBar()->setValue(progressBar()->value() + 1);
}

void BatchProgressDialog::endDialogOnMainThread() {
    ended_ = true;
    abort();
    end();  // nothing of it stands behind the message
    if (detached_) {
        gSourcesWindow->clearAllCellsAction(nullptr);
        BatchActivity::instance().setPhase(BatchActivity::Phase::none);
    }
    DoAlert(gCancelBatch ? "Batch Canceled!" : "Batch Complete!");
}

void BatchProgressDialog::doCancelAction(const QObject*) {
    gCancelBatch = true;
    stop(0);
    // The sheet of a set's alignment goes too; the alignment ends without it.
    for (QWidget* window : QApplication::topLevelWidgets()) {
        auto* alignment = qobject_cast<AutoAlignProgressDialog*>(window);
        if (alignment != nullptr && alignment->isVisible()) alignment->doCancelAction(this);
    }
}

void BatchProgressDialog::reject() {
    doCancelAction(this);
}

void BatchProgressDialog::say(const QString& text) {
    performOnMainThread([self = shared_from_this(), text] { self->fileField()->setText(text); },
                        Wait::no);
}

void BatchProgressDialog::bump() {
    performOnMainThread([this] { bumpProgressBarOnMainThread(); }, Wait::yes);
}

void BatchProgressDialog::doBatchingOnThread() {
    // One whose sheet was cancelled still changes the cells.
    if (AutoAlignProgressDialog::isAlignmentRunning()) {
        say(tr("Waiting for the alignment that still runs…"));
        AutoAlignProgressDialog::waitUntilNoneRuns();
    }
    // Told again in every batch.
    noteWorkingFolderWritten();
    EarlierResult::recover(destFolderPath_);
    runSets();
    ahead_.reset();
    performOnMainThread([this] { endDialogOnMainThread(); }, Wait::yes);
}

void BatchProgressDialog::runSets() {
    for (int number = 1;; ++number) {
        clearCells();
        if (position_ < gBatchList->size()) {
            performOnMainThread([this, number] { showSet(number); }, Wait::yes);
        }
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
        bump();
        if (gCancelBatch) return;
        if (gAutoAlignDuringBatch) alignSet();
        fuseSet();
        bump();
    }
}

void BatchProgressDialog::clearCells() {
    performOnMainThread([] { gSourcesWindow->clearAllCellsAction(nullptr); }, Wait::yes);
}

BatchProgressDialog::Filling BatchProgressDialog::fillSet() {
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

void BatchProgressDialog::decodeAhead(int files) {
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
// after it ask for, which are decoded ahead together.
BatchProgressDialog::Filling BatchProgressDialog::assignNextFile(int cell, int wanted) {
    while (position_ < gBatchList->size()) {
        if (!ahead_ || position_ >= aheadEnd_) decodeAhead(wanted);
        const std::size_t index = position_++;
        const fs::path& file = (*gBatchList)[index];
        say(tr("Loading %1…").arg(nameOf(file)));
        DecodedShot shot = ahead_->take(index - aheadBegin_);
        if (file.empty()) {
            Log("gBatchList objectAtIndex:i returned nil!");
            continue;
        }
        const bool noRoom = shot.failure() == DecodeFailure::workingFolder;
        if (gSourceCells.at(static_cast<std::size_t>(cell))
                ->assignFileToCell(file, std::move(shot))) {
            lastAssigned_ = file;
            return Filling::complete;
        }
        Log("The file at path " + file.native() + " could not be assigned by Lumaweave!");
        // The file is good: without it the set would be made up of shots of two brackets.
        if (noRoom) return Filling::noRoom;
    }
    return Filling::listUsedUp;
}

void BatchProgressDialog::alignSet() {
    Log("doing auto-align...");
    say(tr("Aligning the shots up to %1…").arg(nameOf(lastAssigned_)));
    AutoAlignProgressDialog::init();
    // Its own cancel leaves it at work on the cells.
    AutoAlignProgressDialog::waitUntilNoneRuns();
    bump();
}

// The tool's exit status says nothing: a set counts when its file can be read from first pixel to
// last.
void BatchProgressDialog::fuseSet() {
    Log("Enfuse a Batch Set...");
    gEnfuseSavePath = destFolderPath_ / batchResultName(lastAssigned_);
    say(tr("Fusing %1…").arg(nameOf(gEnfuseSavePath)));
    EarlierResult earlier(gEnfuseSavePath);
    bool good = false;
    if (earlier.isSafe()) {
        EnfuseFullRez();
        good = isWhollyDecodable(gEnfuseSavePath);
    }
    Log("Batch Set Enfused.");
    if (good) {
        earlier.discard();
        return;
    }
    if (earlier.isSafe()) earlier.restore();
    Log("The set up to " + lastAssigned_.filename().native() + " could not be fused into " +
        gEnfuseSavePath.native());
}

}  // namespace lumaweave
