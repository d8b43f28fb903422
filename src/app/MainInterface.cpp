// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/MainInterface.h"

#include <QActionGroup>
#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDockWidget>
#include <QFileDialog>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QStandardPaths>
#include <QStatusBar>
#include <QStyle>
#include <QTimer>

#include "app/AppDelegate.h"
#include "imaging/formats/PhotoFormat.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourcesWindow.h"
#include "stack/BatchActivity.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr QSize firstSize(1280, 840);
constexpr int firstSourcesWidth = 260;
constexpr int firstSettingsWidth = 340;
constexpr auto geometryKey = "arrangement/geometry";
constexpr auto docksKey = "arrangement/docks";
constexpr auto imageFolderKey = "arrangement/imageFolder";

// A scroll area never narrower than what it holds: it scrolls only up and down.
QScrollArea* scrolling(QWidget* content) {
    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setWidget(content);
    area->setMinimumWidth(content->minimumSizeHint().width() +
                          area->style()->pixelMetric(QStyle::PM_ScrollBarExtent));
    return area;
}

// The picture windows, also those that wait for their picture. Nobody else knows of them.
QList<QPointer<QWidget>> windowsThatOwnThemselves() {
    QList<QPointer<QWidget>> windows;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->testAttribute(Qt::WA_DeleteOnClose)) windows << window;
    }
    return windows;
}

}  // namespace

MainInterface::MainInterface() {
    setObjectName("MainInterface");
    setWindowTitle("Lumaweave");
    // The preview first: the settings panel's first change may already ask for it.
    preview_ = new PreviewWindow;
    sources_ = new SourcesWindow;
    settings_ = new EnfuseSettingsWindow;
    setCentralWidget(preview_);
    makeDocks();
    makeFileMenu();
    makeShotsMenu();
    makeFusionMenu();
    makeViewMenu();
    makeHelpMenu();
    makeStatusLine();
    resize(firstSize);
    resetArrangement();
    const QSettings settings;
    restoreGeometry(settings.value(geometryKey).toByteArray());
    restoreState(settings.value(docksKey).toByteArray());
    // Also when a signal ends the program.
    connect(qApp, &QCoreApplication::aboutToQuit, this, &MainInterface::closePictureWindows);
}

MainInterface::~MainInterface() {
    // Without an event loop, closed windows would never be deleted.
    for (const QPointer<QWidget>& window : windowsThatOwnThemselves())
        delete window.data();
}

void MainInterface::closePictureWindows() {
    for (const QPointer<QWidget>& window : windowsThatOwnThemselves()) {
        if (!window.isNull()) window->close();
    }
}

void MainInterface::makeDocks() {
    sourcesDock_ = new QDockWidget(tr("Shots"));
    sourcesDock_->setObjectName("sourcesDock");
    sourcesDock_->setWidget(sources_);
    settingsDock_ = new QDockWidget(tr("Settings"));
    settingsDock_->setObjectName("settingsDock");
    settingsDock_->setWidget(scrolling(settings_));
    addDockWidget(Qt::LeftDockWidgetArea, sourcesDock_);
    addDockWidget(Qt::RightDockWidgetArea, settingsDock_);
}

void MainInterface::resetArrangement() {
    for (QDockWidget* dock : {sourcesDock_, settingsDock_}) {
        dock->setFloating(false);
        dock->show();
    }
    addDockWidget(Qt::LeftDockWidgetArea, sourcesDock_);
    addDockWidget(Qt::RightDockWidgetArea, settingsDock_);
    resizeDocks({sourcesDock_, settingsDock_}, {firstSourcesWidth, firstSettingsWidth},
                Qt::Horizontal);
}

void MainInterface::makeFileMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&File"));
    QAction* add = menu->addAction(tr("&Add Images…"), this, &MainInterface::chooseImages);
    add->setObjectName("addImagesAction");
    add->setShortcut(QKeySequence::Open);
    menu->addAction(preview_->fuseAction());
    preview_->fuseAction()->setShortcut(Qt::CTRL | Qt::Key_S);
    QAction* batch = menu->addAction(tr("Fuse a &Folder…"), this, [] {
        if (gAppDelegate != nullptr) gAppDelegate->doBatchAction();
    });
    batch->setObjectName("batchAction");
    batch->setShortcut(Qt::CTRL | Qt::Key_B);
    refusedDuringBatch_.insert(refusedDuringBatch_.end(), {add, batch});
    menu->addSeparator();
    QAction* quit = menu->addAction(tr("&Quit"), this, &QWidget::close);
    quit->setObjectName("quitAction");
    quit->setShortcut(Qt::CTRL | Qt::Key_Q);
}

void MainInterface::makeShotsMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&Shots"));
    menu->addAction(sources_->alignAction());
    sources_->alignAction()->setShortcut(Qt::CTRL | Qt::Key_L);
    QAction* clear =
        menu->addAction(tr("&Clear All"), this, [this] { sources_->clearAllCellsAction(this); });
    clear->setObjectName("clearAllAction");
    clear->setShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_Delete);
    refusedDuringBatch_.push_back(clear);
    QAction* resave = menu->addAction(tr("Re-save &TIFF Shots"));
    resave->setObjectName("resaveAction");
    resave->setShortcut(Qt::CTRL | Qt::Key_T);
    resave->setCheckable(true);
    QCheckBox* box = sources_->ensureValidTIFFFilesCheckBox();
    resave->setChecked(box->isChecked());
    connect(box, &QCheckBox::toggled, resave, &QAction::setChecked);
    connect(resave, &QAction::triggered, box, &QCheckBox::click);
}

void MainInterface::makeFusionMenu() {
    QMenu* menu = menuBar()->addMenu(tr("F&usion"));
    QAction* reset = menu->addAction(tr("&Reset Exposure"), this,
                                     [this] { settings_->resetExposureAction(this); });
    reset->setObjectName("resetExposureAction");
    reset->setShortcut(Qt::CTRL | Qt::Key_R);
    menu->addSection(tr("After Fusing"));
    auto* group = new QActionGroup(this);
    const QList<QAbstractButton*> choices = preview_->afterEnfusingRadioButtons()->buttons();
    int number = 1;
    for (QAbstractButton* choice : choices) {
        if (!choice->isEnabled()) continue;
        QAction* action = menu->addAction(choice->text());
        action->setCheckable(true);
        action->setChecked(choice->isChecked());
        action->setShortcut(QKeySequence(QString("Ctrl+%1").arg(number++)));
        group->addAction(action);
        connect(choice, &QAbstractButton::toggled, action, &QAction::setChecked);
        connect(action, &QAction::triggered, choice, &QAbstractButton::click);
    }
}

void MainInterface::makeViewMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&View"));
    int number = 1;
    for (QDockWidget* dock : {sourcesDock_, settingsDock_}) {
        QAction* show = dock->toggleViewAction();
        show->setShortcut(QKeySequence(QString("F%1").arg(number + 6)));
        menu->addAction(show);
        QAction* tearOff = menu->addAction(tr("Tear Off %1").arg(dock->windowTitle()));
        tearOff->setObjectName(dock->objectName() + "TearOff");
        tearOff->setCheckable(true);
        tearOff->setShortcut(QKeySequence(QString("Shift+F%1").arg(number + 6)));
        connect(tearOff, &QAction::triggered, dock, [dock](bool floating) {
            dock->show();
            dock->setFloating(floating);
        });
        connect(dock, &QDockWidget::topLevelChanged, tearOff, &QAction::setChecked);
        ++number;
    }
    menu->addSeparator();
    QAction* reset = menu->addAction(tr("&Reset Arrangement"), this, [this] {
        showNormal();
        resize(firstSize);
        resetArrangement();
    });
    reset->setObjectName("resetArrangementAction");
    reset->setShortcut(Qt::CTRL | Qt::Key_0);
}

void MainInterface::makeHelpMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&Help"));
    QAction* about = menu->addAction(tr("&About Lumaweave"), this, &MainInterface::showAbout);
    about->setObjectName("aboutAction");
    about->setMenuRole(QAction::AboutRole);
    about->setShortcut(QKeySequence::HelpContents);
}

// The line is there from the start, so that nothing moves when it has something to say.
void MainInterface::makeStatusLine() {
    statusBar()->setObjectName("statusLine");
    connect(&BatchActivity::instance(), &BatchActivity::changed, this,
            &MainInterface::showBatchActivity);
}

// While a batch uses the cells nobody else may change them; the windows see to their own commands.
void MainInterface::showBatchActivity() {
    const BatchActivity::Phase phase = BatchActivity::instance().phase();
    const bool running = phase != BatchActivity::Phase::none;
    for (QAction* action : refusedDuringBatch_)
        action->setEnabled(!running);
    if (phase == BatchActivity::Phase::finishing) {
        statusBar()->showMessage(
            tr("The batch was canceled. Its current set is still being finished…"));
    } else {
        statusBar()->clearMessage();
    }
}

namespace {

// The usual endings in small and in capital letters.
QString photographPatterns() {
    QStringList patterns;
    for (const std::string_view ending : usualEndings()) {
        const QString text = QString::fromLatin1(ending.data(), static_cast<int>(ending.size()));
        patterns << "*." + text << "*." + text.toUpper();
    }
    return patterns.join(' ');
}

}  // namespace

void MainInterface::chooseImages() {
    QSettings settings;
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    QFileDialog panel(this, tr("Add Images"), settings.value(imageFolderKey, pictures).toString());
    panel.setObjectName("addImagesPanel");
    panel.setFileMode(QFileDialog::ExistingFiles);
    panel.setOption(QFileDialog::HideNameFilterDetails);  // fifty endings would widen the panel
    panel.setNameFilters({tr("Photographs (%1)").arg(photographPatterns()), tr("All files (*)")});
    if (panel.exec() != QDialog::Accepted) return;
    settings.setValue(imageFolderKey, panel.directory().absolutePath());
    std::vector<fs::path> files;
    for (const QString& file : panel.selectedFiles()) {
        files.emplace_back(QFile::encodeName(file).toStdString());
    }
    openFiles(files);
}

void MainInterface::showAbout() {
    QMessageBox about(this);
    about.setObjectName("about");
    about.setWindowTitle(tr("About Lumaweave"));
    about.setIconPixmap(windowIcon().pixmap(64));
    about.setTextFormat(Qt::PlainText);
    about.setText(tr("Lumaweave %1").arg(QApplication::applicationVersion()));
    about.setInformativeText(
        tr("Fuses bracketed exposures of one scene into one photograph.\n\n"
           "Free software under the GNU General Public License, version 3 or later. The fusion is "
           "done by enfuse."));
    about.exec();
}

void MainInterface::openFiles(const std::vector<fs::path>& files) {
    waitingFiles_.insert(waitingFiles_.end(), files.begin(), files.end());
    if (laidOut_) openWaitingFiles();
}

void MainInterface::openWaitingFiles() {
    std::vector<fs::path> files;
    std::swap(files, waitingFiles_);
    sources_->addFiles(files);
}

void MainInterface::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (laidOut_) return;
    // Showing the window lays it out; once the event loop runs, that is done.
    QTimer::singleShot(0, this, [this] {
        laidOut_ = true;
        openWaitingFiles();
    });
}

void MainInterface::closeEvent(QCloseEvent* event) {
    QSettings settings;
    settings.setValue(geometryKey, saveGeometry());
    settings.setValue(docksKey, saveState());
    closePictureWindows();
    QMainWindow::closeEvent(event);
}

}  // namespace lumaweave
