// SPDX-License-Identifier: GPL-3.0-or-later
#include "PanoramaSupport.h"

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <QApplication>
#include <QMouseEvent>
#include <QPointer>
#include <QTest>

#include "imaging/picture/PixelData.h"
#include "support/ShownWindow.h"
#include "support/Waiting.h"

namespace {

// Keeps the software driver loaded to the end: the suppressions know what it leaves behind by its
// name.
[[maybe_unused]] void* const driver =
    dlopen("/usr/lib/x86_64-linux-gnu/dri/swrast_dri.so", RTLD_LAZY | RTLD_NODELETE);

}  // namespace

namespace lumaweave::test {

Image makeByRows(int width, int height, const PixelFormat& format, const RowWriter& write) {
    PixelBuffer buffer(width, height, format);
    for (int y = 0; y < height; ++y)
        write(y, buffer.row<unsigned char>(y));
    return std::move(buffer).finish();
}

Image numberedPicture(int width, int height, bool alpha) {
    return makeByRows(width, height, {3, alpha, SampleType::uint8}, [=](int y, unsigned char* to) {
        for (int x = 0; x < width; ++x) {
            *to++ = static_cast<unsigned char>(x);
            *to++ = static_cast<unsigned char>(y);
            *to++ = static_cast<unsigned char>((x >> 8) * 16 + (y >> 8));
            if (alpha) *to++ = static_cast<unsigned char>(x * 7 + y * 3);
        }
    });
}

OpenViewer::OpenViewer(const Image& image, QSize size) : window_(VRWindow::initWithImage(image)) {
    if (window_ == nullptr) throw std::runtime_error("the viewer did not open");
    EXPECT_TRUE(QTest::qWaitForWindowExposed(window_));
    resize(size);
}

OpenViewer::~OpenViewer() {
    const QPointer<VRWindow> gone = window_;
    window_->close();
    EXPECT_TRUE(waitUntilGone(gone));
}

void OpenViewer::resize(QSize size) const {
    window_->resize(size);
    EXPECT_TRUE(waitUntil([this, size] { return view().size() == size; }));
}

void OpenViewer::lookAt(float pitch, float yaw) const {
    constexpr double pointsPerDegree = 2.5;
    const auto turn = static_cast<double>(yaw - view().cubeRotY()) * pointsPerDegree;
    const auto lift = static_cast<double>(pitch - view().cubeRotX()) * pointsPerDegree;
    view().mouseDragged(turn, lift);
}

std::unique_ptr<MyOpenGLView> shownView(QSize size) {
    auto view = std::make_unique<MyOpenGLView>();
    view->resize(size);
    view->show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    return view;
}

std::vector<std::uint32_t> texelsOf(unsigned int texture, int width, int height) {
    std::vector<std::uint32_t> texels(static_cast<std::size_t>(width) *
                                      static_cast<std::size_t>(height));
    glBindTexture(GL_TEXTURE_RECTANGLE, texture);
    glGetTexImage(GL_TEXTURE_RECTANGLE, 0, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, texels.data());
    return texels;
}

void dragMouse(QWidget& view, const std::vector<QPointF>& steps) {
    QPointF at = view.rect().center();
    const auto send = [&](QEvent::Type type, Qt::MouseButton button, Qt::MouseButtons held) {
        QMouseEvent event(type, at, view.mapToGlobal(at), button, held, Qt::NoModifier);
        QApplication::sendEvent(&view, &event);
    };
    send(QEvent::MouseButtonPress, Qt::LeftButton, Qt::LeftButton);
    for (const QPointF& step : steps) {
        at += step;
        send(QEvent::MouseMove, Qt::NoButton, Qt::LeftButton);
    }
    send(QEvent::MouseButtonRelease, Qt::LeftButton, Qt::NoButton);
}

}  // namespace lumaweave::test
