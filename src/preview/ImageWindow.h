// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

namespace lumaweave {

// A window that shows a picture, and deletes itself when it is closed. All kinds open in the middle
// of the screen at the size that the last one of their kind had, and Esc closes them. Main thread.
class ImageWindow : public QWidget {
    Q_OBJECT

  protected:
    // The key in the settings under which this kind of window keeps its size.
    explicit ImageWindow(const char* sizeKey);

    // Any text, as it stands.
    void setTitle(const QString& title);
    void centreAndShow();

    // The window is about to go; it is deleted once its closing has been handled.
    virtual void windowWillClose() = 0;

    void closeEvent(QCloseEvent* event) override;

  private:
    const char* sizeKey_;
};

}  // namespace lumaweave
