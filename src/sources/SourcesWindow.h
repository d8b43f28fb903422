// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>
#include <array>
#include <filesystem>
#include <memory>
#include <vector>

#include "stack/SharedState.h"

class QAction;
class QCheckBox;
class QDropEvent;
class QLabel;
class QMimeData;
class QPushButton;
class QScrollArea;

namespace lumaweave {

class LoadingDialog;
class SourceCellViewController;

// What a drop carries, copied out of it: the drag's own data are gone once its handler returns.
struct DragInformation {
    // False for a drop of something else than files (image data, text).
    bool carriesFileNames = false;
    // In the order of the drop. An entry that is no local file is an empty path, which is refused
    // like any file that is no image.
    std::vector<std::filesystem::path> fileNames;

    [[nodiscard]] static DragInformation of(const QMimeData& data);
};

// Holds the cells in the scroll area, from the top down, on light grey or a dark ground.
class MyScrollContent : public QWidget {
    Q_OBJECT

  public:
    explicit MyScrollContent(QWidget* parent = nullptr) : QWidget(parent) {}

  protected:
    void paintEvent(QPaintEvent* event) override;
};

// The column of 16 source cells. Loads dropped files on a thread behind a modal sheet and then
// starts the fusion. Owns the cells. Main thread, but for doLoadingOnThread.
class SourcesWindow : public QWidget {
    Q_OBJECT

  public:
    explicit SourcesWindow(QWidget* parent = nullptr);
    ~SourcesWindow() override;

    void awakeFromNib();
    void windowDidResize() { repositionCells(); }
    void repositionCells();

    // The drop target. Accepts every drag, as a copy, whatever it carries.
    void draggingEntered(QDropEvent* event);
    void draggingUpdated(QDropEvent* event);
    void draggingExited() {}
    [[nodiscard]] bool prepareForDragOperation() const { return true; }
    [[nodiscard]] bool performDragOperation() const { return true; }
    // Loads the dropped files, and returns when that is done; during another load it queues them
    // and returns at once.
    void concludeDragOperation(const DragInformation& drag);
    // Answers a drop at once and concludes it from the event loop, so that the program that was
    // dragged from does not wait for the load.
    void receiveDrop(QDropEvent* event);
    // The same for files that come from elsewhere.
    void addFiles(const std::vector<std::filesystem::path>& files);

    // The loading thread.
    void doLoadingOnThread(const DragInformation& drag,
                           const std::shared_ptr<LoadingDialog>& dialog);

    void ensureValidTIFFAction(const QObject* sender);
    void clearAllCellsAction(const QObject* sender);
    // Asks for the alignment's settings and aligns the stack. Returns when that has ended or was
    // cancelled. Does nothing with fewer than two images, or while an alignment still runs.
    void autoAlign(const QObject* sender);

    [[nodiscard]] QCheckBox* ensureValidTIFFFilesCheckBox() const {
        return ensureValidTIFFFilesCheckBox_;
    }
    void setEnsureValidTIFFFilesCheckBox(QCheckBox* box) { ensureValidTIFFFilesCheckBox_ = box; }
    [[nodiscard]] QScrollArea* sourceImagesScrollView() const { return sourceImagesScrollView_; }
    // The alignment, as the button and the menu offer it: while there are two or more images and
    // none runs.
    [[nodiscard]] QPushButton* alignButton() const { return alignButton_; }
    [[nodiscard]] QAction* alignAction() const { return alignAction_; }
    void updateAlignCommand();
    // The sheet of the load in progress; null when there is none.
    [[nodiscard]] const std::shared_ptr<LoadingDialog>& loadDialog() const { return loadDialog_; }

    [[nodiscard]] QSize sizeHint() const override { return {250, 640}; }

  Q_SIGNALS:
    // A load's sheet has gone.
    void loadEnded();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void makeLayout();
    void makeAlignCommand();
    void makeCells();

    QScrollArea* sourceImagesScrollView_ = nullptr;
    QCheckBox* ensureValidTIFFFilesCheckBox_ = nullptr;
    QPushButton* alignButton_ = nullptr;
    QAction* alignAction_ = nullptr;
    QPushButton* clearButton_ = nullptr;
    std::array<std::unique_ptr<SourceCellViewController>, sourceCellCount> cells_;
    std::shared_ptr<LoadingDialog> loadDialog_;
    std::vector<DragInformation> waiting_;
};

// The lowest index of a free cell, or -1 when all are filled. Any thread.
[[nodiscard]] int FindFreeSourceImageCell();

// Answers a drag as a copy, never as a move: the program that was dragged from keeps its files.
void acceptAsCopy(QDropEvent* event);

}  // namespace lumaweave
