// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QAction;
class QLabel;
class QToolButton;

namespace lumaweave {

class ElidedLabel;
class ZoomView;

// The commands of a ZoomView as buttons that name their keys, the zoom, and what the picture is.
// The keys work in the whole window. Main thread.
class ZoomBar : public QWidget {
    Q_OBJECT

  public:
    explicit ZoomBar(QWidget* parent = nullptr);

    // Once. The view must live as long as the bar.
    void setView(ZoomView* view);

    [[nodiscard]] QLabel* zoomLabel() const { return zoomLabel_; }

  private:
    QAction* addCommand(const QString& name, const QString& text, const QString& toolTip,
                        const QList<QKeySequence>& keys);
    void showZoom();
    void showImage();

    ZoomView* view_ = nullptr;
    QAction* fitAction_ = nullptr;
    QAction* actualSizeAction_ = nullptr;
    QAction* zoomOutAction_ = nullptr;
    QAction* zoomInAction_ = nullptr;
    QLabel* zoomLabel_ = nullptr;
    ElidedLabel* imageLabel_ = nullptr;
};

}  // namespace lumaweave
