// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QOpenGLWidget>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "imaging/picture/Image.h"
#include "panorama/OpenGLMath.h"
#include "panorama/SphereGeometry.h"

namespace lumaweave {

// Tessellation of the sphere; nothing changes it.
extern double gSphereRez;

// The kind of OpenGL context that a panorama is drawn with: fixed-function drawing, two buffers,
// the swap held until the display's vertical retrace.
[[nodiscard]] QSurfaceFormat panoramaFormat();

// What the graphics of this display can do.
struct PanoramaGraphics {
    int longestTextureSide = 0;  // pixels
};
// None when there is no OpenGL that can draw a panorama. Main thread.
[[nodiscard]] std::optional<PanoramaGraphics> panoramaGraphics();

// The line to print for an error code of OpenGL; empty for GL_NO_ERROR.
[[nodiscard]] std::string openGLErrorLine(unsigned int error);
// Reads one pending error of the current context and prints its line.
void OGL_CheckError();

// Shows a panorama from the inside of a textured sphere that a drag turns. Main thread. The context
// is there once the view is shown; every call that uses OpenGL needs it. Textures go with the view.
class MyOpenGLView : public QOpenGLWidget {
    Q_OBJECT

  public:
    explicit MyOpenGLView(QWidget* parent = nullptr);
    ~MyOpenGLView() override;

    void awakeFromNib();
    // The one-time state of the context.
    void prepareOpenGL();

    // Fills imagePixels with the picture in screen colours, at its size in points without
    // fractions. Throws std::bad_alloc when there is no memory for it.
    void drawImageIntoBuffer(const Image& image);
    // Cuts the picture into the 32 textures, and asks for a redraw. Frees the pixels as soon as the
    // textures hold them. Throws std::bad_alloc.
    void createTextures(const Image& image);
    // Uploads width x height words 0xAARRGGBB; returns the texture's name.
    unsigned int makeTextureFromBuffer(const std::uint32_t* buffer, int width, int height);

    // Draws one frame, if there are textures.
    void drawRect();
    void drawVRSphere();
    void drawSphereSlice(double theta1, double theta2, double phi1, double phi2) const;
    void setCameraPlacementAndUpdateMatrices() const;
    // A drag by so many points; right and down are positive.
    void mouseDragged(double deltaX, double deltaY);

    [[nodiscard]] bool readyToDraw() const { return readyToDraw_; }
    [[nodiscard]] float cubeRotX() const { return rotation_.cubeRotX; }
    [[nodiscard]] float cubeRotY() const { return rotation_.cubeRotY; }
    [[nodiscard]] float fov() const { return fov_; }
    [[nodiscard]] float windowAspectRatio() const { return windowAspectRatio_; }
    [[nodiscard]] const std::uint32_t* imagePixels() const { return imagePixels_.get(); }
    [[nodiscard]] int sourceImageWidth() const { return sourceImageWidth_; }
    [[nodiscard]] int sourceImageHeight() const { return sourceImageHeight_; }
    [[nodiscard]] const std::array<unsigned int, sectionCount>& textureNames() const {
        return textureNames_;
    }
    [[nodiscard]] int textureWidth() const { return textureWidth_; }
    [[nodiscard]] int textureHeight() const { return textureHeight_; }
    // The pixels that are drawn on: the bounds in points, times the screen's scale factor.
    [[nodiscard]] QSize viewport() const;

    [[nodiscard]] QSize sizeHint() const override { return {1024, 640}; }

  Q_SIGNALS:
    // How far createTextures has come. Listeners may run events, and leave another context current.
    void texturesProgressed(int done, int total);

  protected:
    void initializeGL() override;
    void paintGL() override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    void clearToBlack() const;
    void deleteTextures();

    bool readyToDraw_ = false;
    SphereRotation rotation_;
    float fov_ = 85.0F;
    float windowAspectRatio_ = 0.0F;
    std::unique_ptr<std::uint32_t[]> imagePixels_;
    int sourceImageWidth_ = 0;
    int sourceImageHeight_ = 0;
    std::array<unsigned int, sectionCount> textureNames_{};
    int textureWidth_ = 0;
    int textureHeight_ = 0;
    QPointF dragPosition_;
};

}  // namespace lumaweave
