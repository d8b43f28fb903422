// SPDX-License-Identifier: GPL-3.0-or-later
#include "batch/BatchSettings.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QSettings>
#include <QStandardPaths>
#include <utility>

#include "batch/BatchProgress.h"
#include "batch/BatchState.h"
#include "sources/SourcesWindow.h"
#include "stack/BatchActivity.h"
#include "stack/SharedState.h"
#include "ui_BatchSettingsDialog.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr auto batchFolderKey = "arrangement/batchFolder";

BatchFolderChooser batchFolderChooser;

std::vector<fs::path> chooseWithPanel() {
    QSettings settings;
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    QFileDialog panel(gSourcesWindow != nullptr ? gSourcesWindow->window() : nullptr,
                      QCoreApplication::translate("BatchSettings", "Select Folder to Batch..."),
                      settings.value(batchFolderKey, pictures).toString());
    panel.setObjectName("batchFolderPanel");
    panel.setFileMode(QFileDialog::Directory);
    // Shows the files, so that the user sees which folder holds the shots.
    panel.setOption(QFileDialog::ShowDirsOnly, false);
    if (panel.exec() != QDialog::Accepted) return {};
    settings.setValue(batchFolderKey, panel.selectedFiles().value(0));
    std::vector<fs::path> chosen;
    for (const QString& path : panel.selectedFiles())
        chosen.emplace_back(QFile::encodeName(path).toStdString());
    return chosen;
}

}  // namespace

void setBatchFolderChooser(BatchFolderChooser chooser) {
    batchFolderChooser = std::move(chooser);
}

void fuseFolder() {
    if (BatchActivity::isRunning()) return;
    BatchSettingsDialog dialog;
    dialog.init();
}

BatchSettingsDialog::BatchSettingsDialog() : layout_(std::make_unique<Ui::BatchSettingsDialog>()) {
    layout_->setupUi(this);
    // What the last batch was run with.
    if (gNumImagesInBatchSet >= 1) bracketCount()->setValue(gNumImagesInBatchSet);
    autoAlignCheckBox()->setChecked(gAutoAlignDuringBatch);
    connect(layout_->cancelButton, &QPushButton::clicked, this,
            [this] { doCancelAction(layout_->cancelButton); });
    connect(layout_->chooseFolderButton, &QPushButton::clicked, this,
            [this] { doChooseFolderAction(layout_->chooseFolderButton); });
}

BatchSettingsDialog::~BatchSettingsDialog() = default;

QSpinBox* BatchSettingsDialog::bracketCount() const {
    return layout_->bracketCount;
}
QCheckBox* BatchSettingsDialog::autoAlignCheckBox() const {
    return layout_->autoAlignCheckBox;
}

void BatchSettingsDialog::init() {
    theWindow_ = this;
    begin(gSourcesWindow != nullptr ? gSourcesWindow->window() : nullptr);
    const int code = run();
    end();
    theWindow_ = nullptr;
    if (code != folderWanted) return;
    const std::vector<fs::path> chosen =
        batchFolderChooser ? batchFolderChooser() : chooseWithPanel();
    if (chosen.size() != 1) return;
    gBatchFolderPath = chosen.front();
    BatchProgressDialog::init();
}

void BatchSettingsDialog::doChooseFolderAction(const QObject*) {
    gNumImagesInBatchSet = bracketCount()->value();
    gAutoAlignDuringBatch = autoAlignCheckBox()->isChecked();
    stop(folderWanted);
}

void BatchSettingsDialog::doCancelAction(const QObject*) {
    stop(cancelled);
}

void BatchSettingsDialog::reject() {
    doCancelAction(this);
}

}  // namespace lumaweave
