// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include "widgets/Sheet.h"

class QLabel;
class QProgressBar;

namespace Ui {
class AutoAlignProgress;
}

namespace lumaweave {

// One alignment of the whole stack: the sheet that stands while it runs, and its worker, which has
// the tool align the cells' files and puts what it wrote in their place. The sheet belongs to the
// main thread; the worker shares it.
class AutoAlignProgressDialog : public Sheet,
                                public std::enable_shared_from_this<AutoAlignProgressDialog> {
    Q_OBJECT

  public:
    // Runs an alignment, and returns when it has ended or was cancelled. From another thread than
    // the main one the sheet opens on the main thread, beside whatever sheet stands there, while
    // the caller waits. Any thread; no lock may be held.
    static void init();

    // Whether a worker lives, with its sheet or (after a cancel) without. Any thread.
    [[nodiscard]] static bool isAlignmentRunning();

    // Waits until none lives. Background threads; no lock may be held.
    static void waitUntilNoneRuns();

    ~AutoAlignProgressDialog() override;

    // The worker. Alignments take turns: one whose sheet was cancelled ends before the next begins.
    // Background thread.
    void doAutoAlignOnThread();
    // The command line but for its inputs, for outputs that begin with the prefix; none, after an
    // alert, when the tool is missing. Any thread; no lock may be held.
    [[nodiscard]] std::optional<std::string> createAlignImageStackCommandString(
        const std::filesystem::path& prefix) const;
    // Ends the modal run, and fuses the preview anew when there are two or more images.
    void endDialogOnMainThread();
    void bumpProgressBarOnMainThread();
    // Ends the modal run at once. The worker goes on to its end.
    void doCancelAction(const QObject* sender);

    // The window while it stands, else null.
    [[nodiscard]] QWidget* theWindow() const { return theWindow_; }
    [[nodiscard]] QProgressBar* progressBar() const;
    // Says what is being done.
    [[nodiscard]] QLabel* textField() const;

    // Esc and the window's close button do what the cancel button does.
    void reject() override;

  private:
    AutoAlignProgressDialog();
    // Shows the sheet and starts the worker. Main thread.
    void start(bool besideOtherSheets);
    // Takes the sheet off the screen. Main thread.
    void finish();
    // Shows what is being done. Any thread.
    void say(const QString& text);

    std::unique_ptr<Ui::AutoAlignProgress> layout_;
    QWidget* theWindow_ = nullptr;
    std::promise<void> ended_;
};

}  // namespace lumaweave
