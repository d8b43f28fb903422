// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QPointF>
#include <QPointer>
#include <QSize>
#include <QTimer>
#include <QWidget>
#include <atomic>
#include <memory>
#include <mutex>

#include "imaging/picture/Image.h"
#include "preview/DetailGeometry.h"

class QAction;
class QButtonGroup;
class QPushButton;

namespace lumaweave {

class EnfusingProgressDialog;
class HistogramView;
class ImageView;
class OutputImageWindow;

// The spot of the image (points, origin at the bottom left) that the 1:1 detail view shows. Main
// thread.
extern QPointF gDetailCoord;

// Shows the fused preview of the whole frame, a 1:1 crop of the fusion around the clicked point and
// the preview's histogram, and fuses the full-size images on command. Main thread, but for the
// functions that say otherwise.
class PreviewWindow : public QWidget {
    Q_OBJECT

  public:
    // What happens after a full-size fusion: the rows of afterEnfusingRadioButtons.
    enum AfterEnfusing { doNothing, showInWindow, showPanorama, openWithDefaultProgram };

    explicit PreviewWindow(QWidget* parent = nullptr);
    ~PreviewWindow() override;

    void awakeFromNib();

    // The fused view's size has settled: fits the scaled copies to it (in the background, in a
    // preview turn of their own), then fuses the preview anew.
    void windowDidEndLiveResize();
    // A click, in this widget's coordinates with the origin at the bottom left.
    void mouseDown(QPointF locationInWindow);

    // Fuses the preview, then shows it and waits for that. Background thread.
    void doEnfusePreviewOnThread();
    // Shows enfuseImage and its histogram, and rebuilds the detail view.
    void updatePreviewImageOnMainThread();
    // Writes each loaded cell's crop around gDetailCoord and fuses the crops into the detail view.
    void createDetailImages();

    // Asks for a file and fuses the full-size images into it behind a modal sheet, then does what
    // afterEnfusingRadioButtons says. Returns when all is done.
    void enfuseItAction(const QObject* sender);
    // The full-size fusion's worker. Background thread.
    void doFullEnfuseOnThread(const std::shared_ptr<EnfusingProgressDialog>& dialog);

    // Opens a window on the file that the last full-size fusion was to write.
    void showOutputImage();
    // The last one opened; none when it could not be shown or has been closed.
    [[nodiscard]] OutputImageWindow* outputImageWindow() const;

    [[nodiscard]] ImageView* enfusedView() const { return enfusedView_; }
    void setEnfusedView(ImageView* view) { enfusedView_ = view; }
    [[nodiscard]] ImageView* detailView() const { return detailView_; }
    void setDetailView(ImageView* view) { detailView_ = view; }
    [[nodiscard]] HistogramView* histogramView() const { return histogramView_; }
    [[nodiscard]] QButtonGroup* afterEnfusingRadioButtons() const {
        return afterEnfusingRadioButtons_;
    }
    [[nodiscard]] QPushButton* fuseButton() const { return fuseButton_; }
    // Full-size fusion, as the button and the menu offer it: while two or more shots are in use.
    [[nodiscard]] QAction* fuseAction() const { return fuseAction_; }
    void updateFuseCommand();

    // Empties the two picture views (the histogram stays that of the last preview), and forgets the
    // fused preview: it belongs to a stack that has gone.
    void blankViews();

    // The preview last loaded. Any thread.
    [[nodiscard]] Image enfuseImage() const;
    // The bounds of the fused view in points. Any thread.
    [[nodiscard]] QSize enfusedViewSize() const;

  Q_SIGNALS:
    // A new preview, with its detail, stands on the screen.
    void previewShown();

  protected:
    void mousePressEvent(QMouseEvent* event) override;

  private:
    void makeLayout();
    QWidget* makeHistogramPanel();
    QWidget* makeOutputPanel();
    void noteViewSizes();
    void runFullSizeFusion();
    void actAfterEnfusing();
    static void showOutputAsPanorama();

    ImageView* enfusedView_ = nullptr;
    ImageView* detailView_ = nullptr;
    HistogramView* histogramView_ = nullptr;
    QButtonGroup* afterEnfusingRadioButtons_ = nullptr;
    QPushButton* fuseButton_ = nullptr;
    QAction* fuseAction_ = nullptr;
    std::atomic<bool> forgetPreview_ = false;
    std::shared_ptr<EnfusingProgressDialog> progressDialog_;
    QPointer<OutputImageWindow> outputImageWindow_;
    QTimer settled_;

    mutable std::mutex mutex_;  // guards what follows
    Image enfuseImage_;
    QImage screenImage_;
    QSize enfusedViewSize_;
};

}  // namespace lumaweave
