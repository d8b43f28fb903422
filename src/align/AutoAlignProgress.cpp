// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/AutoAlignProgress.h"

#include <QApplication>
#include <QScreen>
#include <atomic>

#include "align/AlignCommand.h"
#include "align/AlignmentRun.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"
#include "platform/Shell.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "sources/SourcesWindow.h"
#include "stack/Alerts.h"
#include "stack/SharedState.h"
#include "stack/Turns.h"
#include "stack/WorkingFiles.h"
#include "ui_AutoAlignProgress.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

std::atomic<int> workers = 0;

void noteWorkers(int change) {
    workers += change;
    workers.notify_all();
    performOnMainThread(
        [] {
            if (gSourcesWindow != nullptr) gSourcesWindow->updateAlignCommand();
        },
        Wait::no);
}

// Below the other window, or above it where the screen ends, so that both are fully seen.
void moveBelow(QWidget& window, const QWidget& other) {
    const QRect taken = other.frameGeometry();
    const int titleBar = other.geometry().top() - taken.top();
    const int height = titleBar + window.height();
    const QRect screen = other.screen()->availableGeometry();
    const bool fits = taken.bottom() + height < screen.bottom();
    window.move(taken.center().x() - window.width() / 2,
                fits ? taken.bottom() + 1 : taken.top() - height);
}

}  // namespace

AutoAlignProgressDialog::AutoAlignProgressDialog()
    : layout_(std::make_unique<Ui::AutoAlignProgress>()) {
    layout_->setupUi(this);
    progressBar()->setRange(0, 0);  // the tool does not say how far it is
    connect(layout_->cancelButton, &QPushButton::clicked, this,
            [this] { doCancelAction(layout_->cancelButton); });
    connect(this, &Sheet::stopped, this, [this] { ended_.set_value(); });
}

AutoAlignProgressDialog::~AutoAlignProgressDialog() = default;

QProgressBar* AutoAlignProgressDialog::progressBar() const {
    return layout_->progressBar;
}
QLabel* AutoAlignProgressDialog::textField() const {
    return layout_->textField;
}

bool AutoAlignProgressDialog::isAlignmentRunning() {
    return workers > 0;
}

void AutoAlignProgressDialog::waitUntilNoneRuns() {
    for (int living = workers; living > 0; living = workers)
        workers.wait(living);
}

void AutoAlignProgressDialog::init() {
    const bool fromMainThread = isMainThread();
    std::shared_ptr<AutoAlignProgressDialog> dialog;
    performOnMainThread(
        [&dialog, fromMainThread] {
            dialog = ownedByMainThread(
                std::unique_ptr<AutoAlignProgressDialog>(new AutoAlignProgressDialog));
            dialog->start(!fromMainThread);
        },
        Wait::yes);
    if (fromMainThread) {
        dialog->run();
    } else {
        // Runs no loop on the main thread: a sheet that stands there could not close before it.
        dialog->ended_.get_future().wait();
    }
    performOnMainThread([&dialog] { dialog->finish(); }, Wait::yes);
}

void AutoAlignProgressDialog::start(bool besideOtherSheets) {
    theWindow_ = this;
    noteWorkers(+1);
    performInBackground([self = shared_from_this()] { self->doAutoAlignOnThread(); });
    QWidget* over = gSourcesWindow != nullptr ? gSourcesWindow->window() : nullptr;
    QWidget* sheet = besideOtherSheets ? QApplication::activeModalWidget() : nullptr;
    // As the child of the other sheet it can be used, and so can that one.
    if (besideOtherSheets) setWindowModality(Qt::NonModal);
    begin(sheet != nullptr ? sheet : over);
    if (sheet != nullptr) moveBelow(*this, *sheet);
}

void AutoAlignProgressDialog::finish() {
    end();
    theWindow_ = nullptr;
}

void AutoAlignProgressDialog::say(const QString& text) {
    performOnMainThread([self = shared_from_this(), text] { self->textField()->setText(text); },
                        Wait::no);
}

std::optional<std::string> AutoAlignProgressDialog::createAlignImageStackCommandString(
    const fs::path& prefix) const {
    const auto executable = alignTool();
    if (!executable) {
        DoAlert(fixed_texts::noAlignmentTool);
        return std::nullopt;
    }
    return alignCommandText(*executable, prefix, currentAlignSettings());
}

void AutoAlignProgressDialog::doAutoAlignOnThread() {
    if (alignmentTaken) say(tr("Waiting for the alignment that still runs…"));
    {
        const Turn turn(alignmentTaken);
        AlignmentRun run;
        auto command = createAlignImageStackCommandString(alignedImagePrefix());
        if (command && !run.appendInputs(*command)) {
            alertCommandLineTooLong();
            command.reset();
        }
        if (command) {
            say(tr("Finding matching points and aligning %1 shots…").arg(run.shotCount()));
            run.prepare();
            printLine(*command);
            runShellLine(*command);
            logLine(fixed_texts::reassigningAligned);
            const bool loaded = run.reassign([this, &run](int number) {
                say(tr("Loading aligned shot %1 of %2…").arg(number).arg(run.shotCount()));
            });
            if (!loaded) DoAlert(fixed_texts::alignedImageUnreadable);
            if (run.workingFolderFailed()) alertWorkingFolderUnwritable();
            performOnMainThread([this] { endDialogOnMainThread(); }, Wait::yes);
        } else {
            performOnMainThread([this] { abort(); }, Wait::yes);
        }
    }
    noteWorkers(-1);
}

void AutoAlignProgressDialog::endDialogOnMainThread() {
    abort();
    logLine("auto align complete, now re-enfuse everything...");
    if (gNumSourceImages >= 2) {
        performInBackground([] { gPreviewWindow->doEnfusePreviewOnThread(); });
    }
}

void AutoAlignProgressDialog::bumpProgressBarOnMainThread() {
    progressBar()->setValue(progressBar()->value() + 1);
}

void AutoAlignProgressDialog::doCancelAction(const QObject*) {
    stop(0);
}

void AutoAlignProgressDialog::reject() {
    doCancelAction(this);
}

}  // namespace lumaweave
