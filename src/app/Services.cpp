#include "app/Services.h"

#include <QApplication>
#include <QByteArray>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QUrl>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include "app/AppDelegate.h"
#include "app/SharedState.h"
#include "platform/Log.h"
#include "platform/Shell.h"
#include "platform/Threads.h"
#include "sources/SourceCellViewController.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t quotingBufferSize = 3000;
// One byte to spare: the longest path's closing quote leaves no room for the terminator.
char quotedPath[quotingBufferSize + 1];
std::mutex quotingMutex;

SaveFilenameChooser saveFilenameChooser;

}  // namespace

void DoAlert(const std::string& message) {
    performOnMainThread(
        [&message] {
            if (gAppDelegate != nullptr) {
                gAppDelegate->doAlert(message);
            } else {
                Log(FormatWithoutArguments(message));
            }
        },
        Wait::yes);
}

const char* QuotePath(const char* path) {
    const std::size_t length = std::strlen(path);
    if (length > longestQuotablePath) std::abort();
    quotedPath[0] = '"';
    std::memcpy(quotedPath + 1, path, length);
    quotedPath[length + 1] = '"';
    quotedPath[length + 2] = '\0';
    return quotedPath;
}

void AppendQuotedPath(std::string& command, const fs::path& path) {
    const std::lock_guard lock(quotingMutex);
    command += QuotePath(path.c_str());
}

bool CanBeQuoted(const fs::path& path) {
    return path.native().size() <= longestQuotablePath &&
           ShellActiveCharacter(path.native()) == '\0';
}

std::string NameOfShellCharacter(char character) {
    switch (character) {
        case '"':
            return "a double quote (\")";
        case '$':
            return "a dollar sign ($)";
        case '`':
            return "a back-quote (`)";
        case '\\':
            return "a backslash (\\)";
        default:
            return "a line break";
    }
}

void AlertCommandLineTooLong() {
    DoAlert(
        "The paths of the images are too long for one command line.  Nothing was run.  TIFF shots "
        "that are re-saved when they are added, and shorter names of files and folders, need "
        "less.");
}

namespace {

fs::path chooseWithSavePanel() {
    QFileDialog panel(QApplication::activeWindow(),
                      QCoreApplication::translate("Services", "Save Enfused File As..."));
    panel.setObjectName("savePanel");
    panel.setAcceptMode(QFileDialog::AcceptSave);
    panel.setFileMode(QFileDialog::AnyFile);
    panel.setNameFilters({QCoreApplication::translate("Services", "TIFF images (*.tif *.tiff)")});
    // The question is asked once the name is complete, not for the name without its ending.
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
    for (const SourceCellViewController* cell : gSourceCells) {
        if (cell == nullptr) continue;
        for (const fs::path& source : {cell->urlToImageFile(), cell->urlToOriginalFile()}) {
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
    const char active = ShellActiveCharacter(path.native());
    if (active == '\0') return {};
    return "The file cannot be saved under this name: its path holds " +
           NameOfShellCharacter(active) + ".  Please choose another name or folder.";
}

bool agreesToOverwrite(const fs::path& path) {
    std::error_code error;
    if (!fs::exists(path, error)) return true;
    QMessageBox question(QApplication::activeWindow());
    question.setObjectName("overwriteQuestion");
    question.setIcon(QMessageBox::Warning);
    question.setTextFormat(Qt::PlainText);
    question.setText(QCoreApplication::translate("Services", "\"%1\" already exists.  Replace it?")
                         .arg(QFile::decodeName(path.filename().c_str())));
    question.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    question.setDefaultButton(QMessageBox::No);
    return question.exec() == QMessageBox::Yes;
}

}  // namespace

void SetSaveFilenameChooser(SaveFilenameChooser chooser) {
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

std::optional<fs::path> PathFromUrl(const QUrl& url) {
    const bool here = url.host().isEmpty() || url.host() == "localhost";
    if (!url.isLocalFile() || !here) return std::nullopt;
    const QByteArray encoded = url.path(QUrl::FullyEncoded).toUtf8();
    return fs::path(QByteArray::fromPercentEncoding(encoded).toStdString());
}

QUrl UrlFromPath(const fs::path& path) {
    QUrl url;
    url.setScheme("file");
    url.setPath(
        QString::fromLatin1(QByteArray::fromStdString(path.native()).toPercentEncoding("/")),
        QUrl::StrictMode);
    return url;
}

}  // namespace lumaweave
