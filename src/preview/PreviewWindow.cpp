// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/PreviewWindow.h"

#include <QAction>
#include <QButtonGroup>
#include <QDesktopServices>
#include <QFile>
#include <QGridLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QSplitter>
#include <QUrl>
#include <QVBoxLayout>
#include <cstdio>
#include <filesystem>
#include <string>

#include "fusion/Enfuse.h"
#include "fusion/SavePanel.h"
#include "imaging/decoding/ImageDecoder.h"
#include "imaging/tiff/TiffWriter.h"
#include "panorama/VRWindow.h"
#include "platform/FileUrls.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"
#include "platform/TextEncoding.h"
#include "platform/Threads.h"
#include "preview/EnfusingProgressDialog.h"
#include "preview/HistogramView.h"
#include "preview/OutputImageWindow.h"
#include "sources/WorkingCopies.h"
#include "stack/Alerts.h"
#include "stack/BatchActivity.h"
#include "stack/SharedState.h"
#include "stack/Shot.h"
#include "stack/Turns.h"
#include "stack/WorkingFiles.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;

QPointF gDetailCoord;

namespace {

// How long the views must keep their size until a resize counts as ended.
constexpr int settleMilliseconds = 250;

StackGeometry stackGeometry() {
    return {gImageWidth, gImageHeight, gImageAspectRatio};
}

}  // namespace

PreviewWindow::PreviewWindow(QWidget* parent) : QWidget(parent) {
    setObjectName("PreviewWindow");
    setWindowTitle(tr("Preview"));
    makeLayout();
    settled_.setSingleShot(true);
    settled_.setInterval(settleMilliseconds);
    connect(&settled_, &QTimer::timeout, this, &PreviewWindow::windowDidEndLiveResize);
    for (const ImageView* view : {enfusedView_, detailView_}) {
        connect(view, &ImageView::resized, this, &PreviewWindow::noteViewSizes);
    }
    connect(&BatchActivity::instance(), &BatchActivity::changed, this,
            &PreviewWindow::updateFuseCommand);
    awakeFromNib();
}

PreviewWindow::~PreviewWindow() {
    if (gPreviewWindow == this) gPreviewWindow = nullptr;
}

void PreviewWindow::awakeFromNib() {
    gPreviewWindow = this;
    const std::lock_guard lock(mutex_);
    enfuseImage_ = {};
}

void PreviewWindow::makeLayout() {
    enfusedView_ = new ImageView;
    enfusedView_->setObjectName("enfusedView");
    enfusedView_->setPlaceholder(
        tr("Drop two or more exposures of one scene on the shots column.\n"
           "The fused picture appears here."));
    detailView_ = new ImageView;
    detailView_->setObjectName("detailView");
    detailView_->setFit(ImageView::Fit::shrink);
    detailView_->setPlaceholder(tr("Click the picture to see that spot here at full size (1:1)."));
    detailView_->setToolTip(tr("The fused picture around the spot you clicked, pixel by pixel."));

    auto* lower = new QWidget;
    auto* grid = new QGridLayout(lower);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->addWidget(detailView_, 0, 0);
    grid->addWidget(makeHistogramPanel(), 1, 0);
    grid->addWidget(makeOutputPanel(), 0, 1, 2, 1);
    grid->setRowStretch(0, 5);
    grid->setRowStretch(1, 2);
    grid->setColumnStretch(0, 1);

    auto* splitter = new QSplitter(Qt::Vertical);
    splitter->setObjectName("previewSplitter");
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(enfusedView_);
    splitter->addWidget(lower);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 1);
    auto* column = new QVBoxLayout(this);
    column->addWidget(splitter);
}

QWidget* PreviewWindow::makeHistogramPanel() {
    auto* panel = new QFrame;
    panel->setFrameStyle(static_cast<int>(QFrame::StyledPanel) | QFrame::Sunken);
    auto* column = new QVBoxLayout(panel);
    column->setContentsMargins(0, 0, 0, 0);
    histogramView_ = new HistogramView;
    column->addWidget(histogramView_);
    return panel;
}

QWidget* PreviewWindow::makeOutputPanel() {
    auto* panel = new QGroupBox(tr("After fusing"));
    auto* column = new QVBoxLayout(panel);
    afterEnfusingRadioButtons_ = new QButtonGroup(this);
    const QStringList titles = {tr("Keep the file, nothing else"), tr("Show the result"),
                                tr("Show it as a panorama"), tr("Open with default program")};
    for (int id = 0; id < titles.size(); ++id) {
        auto* button = new QRadioButton(titles[id]);
        button->setObjectName("afterEnfusing" + QString::number(id));
        afterEnfusingRadioButtons_->addButton(button, id);
        column->addWidget(button);
    }
    afterEnfusingRadioButtons_->button(doNothing)->setChecked(true);
    column->addStretch();
    fuseButton_ = new QPushButton(tr("Fuse Full Size…"));
    fuseButton_->setObjectName("fuseButton");
    fuseButton_->setToolTip(tr("Fuses the full-size shots into one TIFF file that you name."));
    connect(fuseButton_, &QPushButton::clicked, this, [this] { enfuseItAction(fuseButton_); });
    fuseAction_ = new QAction(tr("&Fuse…"), this);
    fuseAction_->setObjectName("fuseAction");
    connect(fuseAction_, &QAction::triggered, this, [this] { enfuseItAction(fuseAction_); });
    updateFuseCommand();
    column->addWidget(fuseButton_);
    return panel;
}

void PreviewWindow::updateFuseCommand() {
    int used = 0;
    for (const Shot* shot : shots()) {
        if (!shot->image().isNull() && shot->isEnabled()) ++used;
    }
    const bool offered = used >= 2 && !BatchActivity::isRunning();
    fuseButton_->setEnabled(offered);
    fuseAction_->setEnabled(offered);
}

void PreviewWindow::blankViews() {
    forgetPreview_ = true;
    enfusedView_->setImage({});
    detailView_->setImage({});
}

void PreviewWindow::noteViewSizes() {
    {
        const std::lock_guard lock(mutex_);
        enfusedViewSize_ = enfusedView_->size();
    }
    if (gNumSourceImages > 0) settled_.start();
}

Image PreviewWindow::enfuseImage() const {
    const std::lock_guard lock(mutex_);
    return enfuseImage_;
}

QSize PreviewWindow::enfusedViewSize() const {
    const std::lock_guard lock(mutex_);
    return enfusedViewSize_;
}

// In the background: rewriting up to sixteen scaled copies takes a while, and a preview that is
// running must not find some of its inputs in the new size and some in the old.
void PreviewWindow::windowDidEndLiveResize() {
    performInBackground([this] {
        {
            const PreviewTurn turn;
            for (Shot* shot : shots()) {
                if (!shot->image().isNull()) makeScaledCopy(*shot);
            }
        }
        if (gNumSourceImages >= 2) doEnfusePreviewOnThread();
    });
}

void PreviewWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    mouseDown(flipped(event->position(), height()));
}

void PreviewWindow::mouseDown(QPointF locationInWindow) {
    logLine("mouse down event...");
    QPointF frameOrigin;
    QSizeF bounds;
    if (enfusedView_ != nullptr) {
        const QRectF frame(enfusedView_->mapTo(this, QPoint(0, 0)), enfusedView_->size());
        frameOrigin = flipped(frame, height()).topLeft();
        bounds = frame.size();
    }
    gDetailCoord = imageCoordinates(locationInWindow, frameOrigin, bounds, stackGeometry());
    logLine("image coords = " + QByteArray::number(gDetailCoord.x(), 'f', 6).toStdString() + ", " +
            QByteArray::number(gDetailCoord.y(), 'f', 6).toStdString());
    if (!isOutsideImage(gDetailCoord, stackGeometry())) createDetailImages();
}

void PreviewWindow::doEnfusePreviewOnThread() {
    bool loaded = false;
    const bool duringBatch = BatchActivity::isRunning();
    {
        // Asking the main thread for the settings is safe in the turn: that thread never takes one.
        const PreviewTurn turn;
        // In the turn, so that it takes no run's own result away.
        if (forgetPreview_.exchange(false)) {
            std::error_code error;
            fs::remove(GetURLToEnfusedPreviewFile(), error);
        }
        // The view may have changed its size while shots were being loaded.
        for (Shot* shot : shots())
            refreshScaledCopy(*shot);
        EnfusePreview();
        const Image image = decodeImage(GetURLToEnfusedPreviewFile());
        const QImage screen = image.toScreen();
        loaded = !screen.isNull();
        const std::lock_guard lock(mutex_);
        if (loaded) {
            enfuseImage_ = image;
            screenImage_ = screen;
        }
    }
    if (loaded) {
        performOnMainThread([this] { updatePreviewImageOnMainThread(); }, Wait::yes);
    } else if (duringBatch || BatchActivity::isRunning()) {
        // The batch may have emptied the cells while this run waited.
        logLine(fixed_texts::noPreview);
    } else {
        DoAlert(fixed_texts::noPreview);
    }
}

void PreviewWindow::updatePreviewImageOnMainThread() {
    // The stack may have been emptied while its fusion ran.
    if (gNumSourceImages < 2) return;
    QImage screen;
    Image image;
    {
        const std::lock_guard lock(mutex_);
        screen = screenImage_;
        image = enfuseImage_;
    }
    enfusedView_->setImage(screen);
    histogramView_->createHistogramForImage(image);
    // Shows it at once, not only when the detail is fused too.
    enfusedView_->repaint();
    histogramView_->repaint();
    createDetailImages();
    Q_EMIT previewShown();
}

void PreviewWindow::createDetailImages() {
    logLine("Creating Detail Images...");
    const QSize size = detailView_ != nullptr ? detailView_->size() : QSize(0, 0);
    const QRectF crop = cropRectangle(gDetailCoord, size);
    {
        const Turn turn(detailFilesTaken);
        for (Shot* shot : shots()) {
            const Image image = shot->image();
            if (image.isNull()) continue;
            const fs::path file = GetURLToDetailImageFile(shot->number());
            // A crop that cannot be written shows as a detail fusion without a result.
            static_cast<void>(writeTiff(
                image.cropped(flipped(crop, image.size().height()), size.width(), size.height()),
                file, Write::plain));
            shot->setDetailFile(file);
        }
    }
    EnfuseDetailView();
}

void PreviewWindow::enfuseItAction(const QObject*) {
    if (gNumSourceImages < 2 || BatchActivity::isRunning()) return;
    gEnfuseSavePath = AskForSaveFilename();
    if (gEnfuseSavePath.empty()) return;
    runFullSizeFusion();
    actAfterEnfusing();
}

void PreviewWindow::runFullSizeFusion() {
    progressDialog_ = ownedByMainThread(std::make_unique<EnfusingProgressDialog>());
    const auto dialog = progressDialog_;
    dialog->setWorkerAlive(true);
    performInBackground([this, dialog] { doFullEnfuseOnThread(dialog); });
    dialog->begin(window());
    dialog->run();
    dialog->end();
    progressDialog_.reset();
}

void PreviewWindow::doFullEnfuseOnThread(const std::shared_ptr<EnfusingProgressDialog>& dialog) {
    if (fullRezCommandFits()) {
        // Leaves a file whose path is too long or foreign to the encoding: the tool overwrites it.
        constexpr std::size_t pathBuffer = 2000;
        const auto encoded = toMacRoman(gEnfuseSavePath.native());
        if (encoded && encoded->size() < pathBuffer) std::remove(gEnfuseSavePath.c_str());
        printLine(fixed_texts::savePath + gEnfuseSavePath.native());
        EnfuseFullRez();
    }
    performOnMainThread([&dialog] { dialog->endDialogOnMainThread(); }, Wait::yes);
}

void PreviewWindow::actAfterEnfusing() {
    switch (afterEnfusingRadioButtons_->checkedId()) {
        case showInWindow:
            showOutputImage();
            break;
        case showPanorama:
            showOutputAsPanorama();
            break;
        case openWithDefaultProgram:
            if (!QDesktopServices::openUrl(urlFromPath(gEnfuseSavePath))) {
                logLine("No program opens " + gEnfuseSavePath.native());
            }
            break;
        default:
            break;
    }
}

// Loads in the background: a large one takes seconds.
void PreviewWindow::showOutputAsPanorama() {
    QGuiApplication::setOverrideCursor(Qt::BusyCursor);
    performInBackground([path = gEnfuseSavePath] {
        const Image result = decodeImage(path);
        performOnMainThread(
            [path, result] {
                QGuiApplication::restoreOverrideCursor();
                // The program may be ending by now.
                if (result.isNull() || !areAlertsShown()) return;
                VRWindow* window = VRWindow::initWithImage(result);
                if (window == nullptr) return;
                window->setPictureName(QFile::decodeName(path.filename().c_str()));
            },
            Wait::yes);
    });
}

OutputImageWindow* PreviewWindow::outputImageWindow() const {
    return outputImageWindow_;
}

void PreviewWindow::showOutputImage() {
    outputImageWindow_ = new OutputImageWindow;
    outputImageWindow_->init();
}

}  // namespace lumaweave
