// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/MyOpenGLView.h"

#include <QMouseEvent>
#include <QOffscreenSurface>
#include <QOpenGLContext>

#include "panorama/Sections.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"

namespace lumaweave {

double gSphereRez = 12.0;

namespace {

constexpr float startFov = 85.0F;
constexpr float nearPlane = 10.0F;
constexpr float farPlane = 2000.0F;

// Filling the buffer takes about as long as so many sections.
constexpr int bufferSteps = 16;
constexpr int allSteps = bufferSteps + sectionCount;

}  // namespace

QSurfaceFormat panoramaFormat() {
    QSurfaceFormat format;
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    format.setVersion(2, 1);
    format.setSwapBehavior(QSurfaceFormat::DoubleBuffer);
    format.setSwapInterval(1);
    return format;
}

namespace {

std::optional<PanoramaGraphics> askForGraphics() {
    QOpenGLContext context;
    context.setFormat(panoramaFormat());
    if (!context.create() || context.isOpenGLES()) return std::nullopt;
    if (context.format().profile() == QSurfaceFormat::CoreProfile) return std::nullopt;
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!context.makeCurrent(&surface)) return std::nullopt;
    PanoramaGraphics graphics;
    glGetIntegerv(GL_MAX_RECTANGLE_TEXTURE_SIZE, &graphics.longestTextureSide);
    const bool hasTarget = context.hasExtension("GL_ARB_texture_rectangle");
    context.doneCurrent();
    return hasTarget ? std::optional(graphics) : std::nullopt;
}

}  // namespace

std::optional<PanoramaGraphics> panoramaGraphics() {
    // Asks once: a context costs much, and some drivers hang where memory for it is short.
    static const std::optional<PanoramaGraphics> graphics = askForGraphics();
    return graphics;
}

std::string openGLErrorLine(unsigned int error) {
    switch (error) {
        case GL_NO_ERROR:
            return {};
        case GL_INVALID_ENUM:
            return "OGL_CheckError: GL_INVALID_ENUM";
        case GL_INVALID_VALUE:
            return "OGL_CheckError: GL_INVALID_VALUE";
        case GL_INVALID_OPERATION:
            return "OGL_CheckError: GL_INVALID_OPERATION";
        case GL_STACK_OVERFLOW:
            return "OGL_CheckError: GL_STACK_OVERFLOW";
        case GL_STACK_UNDERFLOW:
            return "OGL_CheckError: GL_STACK_UNDERFLOW";
        case GL_OUT_OF_MEMORY:
            return "OGL_CheckError: GL_OUT_OF_MEMORY";
        default:
            return "OGL_CheckError: some other error " + std::to_string(error);
    }
}

void OGL_CheckError() {
    const std::string line = openGLErrorLine(glGetError());
    if (!line.empty()) printLine(line);
}

MyOpenGLView::MyOpenGLView(QWidget* parent) : QOpenGLWidget(parent) {
    setFormat(panoramaFormat());
    setCursor(Qt::OpenHandCursor);
    awakeFromNib();
}

MyOpenGLView::~MyOpenGLView() {
    deleteTextures();
    // The context goes after this part of the object.
    if (context() == nullptr) return;
    disconnect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &MyOpenGLView::deleteTextures);
}

void MyOpenGLView::awakeFromNib() {
    logLine(fixed_texts::panoramaViewMade);
    readyToDraw_ = false;
    rotation_ = {};
    fov_ = startFov;
}

void MyOpenGLView::initializeGL() {
    // Texture names of one context mean nothing in another.
    connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &MyOpenGLView::deleteTextures);
    prepareOpenGL();
}

// The swap interval is part of the context's format. Lighting stays off, so that the material has
// no effect; the sphere fills every direction, so that the green shows only where a texture failed.
void MyOpenGLView::prepareOpenGL() {
    constexpr GLfloat white[] = {1.0F, 1.0F, 1.0F, 1.0F};
    glDisable(GL_DEPTH_TEST);
    glShadeModel(GL_SMOOTH);
    glDisable(GL_BLEND);
    glDisable(GL_CULL_FACE);  // seen from inside; both faces are drawn
    glFrontFace(GL_CCW);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    glDisable(GL_ALPHA_TEST);
    glEnable(GL_COLOR_MATERIAL);
    glEnable(GL_NORMALIZE);
    glColorMaterial(GL_FRONT_AND_BACK, GL_AMBIENT_AND_DIFFUSE);
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT_AND_DIFFUSE, white);
    glClearColor(0.0F, 1.0F, 0.0F, 0.0F);
}

void MyOpenGLView::deleteTextures() {
    readyToDraw_ = false;
    if (context() == nullptr || textureNames_.front() == 0) return;
    makeCurrent();
    glDeleteTextures(sectionCount, textureNames_.data());
    doneCurrent();
    textureNames_ = {};
}

void MyOpenGLView::drawImageIntoBuffer(const Image& image) {
    logLine("Create buffer & image rep");
    sourceImageWidth_ = static_cast<int>(image.size().width());
    sourceImageHeight_ = static_cast<int>(image.size().height());
    const std::size_t count =
        static_cast<std::size_t>(sourceImageWidth_) * static_cast<std::size_t>(sourceImageHeight_);
    imagePixels_ = std::make_unique_for_overwrite<std::uint32_t[]>(count);
    logLine("Draw image to buffer");
    const bool sameSize =
        image.pixelsWide() == sourceImageWidth_ && image.pixelsHigh() == sourceImageHeight_;
    (sameSize ? image : image.scaled(sourceImageWidth_, sourceImageHeight_))
        .toScreen(reinterpret_cast<unsigned char*>(imagePixels_.get()), [this](double share) {
            Q_EMIT texturesProgressed(static_cast<int>(share * bufferSteps), allSteps);
        });
}

void MyOpenGLView::createTextures(const Image& image) {
    Q_EMIT texturesProgressed(0, allSteps);
    drawImageIntoBuffer(image);
    const SectionSize size = sectionSizeOf(sourceImageWidth_, sourceImageHeight_);
    textureWidth_ = size.width;
    textureHeight_ = size.height;
    printLine("section size = " + std::to_string(size.width) + " x " + std::to_string(size.height));
    deleteTextures();
    const auto section = std::make_unique_for_overwrite<std::uint32_t[]>(
        static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
    for (int k = 0; k < sectionCount; ++k) {
        copySection(imagePixels_.get(), sourceImageWidth_, size, k / sectionColumns,
                    k % sectionColumns, section.get());
        makeCurrent();
        textureNames_.at(static_cast<std::size_t>(k)) =
            makeTextureFromBuffer(section.get(), size.width, size.height);
        Q_EMIT texturesProgressed(bufferSteps + k + 1, allSteps);
    }
    makeCurrent();
    doneCurrent();
    imagePixels_.reset();
    readyToDraw_ = true;
    update();
}

unsigned int MyOpenGLView::makeTextureFromBuffer(const std::uint32_t* buffer, int width,
                                                 int height) {
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_RECTANGLE, name);
    // Neighbouring sections meet without bleeding into each other.
    glTexParameterf(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameterf(GL_TEXTURE_RECTANGLE, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameterf(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameterf(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexImage2D(GL_TEXTURE_RECTANGLE, 0, GL_RGBA8, width, height, 0, GL_BGRA,
                 GL_UNSIGNED_INT_8_8_8_8_REV, buffer);
    OGL_CheckError();
    return name;
}

void MyOpenGLView::paintGL() {
    if (!readyToDraw_) clearToBlack();
    drawRect();
}

// The view is dark until it is ready: the toolkit has filled it with the clear colour, and green
// would look like a failure.
void MyOpenGLView::clearToBlack() const {
    glPushAttrib(GL_COLOR_BUFFER_BIT);
    glClearColor(0.0F, 0.0F, 0.0F, 1.0F);
    glClear(GL_COLOR_BUFFER_BIT);
    glPopAttrib();
}

void MyOpenGLView::drawRect() {
    if (!readyToDraw_) return;
    makeCurrent();
    glClear(GL_COLOR_BUFFER_BIT);
    drawVRSphere();
}

QSize MyOpenGLView::viewport() const {
    return size() * devicePixelRatio();
}

void MyOpenGLView::drawVRSphere() {
    const QSize bounds = viewport();
    glViewport(0, 0, bounds.width(), bounds.height());
    windowAspectRatio_ = static_cast<float>(bounds.width()) / static_cast<float>(bounds.height());
    setCameraPlacementAndUpdateMatrices();
    glDisable(GL_BLEND);
    glRotatef(rotation_.cubeRotX, 1.0F, 0.0F, 0.0F);
    glRotatef(rotation_.cubeRotY, 0.0F, 1.0F, 0.0F);
    glEnable(GL_TEXTURE_RECTANGLE);
    glColor4f(1.0F, 1.0F, 1.0F, 1.0F);
    OGL_CheckError();
    for (std::size_t k = 0; k < sliceTable.size(); ++k) {
        const SliceAngles& slice = sliceTable[k];
        glBindTexture(GL_TEXTURE_RECTANGLE, textureNames_[k]);
        drawSphereSlice(slice.theta1, slice.theta2, slice.phi1, slice.phi2);
    }
}

void MyOpenGLView::drawSphereSlice(double theta1, double theta2, double phi1, double phi2) const {
    for (const TriangleStrip& strip :
         sliceStrips({theta1, theta2, phi1, phi2}, gSphereRez, textureWidth_, textureHeight_)) {
        glBegin(GL_TRIANGLE_STRIP);
        for (const SphereVertex& vertex : strip) {
            glTexCoord2f(vertex.s, vertex.t);
            glVertex3f(vertex.x, vertex.y, vertex.z);
        }
        glEnd();
    }
}

void MyOpenGLView::setCameraPlacementAndUpdateMatrices() const {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluPerspective(fov_, windowAspectRatio_, nearPlane, farPlane);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    gluLookAt(0.0F, 0.0F, 0.0F, 0.0F, 0.0F, -1.0F, 0.0F, 1.0F, 0.0F);
}

void MyOpenGLView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    dragPosition_ = event->globalPosition();
    setCursor(Qt::ClosedHandCursor);
}

void MyOpenGLView::mouseMoveEvent(QMouseEvent* event) {
    if ((event->buttons() & Qt::LeftButton) == 0) return;
    const QPointF delta = event->globalPosition() - dragPosition_;
    dragPosition_ = event->globalPosition();
    mouseDragged(delta.x(), delta.y());
}

void MyOpenGLView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) setCursor(Qt::OpenHandCursor);
}

void MyOpenGLView::mouseDragged(double deltaX, double deltaY) {
    rotation_ = dragged(rotation_, deltaX, deltaY);
    update();
}

}  // namespace lumaweave
