// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "widgets/Sheet.h"

class QProgressBar;

namespace Ui {
class EnfusingProgressDialog;
}

namespace lumaweave {

// The sheet that stands over the window while a full-size fusion runs: a bar without an end, no
// cancel. Main thread; its worker shares it (ownedByMainThread).
class EnfusingProgressDialog : public Sheet {
    Q_OBJECT

  public:
    EnfusingProgressDialog();
    ~EnfusingProgressDialog() override;

    // Ends the modal run.
    void endDialogOnMainThread() { abort(); }
    [[nodiscard]] QProgressBar* progressBar() const;

  private:
    std::unique_ptr<Ui::EnfusingProgressDialog> layout_;
};

}  // namespace lumaweave
