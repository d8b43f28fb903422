// SPDX-License-Identifier: GPL-3.0-or-later

// Takes the program through its usual use without a user: loads the given shots, waits for the
// preview, picks a detail, opens a shot, fuses full size, looks at the result, aligns, fuses a
// folder of brackets, and saves the results and a picture of every window, in a light and a dark
// theme, large and small. For looking at the program where there is no display.
//
// lumaweave-tour OUTPUT_FOLDER [--panorama PICTURE] SHOT...
//
// With a panorama it also looks around in that. Lines for the user begin with "tour: ".

#include <QAction>
#include <QApplication>
#include <QButtonGroup>
#include <QDockWidget>
#include <QEvent>
#include <QFile>
#include <QMessageBox>
#include <QMouseEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QStyleFactory>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "app/MainInterface.h"
#include "app/ProgramRun.h"
#include "batch/BatchSettings.h"
#include "fusion/SavePanel.h"
#include "imaging/decoding/ImageDecoder.h"
#include "panorama/MyOpenGLView.h"
#include "panorama/VRWindow.h"
#include "platform/Log.h"
#include "platform/Threads.h"
#include "preview/EnfusingProgressDialog.h"
#include "preview/OutputImageWindow.h"
#include "preview/PreviewWindow.h"
#include "preview/SourceImageWindow.h"
#include "sources/LoadingDialog.h"
#include "sources/SourceCellImageView.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "widgets/ImageView.h"
#include "widgets/ZoomView.h"

namespace lumaweave {

namespace {

namespace fs = std::filesystem;

void say(const std::string& line) {
    printLine("tour: " + line);
}

[[noreturn]] void giveUp(const std::string& reason) {
    say("stopped: " + reason);
    std::_Exit(EXIT_FAILURE);
}

// An alert would wait for ever here, so it fails the tour, unless it is the one that ends a batch.
class AlertWatch : public QObject {
  public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* box = event->type() == QEvent::Show ? qobject_cast<QMessageBox*>(watched) : nullptr;
        if (box == nullptr) return false;
        if (box->text() != "Batch Complete!") {
            giveUp("an alert came: " + box->text().toStdString());
        }
        QTimer::singleShot(0, box, &QMessageBox::accept);
        return false;
    }
};

// Saves a picture of each sheet once it has been painted.
class SheetWatch : public QObject {
  public:
    explicit SheetWatch(fs::path folder) : folder_(std::move(folder)) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* sheet = event->type() == QEvent::Show ? qobject_cast<Sheet*>(watched) : nullptr;
        if (sheet == nullptr) return false;
        const fs::path file = folder_ / (sheet->objectName().toStdString() + ".png");
        QTimer::singleShot(0, sheet, [sheet, file] {
            if (sheet->grab().save(QString::fromStdString(file.native()))) {
                say("screenshot " + fs::absolute(file).native());
            }
        });
        return false;
    }

  private:
    fs::path folder_;
};

void runUntil(const std::function<bool()>& condition, const char* what) {
    constexpr int boundSeconds = 300;
    QTimer bound;
    bound.setSingleShot(true);
    bound.start(boundSeconds * 1000);
    while (!condition()) {
        if (!bound.isActive()) giveUp(std::string("waited too long for ") + what);
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
}

void runUntilIdle() {
    runUntil([] { return runningBackgroundTasks() == 0; }, "the background tasks");
    QApplication::processEvents();
}

void saveScreenshot(QWidget& window, const fs::path& file) {
    if (!window.grab().save(QString::fromStdString(file.native()))) {
        giveUp("cannot write " + file.native());
    }
    say("screenshot " + fs::absolute(file).native());
}

QPalette darkPalette() {
    QPalette palette(QColor(53, 53, 53), QColor(45, 45, 45));
    palette.setColor(QPalette::WindowText, Qt::white);
    palette.setColor(QPalette::Base, QColor(35, 35, 35));
    palette.setColor(QPalette::Text, Qt::white);
    palette.setColor(QPalette::ButtonText, Qt::white);
    palette.setColor(QPalette::Highlight, QColor(61, 125, 180));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, QColor(128, 128, 128));
    }
    return palette;
}

// A click in the middle of the picture, as the mouse would make it.
void clickPicture(PreviewWindow& preview) {
    const QPointF middle = preview.enfusedView()->rect().center();
    const QPointF global = preview.enfusedView()->mapToGlobal(middle);
    QMouseEvent press(QEvent::MouseButtonPress, middle, global, Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(preview.enfusedView(), &press);
}

void resizeAndWait(MainInterface& windows, QSize size) {
    bool shown = false;
    const auto connection = QObject::connect(windows.previewWindow(), &PreviewWindow::previewShown,
                                             [&shown] { shown = true; });
    windows.resize(size);
    runUntil([&shown] { return shown; }, "the preview in the new size");
    QObject::disconnect(connection);
    runUntilIdle();
}

void takeScreenshots(MainInterface& windows, const fs::path& folder) {
    const QPalette light = QApplication::palette();
    saveScreenshot(windows, folder / "main-light.png");
    QApplication::setPalette(darkPalette());
    QApplication::processEvents();
    saveScreenshot(windows, folder / "main-dark.png");
    resizeAndWait(windows, windows.minimumSizeHint().expandedTo({960, 600}));
    saveScreenshot(windows, folder / "main-dark-small.png");
    QApplication::setPalette(light);
    QApplication::processEvents();
    saveScreenshot(windows, folder / "main-light-small.png");
    resizeAndWait(windows, {1700, 1050});
    saveScreenshot(windows, folder / "main-light-large.png");
    for (QDockWidget* dock : windows.findChildren<QDockWidget*>()) {
        dock->setFloating(true);
        QApplication::processEvents();
        saveScreenshot(*dock, folder / (dock->objectName().toStdString() + "-torn-off.png"));
        dock->setFloating(false);
    }
    runUntilIdle();
}

// Pictures of a picture window in both themes: the whole picture, then its middle pixel by pixel.
void visitPictureWindow(QWidget& window, ZoomView& view, const fs::path& folder,
                        const std::string& name) {
    const auto isSharp = [&view] { return view.isSharp(); };
    const QPalette light = QApplication::palette();
    runUntil(isSharp, "the picture");
    saveScreenshot(window, folder / (name + "-light.png"));
    QApplication::setPalette(darkPalette());
    view.zoomToActualSize();
    runUntil(isSharp, "the picture pixel by pixel");
    saveScreenshot(window, folder / (name + "-dark-1-to-1.png"));
    QApplication::setPalette(light);
    window.close();
}

void lookAtAShot(const fs::path& folder) {
    // A click, as the mouse would make it.
    SourceCellImageView* thumbnail = gSourceCells.front()->cellImageView();
    const QPointF middle = thumbnail->rect().center();
    QMouseEvent press(QEvent::MouseButtonPress, middle, thumbnail->mapToGlobal(middle),
                      Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(thumbnail, &press);
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* shot = qobject_cast<SourceImageWindow*>(window)) {
            visitPictureWindow(*shot, *shot->theView(), folder, "source-window");
            return;
        }
    }
    giveUp("no window opened on the shot");
}

void lookAtTheResult(const PreviewWindow& preview, const fs::path& folder) {
    OutputImageWindow* window = preview.outputImageWindow();
    if (window == nullptr) giveUp("no window opened on the result");
    runUntil([window] { return window->isVisible(); }, "the result's window");
    visitPictureWindow(*window, *window->theView(), folder, "result-window");
}

void fuseFullSize(MainInterface& windows, const fs::path& result) {
    setSaveFilenameChooser([result] { return result; });
    windows.previewWindow()
        ->afterEnfusingRadioButtons()
        ->button(PreviewWindow::showInWindow)
        ->click();
    windows.previewWindow()->fuseButton()->click();
    runUntilIdle();
    if (!fs::exists(result)) giveUp("no fused file was written");
    say("fused file " + fs::absolute(result).native());
}

// Presses the button in the column, and takes the settings that the dialog then shows.
void alignShots(MainInterface& windows) {
    QTimer start;
    QObject::connect(&start, &QTimer::timeout, [] {
        QWidget* dialog = QApplication::activeModalWidget();
        auto* button = dialog != nullptr ? dialog->findChild<QPushButton*>("startButton") : nullptr;
        if (button != nullptr) button->click();
    });
    start.start(500);
    windows.sourcesWindow()->alignButton()->click();
    runUntilIdle();
    say("the shots are aligned");
}

// Fuses a folder with copies of the shots, two in each set, through its menu item.
void fuseFolder(const MainInterface& windows, const fs::path& folder,
                const std::vector<fs::path>& shots) {
    constexpr std::size_t shotsInSet = 2;
    const fs::path brackets = folder / "brackets";
    fs::create_directory(brackets);
    const std::size_t sets = shots.size() / shotsInSet;
    for (std::size_t i = 0; i < sets * shotsInSet; ++i)
        fs::copy_file(shots[i], brackets / shots[i].filename());
    setBatchFolderChooser([brackets] { return std::vector<fs::path>{brackets}; });
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, [&look, &folder] {
        QWidget* dialog = QApplication::activeModalWidget();
        if (dialog == nullptr) return;
        if (auto* count = dialog->findChild<QSpinBox*>("bracketCount")) {
            count->setValue(static_cast<int>(shotsInSet));
            dialog->findChild<QPushButton*>("chooseFolderButton")->click();
        } else if (const auto* bar = dialog->findChild<QProgressBar*>("progressBar");
                   bar != nullptr && bar->value() > 0) {
            saveScreenshot(*dialog, folder / "batch-running.png");
            look.stop();
        }
    });
    look.start(100);
    windows.findChild<QAction*>("batchAction")->trigger();
    runUntilIdle();
    setBatchFolderChooser({});
    std::size_t results = 0;
    for (const auto& entry : fs::directory_iterator(brackets / "Enfused Files")) {
        say("fused file " + fs::absolute(entry.path()).native());
        ++results;
    }
    if (results != sets) giveUp("not every bracket of the folder was fused");
}

// Drags the panorama by so many points, as the mouse would.
void dragPanorama(MyOpenGLView& view, QPointF by) {
    const QPointF middle = view.rect().center();
    const auto send = [&view](QEvent::Type type, QPointF at, Qt::MouseButton button,
                              Qt::MouseButtons held) {
        QMouseEvent event(type, at, view.mapToGlobal(at), button, held, Qt::NoModifier);
        QApplication::sendEvent(&view, &event);
    };
    send(QEvent::MouseButtonPress, middle, Qt::LeftButton, Qt::LeftButton);
    send(QEvent::MouseMove, middle + by, Qt::NoButton, Qt::LeftButton);
    send(QEvent::MouseButtonRelease, middle + by, Qt::LeftButton, Qt::NoButton);
    QApplication::processEvents();
}

// A panorama as it opens, where its left and right borders meet, and at both poles. (A point of
// drag turns it by 0.4 degrees.)
void lookAround(const fs::path& panorama, const fs::path& folder) {
    VRWindow* window = VRWindow::initWithImage(decodeImage(panorama));
    if (window == nullptr) giveUp("the panorama did not open");
    window->setPictureName(QFile::decodeName(panorama.filename().c_str()));
    MyOpenGLView& view = *window->theGLView();
    QApplication::processEvents();
    saveScreenshot(*window, folder / "panorama-start.png");
    dragPanorama(view, {225, 0});
    saveScreenshot(*window, folder / "panorama-border.png");
    dragPanorama(view, {0, 300});
    saveScreenshot(*window, folder / "panorama-pole-below.png");
    dragPanorama(view, {0, -600});
    saveScreenshot(*window, folder / "panorama-pole-above.png");
    dragPanorama(view, {-225, 225});
    window->resize(360, 560);
    QApplication::processEvents();
    saveScreenshot(*window, folder / "panorama-small.png");
    window->close();
}

int tour(const fs::path& folder, const fs::path& panorama, const std::vector<fs::path>& shots) {
    MainInterface windows;
    AppDelegate delegate;
    AlertWatch alerts;
    SheetWatch sheets(folder);
    qApp->installEventFilter(&alerts);
    qApp->installEventFilter(&sheets);
    windows.show();
    delegate.applicationDidFinishLaunching();
    QApplication::processEvents();
    saveScreenshot(windows, folder / "main-empty.png");
    windows.openFiles(shots);
    runUntilIdle();
    if (windows.previewWindow()->enfuseImage().isNull()) giveUp("no preview came");
    clickPicture(*windows.previewWindow());
    runUntilIdle();
    takeScreenshots(windows, folder);
    lookAtAShot(folder);
    fuseFullSize(windows, folder / "fused.tif");
    lookAtTheResult(*windows.previewWindow(), folder);
    alignShots(windows);
    fuseFolder(windows, folder, shots);
    if (!panorama.empty()) lookAround(panorama, folder);
    return EXIT_SUCCESS;
}

}  // namespace

}  // namespace lumaweave

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    std::filesystem::path panorama;
    if (arguments.size() > 2 && arguments[1] == "--panorama") {
        panorama = std::filesystem::absolute(arguments[2]);
        arguments.erase(arguments.begin() + 1, arguments.begin() + 3);
    }
    if (arguments.size() < 3) {
        std::fputs("usage: lumaweave-tour OUTPUT_FOLDER [--panorama PICTURE] SHOT SHOT...\n",
                   stderr);
        return 2;
    }
    // Neither uses nor changes the user's own settings.
    const std::filesystem::path folder = std::filesystem::absolute(arguments[0]);
    qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString((folder / "settings").native()));
    QApplication application(argc, argv);
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setQuitOnLastWindowClosed(false);
    const lumaweave::ProgramRun run;
    std::vector<std::filesystem::path> shots;
    for (std::size_t i = 1; i < arguments.size(); ++i)
        shots.push_back(std::filesystem::absolute(arguments[i]));
    return lumaweave::tour(folder, panorama, shots);
}
