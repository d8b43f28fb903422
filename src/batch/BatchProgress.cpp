// SPDX-License-Identifier: GPL-3.0-or-later
#include "batch/BatchProgress.h"

#include <QApplication>
#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "align/AutoAlignProgress.h"
#include "batch/BatchPlan.h"
#include "batch/BatchRun.h"
#include "batch/BatchState.h"
#include "platform/Log.h"
#include "platform/Threads.h"
#include "sources/SourcesWindow.h"
#include "stack/Alerts.h"
#include "stack/BatchActivity.h"
#include "stack/SharedState.h"
#include "ui_BatchProgressDialog.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr int millisecondsBetweenTimes = 1000;
constexpr double millisecondsInSecond = 1000;

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
    logLine("Contents of Folder = " + listForLog(names));
    names = sortedForBatch(std::move(names));
    logLine("Sorted Contents of Folder = " + listForLog(names));
    for (const std::string& name : names) {
        if (isHiddenName(name)) continue;
        const fs::path path = gBatchFolderPath / name;
        const fs::file_status status = fs::status(path, error);
        if (!fs::exists(status) || fs::is_directory(status)) continue;
        gBatchList->push_back(path);
        ++gNumFilesInBatchFolder;
        logLine(path.native());
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
    // A bar without any step would show the animation of an endless one.
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
        // The worker finds out whether files are left over.
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
    end();  // nothing stays behind the message
    if (detached_) {
        gSourcesWindow->clearAllCellsAction(nullptr);
        BatchActivity::instance().setPhase(BatchActivity::Phase::none);
    }
    DoAlert(gCancelBatch ? "Batch Canceled!" : "Batch Complete!");
}

void BatchProgressDialog::doCancelAction(const QObject*) {
    gCancelBatch = true;
    stop(0);
    // Closes the alignment's sheet too; the alignment ends without it.
    for (QWidget* window : QApplication::topLevelWidgets()) {
        auto* alignment = qobject_cast<AutoAlignProgressDialog*>(window);
        if (alignment != nullptr && alignment->isVisible()) alignment->doCancelAction(this);
    }
}

void BatchProgressDialog::reject() {
    doCancelAction(this);
}

void BatchProgressDialog::doBatchingOnThread() {
    const auto self = shared_from_this();
    const auto onMainThread = [](const std::function<void()>& task) {
        performOnMainThread(task, Wait::yes);
    };
    BatchRun::Listener listener;
    listener.setBegins = [=](int number) { onMainThread([=] { self->showSet(number); }); };
    listener.doing = [self](const QString& text) {
        performOnMainThread([self, text] { self->fileField()->setText(text); }, Wait::no);
    };
    listener.stepDone = [=] { onMainThread([=] { self->bumpProgressBarOnMainThread(); }); };
    BatchRun(destFolderPath_, std::move(listener)).run();
    onMainThread([self] { self->endDialogOnMainThread(); });
}

}  // namespace lumaweave
