// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "widgets/Sheet.h"

class QProgressBar;

namespace Ui {
class LoadingDialog;
}

namespace lumaweave {

// The sheet that stands over the window while files are loaded, with one step for each file. Main
// thread; its worker shares it (ownedByMainThread).
class LoadingDialog : public Sheet {
    Q_OBJECT

  public:
    // count: how many files the list has, whether or not there is a cell for each.
    explicit LoadingDialog(int count);
    ~LoadingDialog() override;

    void bumpProgressBarOnMainThread();
    // The worker has gone and left the sheet standing: a button to close it appears, and Esc and
    // the window's own close button work.
    void offerClose();
    // Ends the modal run.
    void endDialogOnMainThread() { abort(); }
    [[nodiscard]] QProgressBar* progressBar() const;

  private:
    std::unique_ptr<Ui::LoadingDialog> layout_;
};

}  // namespace lumaweave
