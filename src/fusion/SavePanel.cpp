// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/SavePanel.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

#include "platform/ShellQuoting.h"
#include "stack/Alerts.h"
#include "stack/Shot.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

SaveFilenameChooser saveFilenameChooser;

fs::path chooseWithSavePanel() {
    QFileDialog panel(QApplication::activeWindow(),
                      QCoreApplication::translate("SavePanel", "Save Enfused File As..."));
    panel.setObjectName("savePanel");
    panel.setAcceptMode(QFileDialog::AcceptSave);
    panel.setFileMode(QFileDialog::AnyFile);
    panel.setNameFilters({QCoreApplication::translate("SavePanel", "TIFF images (*.tif *.tiff)")});
    // AskForSaveFilename asks once the name has its ending, not before.
    panel.setOption(QFileDialog::DontConfirmOverwrite);
    if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty()) return {};
    return fs::path(QFile::encodeName(panel.selectedFiles().constFirst()).toStdString());
}

fs::path withTiffEnding(fs::path path) {
    std::string ending = path.extension().native();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    if (ending != ".tif" && ending != ".tiff") path += ".tif";
    return path;
}

// Whether the file is one that the fusion reads, or that a shot came from.
bool isSourceFile(const fs::path& path) {
    std::error_code error;
    for (const Shot* shot : shots()) {
        for (const fs::path& source : {shot->imageFile(), shot->originalFile()}) {
            if (!source.empty() && fs::equivalent(source, path, error)) return true;
        }
    }
    return false;
}

// Why the result cannot be written to this path; empty when it can.
std::string objectionTo(const fs::path& path) {
    if (isSourceFile(path)) {
        return "The fused image cannot take the place of a shot that it is made from.  Please "
               "choose another name.";
    }
    if (path.native().size() > longestQuotablePath) {
        return "The file cannot be saved under this name: its path is too long.  Please choose a "
               "shorter one.";
    }
    const char active = shellActiveCharacter(path.native());
    if (active == '\0') return {};
    return "The file cannot be saved under this name: its path holds " +
           nameOfShellCharacter(active) + ".  Please choose another name or folder.";
}

bool agreesToOverwrite(const fs::path& path) {
    std::error_code error;
    if (!fs::exists(path, error)) return true;
    QMessageBox question(QApplication::activeWindow());
    question.setObjectName("overwriteQuestion");
    question.setIcon(QMessageBox::Warning);
    question.setTextFormat(Qt::PlainText);
    question.setText(QCoreApplication::translate("SavePanel", "\"%1\" already exists.  Replace it?")
                         .arg(QFile::decodeName(path.filename().c_str())));
    question.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    question.setDefaultButton(QMessageBox::No);
    return question.exec() == QMessageBox::Yes;
}

}  // namespace

void setSaveFilenameChooser(SaveFilenameChooser chooser) {
    saveFilenameChooser = std::move(chooser);
}

fs::path AskForSaveFilename() {
    for (;;) {
        fs::path chosen = saveFilenameChooser ? saveFilenameChooser() : chooseWithSavePanel();
        if (chosen.empty()) return {};
        chosen = withTiffEnding(std::move(chosen));
        const std::string objection = objectionTo(chosen);
        if (!objection.empty()) {
            DoAlert(objection);
        } else if (agreesToOverwrite(chosen)) {
            return chosen;
        }
    }
}

}  // namespace lumaweave
