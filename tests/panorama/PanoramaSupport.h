// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QPointF>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "imaging/picture/Image.h"
#include "panorama/MyOpenGLView.h"
#include "panorama/VRWindow.h"

namespace lumaweave::test {

// A picture in memory whose rows are written whole, for pictures of many megapixels.
using RowWriter = std::function<void(int y, unsigned char* row)>;
[[nodiscard]] Image makeByRows(int width, int height, const PixelFormat& format,
                               const RowWriter& write);

// A picture whose pixels all differ from their neighbours: red counts columns, green rows, blue
// both.
[[nodiscard]] Image numberedPicture(int width, int height, bool alpha = false);

// An open viewer, closed and gone when this goes.
class OpenViewer {
  public:
    explicit OpenViewer(const Image& image, QSize size = {800, 600});
    ~OpenViewer();
    OpenViewer(const OpenViewer&) = delete;
    OpenViewer& operator=(const OpenViewer&) = delete;

    [[nodiscard]] VRWindow& window() const { return *window_; }
    [[nodiscard]] MyOpenGLView& view() const { return *window_->theGLView(); }
    void resize(QSize size) const;
    // Turns the sphere to these angles, as drags of the right length would.
    void lookAt(float pitch, float yaw) const;

  private:
    VRWindow* window_;
};

// A plain view in a context of its own, without a picture.
[[nodiscard]] std::unique_ptr<MyOpenGLView> shownView(QSize size = {400, 300});

// The texels of a texture of the current context, as words 0xAARRGGBB.
[[nodiscard]] std::vector<std::uint32_t> texelsOf(unsigned int texture, int width, int height);

// Presses the left button in the middle of the view, moves the mouse by each of the steps in turn,
// and lets go.
void dragMouse(QWidget& view, const std::vector<QPointF>& steps);

}  // namespace lumaweave::test
