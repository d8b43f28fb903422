// SPDX-License-Identifier: GPL-3.0-or-later
#include "Program.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QEventLoop>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "Output.h"
#include "Processes.h"
#include "align/AutoAlignProgress.h"
#include "batch/BatchSettings.h"
#include "fusion/SavePanel.h"
#include "platform/FileUrls.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "widgets/FloatSlider.h"
#include "widgets/ImageView.h"

namespace lumaweave::bench {

namespace fs = std::filesystem;

namespace {

constexpr int longestWaitMilliseconds = 600'000;

void sendDrop(QWidget* target, const std::vector<fs::path>& files) {
    QList<QUrl> urls;
    for (const fs::path& file : files)
        urls << urlFromPath(file);
    QMimeData data;
    data.setUrls(urls);
    const QPoint centre = target->rect().center();
    QDragEnterEvent enter(centre, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    QDragMoveEvent move(centre, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &move);
    QDropEvent drop(centre, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
}

std::size_t filledCells() {
    return static_cast<std::size_t>(
        std::count_if(gSourceCells.begin(), gSourceCells.end(),
                      [](const auto* cell) { return !cell->urlToScaledSourceFile().empty(); }));
}

}  // namespace

AlertWatch::AlertWatch() {
    qApp->installEventFilter(this);
}

AlertWatch::~AlertWatch() {
    qApp->removeEventFilter(this);
}

bool AlertWatch::eventFilter(QObject* watched, QEvent* event) {
    auto* box = event->type() == QEvent::Show ? qobject_cast<QMessageBox*>(watched) : nullptr;
    if (box == nullptr) return false;
    if (box->text() == expected_) {
        expected_.clear();
        then_();
        QTimer::singleShot(0, box, &QMessageBox::accept);
        return false;
    }
    progress("The program shows an alert: " + box->text().toStdString());
    std::_Exit(EXIT_FAILURE);
}

void AlertWatch::expect(const QString& text, std::function<void()> then) {
    expected_ = text;
    then_ = std::move(then);
}

Program::Program() : application_(argumentCount_, arguments_) {
    windows_.show();
    delegate_.applicationDidFinishLaunching();
    if (!QTest::qWaitForWindowExposed(&windows_)) throw std::runtime_error("no window is shown");
    constexpr int settleMilliseconds = 500;
    QTest::qWait(settleMilliseconds);
}

double Program::load(const std::vector<fs::path>& files) {
    SourcesWindow* shots = windows_.sourcesWindow();
    QEventLoop loop;
    double seconds = 0;
    const Stopwatch watch;
    const auto connection = QObject::connect(shots, &SourcesWindow::loadEnded, &loop, [&] {
        seconds = watch.seconds();
        loop.quit();
    });
    sendDrop(shots, files);
    loop.exec();
    QObject::disconnect(connection);
    if (filledCells() != files.size()) throw std::runtime_error("not all shots were loaded");
    return seconds;
}

void Program::loadAndWait(const std::vector<fs::path>& files) {
    [[maybe_unused]] const double seconds = load(files);
    waitForTasks();
}

void Program::waitForTasks() const {
    const bool ended =
        QTest::qWaitFor([] { return runningBackgroundTasks() == 0; }, longestWaitMilliseconds);
    if (!ended) throw std::runtime_error("a background task does not end");
    QCoreApplication::processEvents();
}

void Program::align() const {
    AutoAlignProgressDialog::init();
    waitForTasks();
}

void Program::clear() const {
    auto* button = windows_.sourcesWindow()->findChild<QPushButton*>("clearAllCellsButton");
    QTest::mouseClick(button, Qt::LeftButton);
    waitForTasks();
    for (const fs::directory_entry& entry : fs::directory_iterator(workingFolder())) {
        if (entry.path().extension() == ".tif") fs::remove(entry.path());
    }
}

void Program::clickPreviewCentre() const {
    QTest::mouseClick(windows_.previewWindow()->enfusedView(), Qt::LeftButton);
    waitForTasks();
}

double Program::changeBrightness(bool upward) const {
    const PreviewWindow* preview = windows_.previewWindow();
    QEventLoop loop;
    const auto connection =
        QObject::connect(preview, &PreviewWindow::previewShown, &loop, &QEventLoop::quit);
    const Stopwatch watch;
    QTest::keyClick(windows_.settingsPanel()->exposureMu(), upward ? Qt::Key_Right : Qt::Key_Left);
    loop.exec();
    preview->enfusedView()->repaint();
    preview->detailView()->repaint();
    QGuiApplication::sync();
    const double seconds = watch.seconds();
    QObject::disconnect(connection);
    return seconds;
}

void Program::chooseSixteenBit() const {
    constexpr int sixteenBit = 1;
    QAbstractButton* button = windows_.settingsPanel()->outputDepthMatrix()->button(sixteenBit);
    QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
    if (!button->isChecked()) throw std::runtime_error("16-bit output cannot be chosen");
    waitForTasks();
}

double Program::fuseFullSize(const fs::path& result) const {
    Stopwatch watch;
    setSaveFilenameChooser([&] {
        watch = Stopwatch();
        return result;
    });
    QTest::mouseClick(windows_.previewWindow()->fuseButton(), Qt::LeftButton);
    const double seconds = watch.seconds();
    setSaveFilenameChooser({});
    waitForTasks();
    return seconds;
}

double Program::fuseFolder(const fs::path& folder, int shots) {
    Stopwatch watch;
    setBatchFolderChooser([&] {
        watch = Stopwatch();
        return std::vector<fs::path>{folder};
    });
    double seconds = 0;
    alerts_.expect("Batch Complete!", [&] { seconds = watch.seconds(); });
    BatchSettingsDialog dialog;
    QTimer::singleShot(0, &dialog, [&dialog, shots] {
        dialog.bracketCount()->setValue(shots);
        dialog.autoAlignCheckBox()->setChecked(false);
        dialog.doChooseFolderAction(&dialog);
    });
    dialog.init();
    setBatchFolderChooser({});
    waitForTasks();
    if (seconds == 0) throw std::runtime_error("the batch did not end");
    return seconds;
}

}  // namespace lumaweave::bench
