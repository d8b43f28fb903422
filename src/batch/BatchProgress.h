// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "widgets/Sheet.h"

class QLabel;
class QProgressBar;

namespace Ui {
class BatchProgressDialog;
}

namespace lumaweave {

// The sheet that stands while a batch runs (BatchRun). It belongs to the main thread; the worker
// shares it.
class BatchProgressDialog : public Sheet, public std::enable_shared_from_this<BatchProgressDialog> {
    Q_OBJECT

  public:
    // Runs the batch of gBatchFolderPath, and returns when it has ended or was cancelled. After a
    // cancel the worker may still be ending its set: BatchActivity says so. Main thread.
    static void init();

    ~BatchProgressDialog() override;

    // Lists the folder's visible files into gBatchList, sorted, and counts the sets. False when
    // there are fewer than two. Main thread.
    [[nodiscard]] static bool buildSourceFileList();

    // The worker. Background thread.
    void doBatchingOnThread();

    void bumpProgressBarOnMainThread();
    // Ends the modal run and shows the closing message.
    void endDialogOnMainThread();
    // Ends the modal run at once. The worker stops at its next check point.
    void doCancelAction(const QObject* sender);

    // The window while it stands, else null.
    [[nodiscard]] QWidget* theWindow() const { return theWindow_; }
    [[nodiscard]] QProgressBar* progressBar() const;
    [[nodiscard]] const std::filesystem::path& destFolderPath() const { return destFolderPath_; }
    // Which set of how many, what is being done to which file, how long it will still take.
    [[nodiscard]] QLabel* setField() const;
    [[nodiscard]] QLabel* fileField() const;
    [[nodiscard]] QLabel* timeField() const;

    // Esc and the window's close button do what the cancel button does.
    void reject() override;

  private:
    BatchProgressDialog();
    // Shows the sheet and runs it until the end or a cancel. Main thread.
    void runBatch();
    void showTime();
    void showSet(int number);

    std::unique_ptr<Ui::BatchProgressDialog> layout_;
    QWidget* theWindow_ = nullptr;
    std::filesystem::path destFolderPath_;
    QTimer tick_;
    QElapsedTimer sinceStart_;
    QElapsedTimer sinceSetBegan_;
    double secondsForDoneSets_ = 0;
    int set_ = 0;
    bool ended_ = false;     // the worker has handed over its end
    bool detached_ = false;  // cancelled: the sheet has gone, the worker has not
};

}  // namespace lumaweave
