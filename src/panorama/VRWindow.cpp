// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/VRWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeySequence>
#include <QProgressDialog>
#include <QScreen>
#include <QShortcut>
#include <algorithm>
#include <new>
#include <string>

#include "panorama/MyOpenGLView.h"
#include "panorama/Sections.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"
#include "platform/Memory.h"
#include "stack/Alerts.h"
#include "ui_VRWindow.h"

namespace lumaweave {

namespace {

// Milliseconds.
constexpr int waitWithoutProgress = 600;

constexpr auto noOpenGL =
    "A panorama cannot be shown here: it needs OpenGL, and this display has none.  Everything else "
    "works without it.";

std::string megabytes(std::uint64_t bytes) {
    constexpr std::uint64_t million = 1'000'000;
    return std::to_string((bytes + million - 1) / million) + " MB";
}

std::string tooLittleMemory(std::uint64_t needed, std::uint64_t available) {
    return "There is not enough memory to show this image as a panorama: it takes " +
           megabytes(needed) + ", and " + megabytes(available) + " are free.";
}

std::uint64_t memoryFor(const Image& image) {
    return panoramaMemory(static_cast<int>(image.size().width()),
                          static_cast<int>(image.size().height()));
}

// Why the picture cannot be shown here; empty when it can.
std::string objectionTo(const Image& image) {
    const auto graphics = panoramaGraphics();
    if (!graphics) return noOpenGL;
    const int width = static_cast<int>(image.size().width());
    const int height = static_cast<int>(image.size().height());
    const SectionSize section = sectionSizeOf(width, height);
    if (std::max(section.width, section.height) > graphics->longestTextureSide) {
        return "This image is too long to be shown as a panorama: the graphics of this display "
               "take pictures of " +
               std::to_string(graphics->longestTextureSide * sectionColumns) + " x " +
               std::to_string(graphics->longestTextureSide * sectionRows) + " pixels at most.";
    }
    const std::uint64_t needed = memoryFor(image);
    const std::uint64_t available = availableMemory();
    return needed > available ? tooLittleMemory(needed, available) : std::string();
}

}  // namespace

namespace {

// Stays until the work is done; the user cannot close it before.
class StayingProgress : public QProgressDialog {
  public:
    using QProgressDialog::QProgressDialog;
    void reject() override {}

  protected:
    void closeEvent(QCloseEvent* event) override { event->ignore(); }
};

}  // namespace

VRWindow* VRWindow::initWithImage(const Image& image) {
    const std::string objection = objectionTo(image);
    if (!objection.empty()) {
        DoAlert(objection);
        return nullptr;
    }
    auto window = std::unique_ptr<VRWindow>(new VRWindow);
    window->centre();
    window->show();
    logLine(fixed_texts::panoramaWindowMade);
    const std::string failure = window->fill(image);
    if (failure.empty()) return window.release();
    window.reset();
    DoAlert(failure);
    return nullptr;
}

// Takes the picture in; returns why it could not, or empty.
std::string VRWindow::fill(const Image& image) {
    if (!theGLView()->isValid()) return noOpenGL;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    // Shows itself only when there is something to wait for; modal.
    StayingProgress progress(tr("Preparing the panorama…"), QString(), 0, 1, this);
    progress.setWindowModality(Qt::ApplicationModal);
    progress.setMinimumDuration(waitWithoutProgress);
    connect(theGLView(), &MyOpenGLView::texturesProgressed, &progress, [&](int done, int total) {
        progress.setMaximum(total);
        progress.setValue(done);
    });
    std::string failure;
    filling_ = true;
    try {
        theGLView()->createTextures(image);
    } catch (const std::bad_alloc&) {
        failure = tooLittleMemory(memoryFor(image), availableMemory());
    }
    filling_ = false;
    QApplication::restoreOverrideCursor();
    return failure;
}

VRWindow::VRWindow() : layout_(std::make_unique<Ui::VRWindow>()) {
    layout_->setupUi(this);
    // The program ends with its main window, whatever else is open.
    setAttribute(Qt::WA_QuitOnClose, false);
    connect(qApp, &QCoreApplication::aboutToQuit, this, [this] { delete this; });
    for (const QKeySequence& keys :
         {QKeySequence(Qt::CTRL | Qt::Key_W), QKeySequence(Qt::Key_Escape)}) {
        auto* closing = new QShortcut(keys, this);
        connect(closing, &QShortcut::activated, this, &QWidget::close);
    }
}

VRWindow::~VRWindow() = default;

MyOpenGLView* VRWindow::theGLView() const {
    return layout_->theGLView;
}

void VRWindow::setPictureName(const QString& name) {
    setWindowTitle(tr("%1 – Panorama").arg(name));
}

// In the middle of the screen, and not larger than it.
void VRWindow::centre() {
    const QRect room = screen()->availableGeometry();
    resize(size().boundedTo(room.size()));
    move(room.center() - rect().center());
}

void VRWindow::closeEvent(QCloseEvent* event) {
    if (filling_) {
        event->ignore();
        return;
    }
    windowWillClose();
    QWidget::closeEvent(event);
}

void VRWindow::windowWillClose() {
    deleteLater();
}

}  // namespace lumaweave
