// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/AutoAlignSettings.h"

#include <limits>

#include "align/AlignSettings.h"
#include "align/AutoAlignProgress.h"
#include "settings/Preferences.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "ui_AutoAlignSettingsDialog.h"

namespace lumaweave {

AutoAlignSettings::AutoAlignSettings() : layout_(std::make_unique<Ui::AutoAlignSettingsDialog>()) {
    layout_->setupUi(this);
    // The settings file may hold any number; the tool judges it.
    for (QSpinBox* control : {gridSizeControl(), numControlPointsControl()}) {
        control->setRange(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    }
    gridSizeControl()->setValue(gAA_GridSize);
    numControlPointsControl()->setValue(gAA_NumControlPoints);
    assumeFishButton()->setChecked(gAA_AssumeFullFrameFisheye);
    optimizeFOVButton()->setChecked(gAA_OptimizeFOV);
    connect(layout_->cancelButton, &QPushButton::clicked, this,
            [this] { cancelAction(layout_->cancelButton); });
    connect(layout_->startButton, &QPushButton::clicked, this,
            [this] { startAction(layout_->startButton); });
}

AutoAlignSettings::~AutoAlignSettings() = default;

QSpinBox* AutoAlignSettings::gridSizeControl() const {
    return layout_->gridSizeControl;
}
QSpinBox* AutoAlignSettings::numControlPointsControl() const {
    return layout_->numControlPointsControl;
}
QCheckBox* AutoAlignSettings::assumeFishButton() const {
    return layout_->assumeFishButton;
}
QCheckBox* AutoAlignSettings::optimizeFOVButton() const {
    return layout_->optimizeFOVButton;
}

void AutoAlignSettings::init() {
    begin(gSourcesWindow != nullptr ? gSourcesWindow->window() : nullptr);
    const int result = run();
    end();
    if (result == started) AutoAlignProgressDialog::init();
}

void AutoAlignSettings::cancelAction(const QObject*) {
    stop(cancelled);
}

void AutoAlignSettings::startAction(const QObject*) {
    gAA_GridSize = gridSizeControl()->value();
    gAA_NumControlPoints = numControlPointsControl()->value();
    gAA_AssumeFullFrameFisheye = assumeFishButton()->isChecked();
    gAA_OptimizeFOV = optimizeFOVButton()->isChecked();
    // Before the alignment, so that they outlive whatever happens during it.
    SavePrefs();
    stop(started);
}

}  // namespace lumaweave
