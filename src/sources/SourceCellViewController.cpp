// SPDX-License-Identifier: GPL-3.0-or-later
#include "sources/SourceCellViewController.h"

#include <QCheckBox>
#include <QFile>
#include <QPixmap>
#include <QWidget>

#include "fusion/Enfuse.h"
#include "panorama/VRWindow.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "sources/DecodedShot.h"
#include "sources/SourceCellImageView.h"
#include "sources/SourcesWindow.h"
#include "sources/WorkingCopies.h"
#include "stack/Alerts.h"
#include "stack/SharedState.h"
#include "ui_SourceCell.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;

QPixmap* gBlankCellBackground = nullptr;

namespace {

// The number says who holds the image: the cell (1) or nobody (0).
void printImageCount(const char* line, const Image& image) {
    printLine(std::string(line) + fixed_texts::retainCount + (image.isNull() ? "0" : "1"));
}

}  // namespace

SourceCellViewController::SourceCellViewController()
    : view_(new QWidget), layout_(std::make_unique<Ui::SourceCell>()) {
    layout_->setupUi(view_);
    QObject::connect(useCheckBox(), &QCheckBox::clicked, view_,
                     [this] { useAction(useCheckBox()); });
    QObject::connect(layout_->removeButton, &QToolButton::clicked, view_,
                     [this] { removeCellAction(layout_->removeButton); });
    QObject::connect(layout_->panoramaButton, &QToolButton::clicked, view_,
                     [this] { vrAction(layout_->panoramaButton); });
    if (gBlankCellBackground != nullptr) {
        cellImageView()->setImage(gBlankCellBackground->toImage());
    }
    showControls(false);
}

SourceCellViewController::~SourceCellViewController() = default;

SourceCellImageView* SourceCellViewController::cellImageView() const {
    return layout_->cellImageView;
}
QLabel* SourceCellViewController::textField() const {
    return layout_->textField;
}
QCheckBox* SourceCellViewController::useCheckBox() const {
    return layout_->useCheckBox;
}

bool SourceCellViewController::assignFileToCell(const fs::path& path) {
    return assignFileToCell(path, DecodedShot::decode(path, gPreviewWindow->enfusedViewSize()));
}

bool SourceCellViewController::assignFileToCell(const fs::path& path, DecodedShot decoded) {
    logLine("Assign file to cell...");
    setEnabled(true);
    if (decoded.image().isNull()) {
        if (decoded.failure() == DecodeFailure::workingFolder) {
            alertWorkingFolderUnwritable();
        } else if (gDoingBatch) {
            logLine(fixed_texts::noImageInBatch);
        } else {
            DoAlert("Unrecognized image file type!");
        }
        return false;
    }
    logLine(fixed_texts::imageLoaded);
    const Image image = decoded.image();
    shot_.fill(path, image, thumbnailOf(decoded.scaled()));
    printImageCount("A", image);
    ++gNumSourceImages;
    performOnMainThread([this] { updateViewWithImageOnMainThread(); }, Wait::no);
    makeWorkingCopy(shot_, path, decoded);
    makeFirstScaledCopy(shot_, decoded);
    const auto width = static_cast<float>(image.size().width());
    const auto height = static_cast<float>(image.size().height());
    gImageWidth = width;
    gImageHeight = height;
    gImageAspectRatio = width / height;
    return true;
}

void SourceCellViewController::createScaledSourceForPreview() {
    makeScaledCopy(shot_);
}

void SourceCellViewController::showControls(bool filled) {
    useCheckBox()->setVisible(filled);
    layout_->removeButton->setVisible(filled);
    layout_->panoramaButton->setVisible(filled);
    if (filled) {
        cellImageView()->setCursor(Qt::PointingHandCursor);
        cellImageView()->setToolTip(
            SourceCellImageView::tr("Click to see this shot at full size."));
    } else {
        cellImageView()->unsetCursor();
        cellImageView()->setToolTip({});
    }
}

void SourceCellViewController::updateViewWithImageOnMainThread() {
    const Shot::Content shown = shot_.content();
    if (shown.image.isNull()) DoAlert(fixed_texts::noImageToShow);
    cellImageView()->setImage(shown.thumbnail);
    layout_->textField->setText(QFile::decodeName(shown.fileName.c_str()));
    useCheckBox()->setChecked(shown.enabled);
    showControls(!shown.image.isNull());
    gPreviewWindow->updateFuseCommand();
    gSourcesWindow->updateAlignCommand();
}

void SourceCellViewController::useAction(const QCheckBox* sender) {
    setEnabled(sender->isChecked());
    gPreviewWindow->updateFuseCommand();
    if (gNumSourceImages >= 2) {
        performInBackground([] { gPreviewWindow->doEnfusePreviewOnThread(); });
    }
}

void SourceCellViewController::vrAction(const QObject*) {
    const Image image = theImage();
    if (image.isNull()) return;
    if (VRWindow* window = VRWindow::initWithImage(image)) {
        window->setPictureName(QFile::decodeName(filenameToDisplay().c_str()));
    }
}

void SourceCellViewController::removeCellAction(const QObject* sender) {
    Image removed = shot_.clear();
    if (removed.isNull()) return;
    printImageCount("C", removed);
    removed = {};
    cellImageView()->setImage(gBlankCellBackground->toImage());
    layout_->textField->setText(QString());
    showControls(false);
    const int left = --gNumSourceImages;
    gPreviewWindow->updateFuseCommand();
    gSourcesWindow->updateAlignCommand();
    if (left >= 2 && sender != nullptr) {
        performInBackground([] { gPreviewWindow->doEnfusePreviewOnThread(); });
        EnfuseDetailView();
        return;
    }
    gPreviewWindow->blankViews();
}

}  // namespace lumaweave
