// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QString>
#include <QWidget>

namespace lumaweave {

// Shows a picture with its aspect ratio kept, centred, on a neutral ground; without one, a line of
// text that says what will be there. Takes screen colours (Image::toScreen). Mouse events go to the
// parent. Main thread.
class ImageView : public QWidget {
    Q_OBJECT

  public:
    // fill: as large as fits. shrink: never larger than its own pixels.
    enum class Fit { fill, shrink };

    explicit ImageView(QWidget* parent = nullptr);

    // A null image empties the view.
    void setImage(const QImage& image);
    [[nodiscard]] const QImage& image() const { return image_; }
    void setFit(Fit fit);
    void setPlaceholder(const QString& text);

    // Where the picture lies in a view of this size.
    [[nodiscard]] static QRectF fittedRectangle(QSizeF picture, QSizeF view, Fit fit);

    // What pictures lie on: a grey without a tint, as dark or light as the theme.
    [[nodiscard]] static QColor ground(const QPalette& palette);

    [[nodiscard]] QSize sizeHint() const override { return {480, 320}; }

  Q_SIGNALS:
    void resized();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    QImage image_;
    QString placeholder_;
    Fit fit_ = Fit::fill;
};

}  // namespace lumaweave
