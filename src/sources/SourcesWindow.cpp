// SPDX-License-Identifier: GPL-3.0-or-later
#include "sources/SourcesWindow.h"

#include <QAction>
#include <QCheckBox>
#include <QDropEvent>
#include <QLabel>
#include <QMimeData>
#include <QPaintEvent>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QUrl>
#include <QVBoxLayout>
#include <cmath>
#include <utility>

#include "align/AutoAlignProgress.h"
#include "align/AutoAlignSettings.h"
#include "fusion/Enfuse.h"
#include "platform/FileUrls.h"
#include "platform/Log.h"
#include "platform/Resources.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "settings/Preferences.h"
#include "sources/DecodedShot.h"
#include "sources/LoadingDialog.h"
#include "sources/SourceCellImageView.h"
#include "sources/SourceCellViewController.h"
#include "stack/Alerts.h"
#include "stack/BatchActivity.h"
#include "stack/Shot.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr int cellLeft = 2;

}  // namespace

DragInformation DragInformation::of(const QMimeData& data) {
    DragInformation drag;
    drag.carriesFileNames = data.hasUrls();
    for (const QUrl& url : data.urls()) {
        drag.fileNames.push_back(pathFromUrl(url).value_or(fs::path()));
    }
    return drag;
}

int FindFreeSourceImageCell() {
    logLine("FindFreeSourceImageCell...");
    for (const Shot* shot : shots()) {
        if (shot->isEmpty()) return shot->number();
    }
    return -1;
}

void acceptAsCopy(QDropEvent* event) {
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

// Paints instead of setting a palette, which the cells would inherit: they follow the theme. Light
// grey would glare around dark cells.
void MyScrollContent::paintEvent(QPaintEvent* event) {
    const bool dark = palette().color(QPalette::Window).lightness() < 128;
    QPainter(this).fillRect(event->rect(),
                            dark ? palette().color(QPalette::Window) : QColor(Qt::lightGray));
}

SourcesWindow::SourcesWindow(QWidget* parent) : QWidget(parent) {
    setObjectName("SourcesWindow");
    setWindowTitle(tr("Shots"));
    setAcceptDrops(true);
    makeLayout();
    connect(&BatchActivity::instance(), &BatchActivity::changed, this, [this] {
        setEnabled(!BatchActivity::isRunning());
        updateAlignCommand();
    });
    awakeFromNib();
}

SourcesWindow::~SourcesWindow() {
    if (gSourcesWindow != this) return;
    gSourcesWindow = nullptr;
    gSourceCells.fill(nullptr);
    setShots({});
    delete std::exchange(gBlankCellBackground, nullptr);
}

void SourcesWindow::makeLayout() {
    auto* hint = new QLabel(tr("Drop up to 16 exposures of one scene here."));
    hint->setObjectName("dropHint");
    hint->setWordWrap(true);
    sourceImagesScrollView_ = new QScrollArea;
    sourceImagesScrollView_->setObjectName("sourceImagesScrollView");
    sourceImagesScrollView_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    sourceImagesScrollView_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    sourceImagesScrollView_->setWidget(new MyScrollContent);
    sourceImagesScrollView_->viewport()->installEventFilter(this);
    ensureValidTIFFFilesCheckBox_ = new QCheckBox(tr("Re-save TIFF shots"));
    ensureValidTIFFFilesCheckBox_->setObjectName("ensureValidTIFFFilesCheckBox");
    ensureValidTIFFFilesCheckBox_->setChecked(true);
    ensureValidTIFFFilesCheckBox_->setToolTip(tr(
        "Makes a clean working copy of every TIFF that you add, so that the fusion tool can read "
        "it for sure. Without it, TIFFs that need no copy are fused straight from your file."));
    connect(ensureValidTIFFFilesCheckBox_, &QCheckBox::clicked, this,
            [this] { ensureValidTIFFAction(ensureValidTIFFFilesCheckBox_); });
    makeAlignCommand();
    clearButton_ = new QPushButton(tr("Clear all"));
    clearButton_->setObjectName("clearAllCellsButton");
    clearButton_->setToolTip(tr("Takes all shots out. The files stay where they are."));
    connect(clearButton_, &QPushButton::clicked, this,
            [this] { clearAllCellsAction(clearButton_); });
    auto* column = new QVBoxLayout(this);
    column->addWidget(hint);
    column->addWidget(sourceImagesScrollView_, 1);
    column->addWidget(ensureValidTIFFFilesCheckBox_);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(alignButton_);
    buttons->addWidget(clearButton_);
    column->addLayout(buttons);
}

void SourcesWindow::makeAlignCommand() {
    alignButton_ = new QPushButton(tr("Align…"));
    alignButton_->setObjectName("alignButton");
    connect(alignButton_, &QPushButton::clicked, this, [this] { autoAlign(alignButton_); });
    alignAction_ = new QAction(tr("&Align…"), this);
    alignAction_->setObjectName("alignAction");
    connect(alignAction_, &QAction::triggered, this, [this] { autoAlign(alignAction_); });
    updateAlignCommand();
}

void SourcesWindow::updateAlignCommand() {
    const bool running = AutoAlignProgressDialog::isAlignmentRunning();
    const bool offered = gNumSourceImages >= 2 && !running && !BatchActivity::isRunning();
    alignButton_->setEnabled(offered);
    alignAction_->setEnabled(offered);
    alignButton_->setToolTip(
        running ? tr("An alignment is still at work in the background.")
                : tr("Brings shots that were taken from the hand into line with the first one."));
}

void SourcesWindow::awakeFromNib() {
    gSourcesWindow = this;
    if (const auto saved = savedEnsureValidTIFFState()) {
        ensureValidTIFFFilesCheckBox_->setChecked(*saved != 0);
    }
    const auto blank = pathForResource("blank", "png");
    gBlankCellBackground =
        new QPixmap(blank ? QPixmap(QString::fromStdString(blank->native())) : QPixmap());
    makeCells();
}

void SourcesWindow::makeCells() {
    QWidget* content = sourceImagesScrollView_->widget();
    std::vector<Shot*> all;
    for (int i = 0; i < sourceCellCount; ++i) {
        auto& cell = cells_.at(static_cast<std::size_t>(i));
        cell = std::make_unique<SourceCellViewController>();
        gSourceCells.at(static_cast<std::size_t>(i)) = cell.get();
        cell->setCellNum(i);
        cell->cellImageView()->setCellNum(i);
        // The first cell's height decides the height of the whole column.
        if (i == 0) content->resize(content->width(), sourceCellCount * cell->view()->height());
        cell->view()->setParent(content);
        cell->view()->setAutoFillBackground(true);
        cell->view()->show();
        all.push_back(&cell->shot());
    }
    setShots(std::move(all));
    repositionCells();
}

void SourcesWindow::repositionCells() {
    QWidget* content = sourceImagesScrollView_->widget();
    const int width = sourceImagesScrollView_->viewport()->width();
    content->resize(width, content->height());
    int y = 0;
    for (const auto& cell : cells_) {
        if (!cell) continue;
        QWidget* view = cell->view();
        view->move(cellLeft, y);
        view->resize(width - cellLeft, view->height());
        y += view->height();
    }
}

// The scroll area's view gets its size after the window around it.
bool SourcesWindow::eventFilter(QObject*, QEvent* event) {
    if (event->type() == QEvent::Resize) windowDidResize();
    return false;
}

void SourcesWindow::draggingEntered(QDropEvent* event) {
    acceptAsCopy(event);
}
void SourcesWindow::draggingUpdated(QDropEvent* event) {
    acceptAsCopy(event);
}
void SourcesWindow::dragEnterEvent(QDragEnterEvent* event) {
    draggingEntered(event);
}
void SourcesWindow::dragMoveEvent(QDragMoveEvent* event) {
    draggingUpdated(event);
}
void SourcesWindow::dropEvent(QDropEvent* event) {
    receiveDrop(event);
}

void SourcesWindow::receiveDrop(QDropEvent* event) {
    if (!prepareForDragOperation() || !performDragOperation()) return;
    const DragInformation drag = DragInformation::of(*event->mimeData());
    acceptAsCopy(event);
    QMetaObject::invokeMethod(
        this, [this, drag] { concludeDragOperation(drag); }, Qt::QueuedConnection);
}

void SourcesWindow::addFiles(const std::vector<fs::path>& files) {
    if (!files.empty()) concludeDragOperation({true, files});
}

void SourcesWindow::concludeDragOperation(const DragInformation& drag) {
    window()->raise();
    // A batch keeps the cells until it has ended.
    if (!drag.carriesFileNames || BatchActivity::isRunning()) return;
    if (loadDialog_) {
        waiting_.push_back(drag);
        return;
    }
    logLine("concludeDragOperation...");
    loadDialog_ =
        ownedByMainThread(std::make_unique<LoadingDialog>(static_cast<int>(drag.fileNames.size())));
    const auto dialog = loadDialog_;
    dialog->setWorkerAlive(true);
    performInBackground([this, drag, dialog] { doLoadingOnThread(drag, dialog); });
    dialog->begin(window());
    dialog->run();
    dialog->end();
    loadDialog_.reset();
    Q_EMIT loadEnded();
    if (waiting_.empty()) return;
    const DragInformation next = waiting_.front();
    waiting_.erase(waiting_.begin());
    concludeDragOperation(next);
}

void SourcesWindow::doLoadingOnThread(const DragInformation& drag,
                                      const std::shared_ptr<LoadingDialog>& dialog) {
    {
        DecodeAhead ahead(drag.fileNames, gPreviewWindow->enfusedViewSize());
        for (std::size_t k = 0; k < drag.fileNames.size(); ++k) {
            const int free = FindFreeSourceImageCell();
            if (free < 0) {
                DoAlert("Can't add any more images!");
                // The sheet stays until the user closes it.
                performOnMainThread([&dialog] { dialog->offerClose(); }, Wait::yes);
                return;
            }
            gSourceCells.at(static_cast<std::size_t>(free))
                ->assignFileToCell(drag.fileNames[k], ahead.take(k));
            performOnMainThread([&dialog] { dialog->bumpProgressBarOnMainThread(); }, Wait::yes);
        }
    }
    performOnMainThread([&dialog] { dialog->endDialogOnMainThread(); }, Wait::yes);
    if (gNumSourceImages >= 2) {
        gPreviewWindow->doEnfusePreviewOnThread();
        EnfuseDetailView();
    }
}

void SourcesWindow::ensureValidTIFFAction(const QObject*) {
    if (gNumSourceImages > 0) {
        DoAlert(
            "Changes will only be applied to new images dragged into the list.  Existing images "
            "are "
            "unchanged");
    }
    SavePrefs();
}

void SourcesWindow::clearAllCellsAction(const QObject*) {
    for (SourceCellViewController* cell : gSourceCells)
        cell->removeCellAction(nullptr);
}

void SourcesWindow::autoAlign(const QObject*) {
    if (gNumSourceImages < 2 || AutoAlignProgressDialog::isAlignmentRunning()) return;
    AutoAlignSettings settings;
    settings.init();
}

}  // namespace lumaweave
