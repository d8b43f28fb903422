// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "stack/Shot.h"

class QCheckBox;
class QLabel;
class QObject;
class QPixmap;
class QWidget;

namespace Ui {
class SourceCell;
}

namespace lumaweave {

class DecodedShot;
class SourceCellImageView;

// What an empty cell shows. The sources window owns it. Main thread.
extern QPixmap* gBlankCellBackground;

// One of the 16 slots of the source stack: owns a shot, and controls the small view that shows it.
// A cell is free exactly when urlToImageFile is empty. The view belongs to the main thread; any
// thread may read and write the shot's fields.
class SourceCellViewController {
  public:
    // Makes the view of the layout "SourceCell". Main thread.
    SourceCellViewController();
    ~SourceCellViewController();
    SourceCellViewController(const SourceCellViewController&) = delete;
    SourceCellViewController& operator=(const SourceCellViewController&) = delete;

    // What the cell holds.
    [[nodiscard]] Shot& shot() { return shot_; }
    [[nodiscard]] const Shot& shot() const { return shot_; }

    // Fills the cell from an image file: decodes it, makes the TIFF working copy where one is
    // needed and the scaled copy, and sets the stack's geometry. False, after an alert (in a batch:
    // a log line), when there is no image; the cell is then unchanged but enabled. Any thread; no
    // lock may be held.
    bool assignFileToCell(const std::filesystem::path& path);
    // The same for a file that has been decoded ahead.
    bool assignFileToCell(const std::filesystem::path& path, DecodedShot decoded);

    // Shows the image, the name and the use switch. Main thread.
    void updateViewWithImageOnMainThread();

    // Writes theImage, fitted to the preview window's fused view, to the cell's scaled copy. Any
    // thread; no lock may be held.
    void createScaledSourceForPreview();

    // The user clicked the use switch. Main thread.
    void useAction(const QCheckBox* sender);
    // Opens the image, if there is one, in a panorama window. Main thread.
    void vrAction(const QObject* sender);
    // Empties the cell. With a sender and two or more images left, fuses preview and detail anew;
    // otherwise blanks both views. Main thread.
    void removeCellAction(const QObject* sender);

    // Fixed names, which forward to the shot; the last does nothing, since a click on the thumbnail
    // opens the full-size view.
    [[nodiscard]] int cellNum() const { return shot_.number(); }
    void setCellNum(int number) { shot_.setNumber(number); }
    [[nodiscard]] bool enabled() const { return shot_.isEnabled(); }
    void setEnabled(bool enabled) { shot_.setEnabled(enabled); }
    [[nodiscard]] std::filesystem::path urlToOriginalFile() const { return shot_.originalFile(); }
    void setUrlToOriginalFile(const std::filesystem::path& url) { shot_.setOriginalFile(url); }
    [[nodiscard]] std::filesystem::path urlToImageFile() const { return shot_.imageFile(); }
    void setUrlToImageFile(const std::filesystem::path& url) { shot_.setImageFile(url); }
    [[nodiscard]] std::filesystem::path urlToScaledSourceFile() const { return shot_.scaledFile(); }
    void setUrlToScaledSourceFile(const std::filesystem::path& url) { shot_.setScaledFile(url); }
    [[nodiscard]] std::filesystem::path urlToDetailImageFile() const { return shot_.detailFile(); }
    void setUrlToDetailImageFile(const std::filesystem::path& url) { shot_.setDetailFile(url); }
    [[nodiscard]] Image theImage() const { return shot_.image(); }
    void setTheImage(const Image& image) { shot_.setImage(image); }
    [[nodiscard]] std::string filenameToDisplay() const { return shot_.fileName(); }
    void showSourceFullSizeAction(const QObject*) {}

    // The cell owns it until a parent takes it.
    [[nodiscard]] QWidget* view() const { return view_; }
    [[nodiscard]] SourceCellImageView* cellImageView() const;
    [[nodiscard]] QLabel* textField() const;
    [[nodiscard]] QCheckBox* useCheckBox() const;

  private:
    void showControls(bool filled);

    Shot shot_;
    QWidget* view_ = nullptr;
    std::unique_ptr<Ui::SourceCell> layout_;
};

}  // namespace lumaweave
