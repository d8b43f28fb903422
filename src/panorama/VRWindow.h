// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>
#include <memory>
#include <string>

#include "imaging/picture/Image.h"

namespace Ui {
class VRWindow;
}

namespace lumaweave {

class MyOpenGLView;

// The window of the panorama viewer. It deletes itself when it is closed, or with the program.
// Several may be open, each with its own context, textures and view. Main thread.
class VRWindow : public QWidget {
    Q_OBJECT

  public:
    // Opens a window on the picture, taken to be an equirectangular panorama. Null, after an alert,
    // without OpenGL or memory, or for too long a picture.
    static VRWindow* initWithImage(const Image& image);

    ~VRWindow() override;

    [[nodiscard]] MyOpenGLView* theGLView() const;
    // Names the picture in the title.
    void setPictureName(const QString& name);

    // The window closes: it deletes itself, from the event loop.
    void windowWillClose();

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    VRWindow();
    void centre();
    std::string fill(const Image& image);

    std::unique_ptr<Ui::VRWindow> layout_;
    bool filling_ = false;  // taking the picture in: the window stays
};

}  // namespace lumaweave
