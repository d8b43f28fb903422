#pragma once

#include <QImage>
#include <QSize>
#include <filesystem>
#include <memory>
#include <mutex>

#include "imaging/Image.h"

class QCheckBox;
class QLabel;
class QObject;
class QWidget;

namespace Ui {
class SourceCell;
}

namespace lumaweave {

class DecodedShot;
class SourceCellImageView;

// One of the 16 slots of the source stack: the model of one image, and the controller of the small
// view that shows it. A cell is free exactly when urlToImageFile is empty. The fields may be read
// and written from any thread (each under the cell's own lock); the view belongs to the main
// thread.
class SourceCellViewController {
  public:
    // Makes the view of the layout "SourceCell". Main thread.
    SourceCellViewController();
    ~SourceCellViewController();
    SourceCellViewController(const SourceCellViewController&) = delete;
    SourceCellViewController& operator=(const SourceCellViewController&) = delete;

    // Fills the cell from an image file: decodes it, makes the TIFF working copy where one is
    // needed and the scaled copy, and sets the stack's geometry. False, after an alert (in a batch:
    // a log line), when there is no image; the cell is then unchanged but enabled. Any thread; no
    // lock may be held.
    bool assignFileToCell(const std::filesystem::path& path);
    // The same for a file that has been decoded ahead.
    bool assignFileToCell(const std::filesystem::path& path, DecodedShot shot);

    // Shows the image, the name and the use switch. Main thread.
    void updateViewWithImageOnMainThread();

    // Writes theImage, fitted to the preview window's fused view, to the cell's scaled copy. Any
    // thread; no lock may be held.
    void createScaledSourceForPreview();
    // The same, where the copy does not have the size that the view asks for now.
    void refreshScaledSource();

    // The use switch was clicked. Main thread.
    void useAction(const QCheckBox* sender);
    // Opens the image in a panorama window; nothing when there is none. Main thread.
    void vrAction(const QObject* sender);
    // Empties the cell. With a sender the preview and detail of what is left are fused anew (two or
    // more images); otherwise both views are blanked. Main thread.
    void removeCellAction(const QObject* sender);

    // Nothing: the full-size view is opened by a click on the thumbnail.
    void showSourceFullSizeAction(const QObject*) {}

    [[nodiscard]] int cellNum() const { return cellNum_; }
    void setCellNum(int number) { cellNum_ = number; }  // once, before any thread
    [[nodiscard]] bool enabled() const;
    void setEnabled(bool enabled);
    [[nodiscard]] std::filesystem::path urlToOriginalFile() const;
    void setUrlToOriginalFile(const std::filesystem::path& url);
    [[nodiscard]] std::filesystem::path urlToImageFile() const;
    void setUrlToImageFile(const std::filesystem::path& url);
    [[nodiscard]] std::filesystem::path urlToScaledSourceFile() const;
    void setUrlToScaledSourceFile(const std::filesystem::path& url);
    [[nodiscard]] std::filesystem::path urlToDetailImageFile() const;
    void setUrlToDetailImageFile(const std::filesystem::path& url);
    [[nodiscard]] Image theImage() const;
    void setTheImage(const Image& image);
    // The file and the image of one moment, for a task that replaces them later: the cell may have
    // been emptied or filled anew meanwhile, and is then left alone.
    struct Holding {
        std::filesystem::path urlToImageFile;
        Image theImage;
    };
    [[nodiscard]] Holding holding() const;
    // Puts another file, or another image, in the place of the held one, in the cell and in `held`.
    // False when the cell holds something else.
    [[nodiscard]] bool replaceImageFile(Holding& held, const std::filesystem::path& url);
    [[nodiscard]] bool replaceImage(Holding& held, const Image& image);
    // The last component of the dropped file's path.
    [[nodiscard]] std::string filenameToDisplay() const;

    // Owned by the cell until a parent takes it.
    [[nodiscard]] QWidget* view() const { return view_; }
    [[nodiscard]] SourceCellImageView* cellImageView() const;
    [[nodiscard]] QLabel* textField() const;
    [[nodiscard]] QCheckBox* useCheckBox() const;

  private:
    struct Fields {
        bool enabled = false;
        std::filesystem::path urlToOriginalFile;
        std::filesystem::path urlToImageFile;
        std::filesystem::path urlToScaledSourceFile;
        std::filesystem::path urlToDetailImageFile;
        Image theImage;
        QImage thumbnail;
        QSize scaledSize;
        std::string filenameToDisplay;
    };

    template <typename Value>
    [[nodiscard]] Value get(Value Fields::*field) const;
    template <typename Value>
    void set(Value Fields::*field, const Value& value);

    [[nodiscard]] bool stillHolds(const Holding& held) const;
    void makeWorkingCopy(const std::filesystem::path& path, DecodedShot& shot);
    void writeScaledCopy(const Image& image, const Image& scaled);
    void showControls(bool filled);

    int cellNum_ = 0;
    QWidget* view_ = nullptr;
    std::unique_ptr<Ui::SourceCell> layout_;
    mutable std::mutex mutex_;
    Fields fields_;
};

}  // namespace lumaweave
