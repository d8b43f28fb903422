// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "widgets/Sheet.h"

class QCheckBox;
class QSpinBox;

namespace Ui {
class BatchSettingsDialog;
}

namespace lumaweave {

// Asks how many shots make a set, whether to align them, and for the folder; then runs the batch.
// Main thread.
class BatchSettingsDialog : public Sheet {
    Q_OBJECT

  public:
    static constexpr int cancelled = 0;
    static constexpr int folderWanted = 1;

    BatchSettingsDialog();
    ~BatchSettingsDialog() override;

    // Runs the dialog, the choice of the folder, and the whole batch.
    void init();

    // Stores the settings in the globals and ends the dialog.
    void doChooseFolderAction(const QObject* sender);
    // Ends the dialog. Nothing is stored.
    void doCancelAction(const QObject* sender);

    [[nodiscard]] QSpinBox* bracketCount() const;
    [[nodiscard]] QCheckBox* autoAlignCheckBox() const;
    // The window while it stands, else null.
    [[nodiscard]] QWidget* theWindow() const { return theWindow_; }

    void reject() override;

  private:
    std::unique_ptr<Ui::BatchSettingsDialog> layout_;
    QWidget* theWindow_ = nullptr;
};

// Runs the dialog and what follows from it, unless a batch still runs. Main thread.
void fuseFolder();

// The folder chooser's part: gives the chosen paths, none for cancel. Tests put their own in its
// place; an empty function restores the panel. Main thread.
using BatchFolderChooser = std::function<std::vector<std::filesystem::path>()>;
void setBatchFolderChooser(BatchFolderChooser chooser);

}  // namespace lumaweave
