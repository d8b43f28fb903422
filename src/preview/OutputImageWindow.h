// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "preview/ImageWindow.h"

namespace Ui {
class OutputImageWindow;
}

namespace lumaweave {

class Image;
class ZoomView;

// Shows the file that a full-size fusion has written. Main thread.
class OutputImageWindow : public ImageWindow {
    Q_OBJECT

  public:
    OutputImageWindow();
    ~OutputImageWindow() override;

    // Loads the file at gEnfuseSavePath, in the background, and then shows the window, which lives
    // until it is closed. If the file cannot be loaded, an alert says so, and the window deletes
    // itself without being shown. Once; the window must have been made with new.
    void init();

    [[nodiscard]] ZoomView* theView() const;

  protected:
    void windowWillClose() override;

  private:
    class BusyPointer;

    void showImage(const Image& image);

    std::unique_ptr<Ui::OutputImageWindow> layout_;
    std::unique_ptr<BusyPointer> loading_;
};

}  // namespace lumaweave
