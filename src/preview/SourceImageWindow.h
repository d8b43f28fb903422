// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "preview/ImageWindow.h"

namespace Ui {
class SourceImageWindow;
}

namespace lumaweave {

class Image;
class ZoomView;

// Shows one shot at full size. Main thread.
class SourceImageWindow : public ImageWindow {
    Q_OBJECT

  public:
    SourceImageWindow();
    ~SourceImageWindow() override;

    // Shows the window with a loaded image; it lives until it is closed, whatever becomes of the
    // shot's cell meanwhile. Once; the window must have been made with new.
    void initWithImage(const Image& image, const QString& title);

    [[nodiscard]] ZoomView* theView() const;

  protected:
    void windowWillClose() override {}

  private:
    std::unique_ptr<Ui::SourceImageWindow> layout_;
};

}  // namespace lumaweave
