// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "widgets/Sheet.h"

class QCheckBox;
class QSpinBox;

namespace Ui {
class AutoAlignSettingsDialog;
}

namespace lumaweave {

// Asks for the settings of an alignment, and starts it. Main thread.
class AutoAlignSettings : public Sheet {
    Q_OBJECT

  public:
    static constexpr int cancelled = 0;
    static constexpr int started = 1;

    AutoAlignSettings();
    ~AutoAlignSettings() override;

    // Shows the globals' values, runs the dialog, and then the alignment if the user starts it.
    void init();

    // Ends the dialog. Nothing is stored.
    void cancelAction(const QObject* sender);
    // Stores whatever the controls hold, in the globals and in the settings file, and ends the
    // dialog.
    void startAction(const QObject* sender);

    [[nodiscard]] QSpinBox* gridSizeControl() const;
    [[nodiscard]] QSpinBox* numControlPointsControl() const;
    [[nodiscard]] QCheckBox* assumeFishButton() const;
    [[nodiscard]] QCheckBox* optimizeFOVButton() const;

  private:
    std::unique_ptr<Ui::AutoAlignSettingsDialog> layout_;
};

}  // namespace lumaweave
