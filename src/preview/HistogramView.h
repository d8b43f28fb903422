// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>
#include <optional>
#include <vector>

namespace lumaweave {

class Image;

// The luminance distribution of the fused preview: white bars on black, one for each point of the
// view's width, the tallest as high as the view. Shows nothing before the first picture; from then
// on the bars of the last one, whatever the view's size becomes. Main thread.
class HistogramView : public QWidget {
    Q_OBJECT

  public:
    explicit HistogramView(QWidget* parent = nullptr);

    void awakeFromNib();

    // Counts the values that the picture's file holds, not those that the screen shows.
    void createHistogramForImage(const Image& image);

    // The heights of the bars, in points; none before the first picture.
    [[nodiscard]] const std::optional<std::vector<float>>& histogramData() const {
        return histogramData_;
    }

    [[nodiscard]] QSize sizeHint() const override { return {256, 56}; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void drawRect(const QRect& dirty);

    std::optional<std::vector<float>> histogramData_;
};

}  // namespace lumaweave
