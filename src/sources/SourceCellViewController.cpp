#include "sources/SourceCellViewController.h"

#include <QFile>
#include <QPixmap>
#include <QPointer>
#include <QWidget>
#include <string_view>

#include "app/Services.h"
#include "app/SharedState.h"
#include "fusion/Enfuse.h"
#include "fusion/WorkingFiles.h"
#include "imaging/TiffFile.h"
#include "imaging/TiffWriter.h"
#include "panorama/VRWindow.h"
#include "platform/Log.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "sources/DecodedShot.h"
#include "sources/SourceCellImageView.h"
#include "sources/SourcesWindow.h"
#include "ui_SourceCell.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// Told by the end of the path as it is spelled here; other spellings are converted like any other
// format.
bool countsAsTiff(const fs::path& path) {
    const std::string_view text = path.native();
    return text.ends_with("tif") || text.ends_with("tiff") || text.ends_with("TIF") ||
           text.ends_with("TIFF");
}

// The number that stands for "who holds this image": the cell itself, or nobody.
void printImageCount(const char* line, const Image& image) {
    PrintLine(std::string(line) + " - theImage retain count: " + (image.isNull() ? "0" : "1"));
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

template <typename Value>
Value SourceCellViewController::get(Value Fields::*field) const {
    const std::lock_guard lock(mutex_);
    return fields_.*field;
}

template <typename Value>
void SourceCellViewController::set(Value Fields::*field, const Value& value) {
    const std::lock_guard lock(mutex_);
    fields_.*field = value;
}

bool SourceCellViewController::enabled() const {
    return get(&Fields::enabled);
}
void SourceCellViewController::setEnabled(bool enabled) {
    set(&Fields::enabled, enabled);
}
fs::path SourceCellViewController::urlToOriginalFile() const {
    return get(&Fields::urlToOriginalFile);
}
void SourceCellViewController::setUrlToOriginalFile(const fs::path& url) {
    set(&Fields::urlToOriginalFile, url);
}
fs::path SourceCellViewController::urlToImageFile() const {
    return get(&Fields::urlToImageFile);
}
void SourceCellViewController::setUrlToImageFile(const fs::path& url) {
    set(&Fields::urlToImageFile, url);
}
fs::path SourceCellViewController::urlToScaledSourceFile() const {
    return get(&Fields::urlToScaledSourceFile);
}
void SourceCellViewController::setUrlToScaledSourceFile(const fs::path& url) {
    set(&Fields::urlToScaledSourceFile, url);
}
fs::path SourceCellViewController::urlToDetailImageFile() const {
    return get(&Fields::urlToDetailImageFile);
}
void SourceCellViewController::setUrlToDetailImageFile(const fs::path& url) {
    set(&Fields::urlToDetailImageFile, url);
}
Image SourceCellViewController::theImage() const {
    return get(&Fields::theImage);
}
void SourceCellViewController::setTheImage(const Image& image) {
    set(&Fields::theImage, image);
}

SourceCellViewController::Holding SourceCellViewController::holding() const {
    const std::lock_guard lock(mutex_);
    return {fields_.urlToImageFile, fields_.theImage};
}

// With the lock held.
bool SourceCellViewController::stillHolds(const Holding& held) const {
    return fields_.urlToImageFile == held.urlToImageFile &&
           fields_.theImage.sharesPixelsWith(held.theImage);
}

bool SourceCellViewController::replaceImageFile(Holding& held, const fs::path& url) {
    const std::lock_guard lock(mutex_);
    if (!stillHolds(held)) return false;
    held.urlToImageFile = fields_.urlToImageFile = url;
    return true;
}

bool SourceCellViewController::replaceImage(Holding& held, const Image& image) {
    const std::lock_guard lock(mutex_);
    if (!stillHolds(held)) return false;
    held.theImage = fields_.theImage = image;
    return true;
}

std::string SourceCellViewController::filenameToDisplay() const {
    return get(&Fields::filenameToDisplay);
}

bool SourceCellViewController::assignFileToCell(const fs::path& path) {
    return assignFileToCell(path, DecodedShot::decode(path, gPreviewWindow->enfusedViewSize()));
}

bool SourceCellViewController::assignFileToCell(const fs::path& path, DecodedShot shot) {
    Log("Assign file to cell...");
    setEnabled(true);
    if (shot.image().isNull()) {
        if (shot.failure() == DecodeFailure::workingFolder) {
            alertWorkingFolderUnwritable();
        } else if (gDoingBatch) {
            Log("assignFileToCell: initWithContentsOfURL returned nil!");
        } else {
            DoAlert("Unrecognized image file type!");
        }
        return false;
    }
    Log("NSImage loaded ok");
    const Image image = shot.image();
    {
        const std::lock_guard lock(mutex_);
        fields_.urlToImageFile = path;
        fields_.urlToOriginalFile = path;
        fields_.theImage = image;
        fields_.thumbnail = thumbnailOf(shot.scaled());
        fields_.scaledSize = {};
        fields_.filenameToDisplay = path.filename().native();
    }
    printImageCount("A", image);
    ++gNumSourceImages;
    performOnMainThread([this] { updateViewWithImageOnMainThread(); }, Wait::no);
    makeWorkingCopy(path, shot);
    Log("Creating scaled source for Preview...");
    const QSize wanted = fittedPixels(image.size(), gPreviewWindow->enfusedViewSize());
    const bool fits = wanted == QSize(shot.scaled().pixelsWide(), shot.scaled().pixelsHigh());
    writeScaledCopy(image, fits ? shot.scaled() : image.scaled(wanted.width(), wanted.height()));
    const auto width = static_cast<float>(image.size().width());
    const auto height = static_cast<float>(image.size().height());
    gImageWidth = width;
    gImageHeight = height;
    gImageAspectRatio = width / height;
    return true;
}

void SourceCellViewController::makeWorkingCopy(const fs::path& path, DecodedShot& shot) {
    if (countsAsTiff(path)) {
        Log("Source is a TIFF file");
        bool wantsCopy = true;
        performOnMainThread(
            [&wantsCopy] {
                wantsCopy = gSourcesWindow->ensureValidTIFFFilesCheckBox()->isChecked();
            },
            Wait::yes);
        // A file that the tool would read otherwise than it is shown here, or whose name the shell
        // would act on, is never handed over as it is.
        if (!wantsCopy && fusionToolReadsAsShown(path) && CanBeQuoted(path)) return;
        Log("But we are going to re-save it as a new TIFF...");
    }
    Log("Converting image to TIFF...");
    const fs::path copy = GetURLToTIFFedSource(cellNum_);
    if (!shot.takeScratchFile(copy)) alertWorkingFolderUnwritable();
    setUrlToImageFile(copy);
}

void SourceCellViewController::createScaledSourceForPreview() {
    Log("Creating scaled source for Preview...");
    const Image image = theImage();
    if (image.isNull()) return;
    const QSize size = fittedPixels(image.size(), gPreviewWindow->enfusedViewSize());
    const Image scaled = image.scaled(size.width(), size.height());
    {
        const std::lock_guard lock(mutex_);
        fields_.thumbnail = thumbnailOf(scaled);
    }
    writeScaledCopy(image, scaled);
}

void SourceCellViewController::writeScaledCopy(const Image& image, const Image& scaled) {
    const fs::path file = GetURLToScaledSourceFile(cellNum_);
    if (writeTiff(scaled, file, Write::atomic)) {
        noteWorkingFolderWritten();
    } else {
        alertWorkingFolderUnwritable();
    }
    const std::lock_guard lock(mutex_);
    // The cell may have been emptied meanwhile.
    if (!fields_.theImage.sharesPixelsWith(image)) return;
    fields_.urlToScaledSourceFile = file;
    fields_.scaledSize = QSize(scaled.pixelsWide(), scaled.pixelsHigh());
}

void SourceCellViewController::refreshScaledSource() {
    const Image image = theImage();
    const QSize current = get(&Fields::scaledSize);
    // A cell that is being filled gets its first copy from whoever fills it.
    if (image.isNull() || current.isEmpty()) return;
    if (current != fittedPixels(image.size(), gPreviewWindow->enfusedViewSize())) {
        createScaledSourceForPreview();
    }
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
    Fields shown;
    {
        const std::lock_guard lock(mutex_);
        shown = fields_;
    }
    if (shown.theImage.isNull()) DoAlert("updateViewWithImageOnMainThread: theImage = nil");
    cellImageView()->setImage(shown.thumbnail);
    layout_->textField->setText(QFile::decodeName(shown.filenameToDisplay.c_str()));
    useCheckBox()->setChecked(shown.enabled);
    showControls(!shown.theImage.isNull());
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
    Image removed;
    {
        const std::lock_guard lock(mutex_);
        if (fields_.theImage.isNull()) return;
        std::swap(removed, fields_.theImage);
        fields_.thumbnail = {};
        fields_.urlToImageFile.clear();
        fields_.urlToOriginalFile.clear();
        fields_.urlToScaledSourceFile.clear();
        fields_.urlToDetailImageFile.clear();
    }
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
