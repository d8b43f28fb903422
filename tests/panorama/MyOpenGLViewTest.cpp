// SPDX-License-Identifier: GPL-3.0-or-later
#include "panorama/MyOpenGLView.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QOpenGLContext>
#include <QTest>
#include <algorithm>
#include <vector>

#include "PanoramaSupport.h"
#include "imaging/picture/PixelData.h"
#include "stack/SharedState.h"
#include "support/Colours.h"
#include "support/InProcessWith.h"
#include "support/LogRecorder.h"
#include "support/Pictures.h"
#include "support/Printed.h"
#include "support/Waiting.h"

namespace lumaweave {

using namespace test;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class MyOpenGLViewTest : public testing::Test {
  protected:
    static GLint textureParameter(GLenum name) {
        GLint value = 0;
        glGetTexParameteriv(GL_TEXTURE_RECTANGLE, name, &value);
        return value;
    }
    static GLint levelParameter(GLenum name) {
        GLint value = 0;
        glGetTexLevelParameteriv(GL_TEXTURE_RECTANGLE, 0, name, &value);
        return value;
    }

    LogRecorder log;
};

}  // namespace

TEST_F(MyOpenGLViewTest, AwakesNotReadyAndLookingStraightAhead) {
    const MyOpenGLView view;
    EXPECT_THAT(log.lines(), ElementsAre("MyOpenGLView : awakeFromNib"));
    EXPECT_FALSE(view.readyToDraw());
    EXPECT_EQ(view.cubeRotX(), 0.0F);
    EXPECT_EQ(view.cubeRotY(), 0.0F);
    EXPECT_EQ(view.fov(), 85.0F);
}

TEST_F(MyOpenGLViewTest, TheContextIsSetUpForFixedFunctionDrawing) {
    const auto view = shownView();
    view->makeCurrent();
    for (const GLenum off : {GL_DEPTH_TEST, GL_BLEND, GL_CULL_FACE, GL_ALPHA_TEST, GL_LIGHTING})
        EXPECT_EQ(glIsEnabled(off), GL_FALSE) << off;
    for (const GLenum on : {GL_COLOR_MATERIAL, GL_NORMALIZE})
        EXPECT_EQ(glIsEnabled(on), GL_TRUE) << on;
    const auto integer = [](GLenum name) {
        std::array<GLint, 4> value{};
        glGetIntegerv(name, value.data());
        return value[0];
    };
    EXPECT_EQ(integer(GL_SHADE_MODEL), GL_SMOOTH);
    EXPECT_EQ(integer(GL_FRONT_FACE), GL_CCW);
    EXPECT_EQ(integer(GL_POLYGON_MODE), GL_FILL);
    EXPECT_EQ(integer(GL_COLOR_MATERIAL_FACE), GL_FRONT_AND_BACK);
    EXPECT_EQ(integer(GL_COLOR_MATERIAL_PARAMETER), GL_AMBIENT_AND_DIFFUSE);
    for (const GLenum what : {GL_AMBIENT, GL_DIFFUSE}) {
        std::array<GLfloat, 4> material{};
        glGetMaterialfv(GL_FRONT, what, material.data());
        EXPECT_THAT(material, Each(1.0F));
    }
    std::array<GLfloat, 4> clear{};
    glGetFloatv(GL_COLOR_CLEAR_VALUE, clear.data());
    EXPECT_THAT(clear, ElementsAre(0.0F, 1.0F, 0.0F, 0.0F));
    EXPECT_EQ(view->format().swapInterval(), 1);
    EXPECT_EQ(view->format().swapBehavior(), QSurfaceFormat::DoubleBuffer);
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, AViewIsBlackUntilItIsReadyAndKeepsItsClearColour) {
    const auto view = shownView();
    const QImage shown = view->grabFramebuffer();
    EXPECT_EQ(middleOf(shown), QColor(Qt::black));
    view->makeCurrent();
    std::array<GLfloat, 4> clearColour{};
    glGetFloatv(GL_COLOR_CLEAR_VALUE, clearColour.data());
    EXPECT_THAT(clearColour, ElementsAre(0.0F, 1.0F, 0.0F, 0.0F));
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, TheBufferHoldsThePictureInRowsFromTheTop) {
    MyOpenGLView view;
    view.drawImageIntoBuffer(numberedPicture(40, 20));
    EXPECT_EQ(view.sourceImageWidth(), 40);
    EXPECT_EQ(view.sourceImageHeight(), 20);
    EXPECT_THAT(log.lines(), ElementsAre("MyOpenGLView : awakeFromNib", "Create buffer & image rep",
                                         "Draw image to buffer"));
    const auto* bytes = reinterpret_cast<const unsigned char*>(view.imagePixels());
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 40; ++x) {
            const unsigned char* pixel = bytes + 4 * (y * 40 + x);
            EXPECT_EQ(pixel[0], x);
            EXPECT_EQ(pixel[1], y);
            EXPECT_EQ(pixel[2], 0);
            EXPECT_EQ(pixel[3], 255);
        }
    }
}

TEST_F(MyOpenGLViewTest, TheSizeInPointsCountsWithoutFractions) {
    Image image = numberedPicture(40, 20);
    image.setSize({20.9, 10.7});
    MyOpenGLView view;
    view.drawImageIntoBuffer(image);
    EXPECT_EQ(view.sourceImageWidth(), 20);
    EXPECT_EQ(view.sourceImageHeight(), 10);
    // The whole picture, made smaller.
    const auto* last = reinterpret_cast<const unsigned char*>(view.imagePixels() + 199);
    EXPECT_NEAR(last[0], 38.5, 1);
    EXPECT_NEAR(last[1], 18.5, 1);
}

TEST_F(MyOpenGLViewTest, A4000By2000ImageMakes32TexturesOf500By500) {
    const auto view = shownView();
    const std::string printed =
        printedWhile([&view] { view->createTextures(numberedPicture(4000, 2000)); });
    EXPECT_THAT(printed, HasSubstr("section size = 500 x 500\n"));
    EXPECT_TRUE(view->readyToDraw());
    EXPECT_EQ(view->textureWidth(), 500);
    EXPECT_EQ(view->textureHeight(), 500);
    view->makeCurrent();
    for (const unsigned int name : view->textureNames()) {
        EXPECT_EQ(glIsTexture(name), GL_TRUE);
        glBindTexture(GL_TEXTURE_RECTANGLE, name);
        EXPECT_EQ(levelParameter(GL_TEXTURE_WIDTH), 500);
        EXPECT_EQ(levelParameter(GL_TEXTURE_HEIGHT), 500);
        EXPECT_EQ(levelParameter(GL_TEXTURE_INTERNAL_FORMAT), GL_RGBA8);
        EXPECT_EQ(textureParameter(GL_TEXTURE_MIN_FILTER), GL_LINEAR);
        EXPECT_EQ(textureParameter(GL_TEXTURE_MAG_FILTER), GL_LINEAR);
        EXPECT_EQ(textureParameter(GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);
        EXPECT_EQ(textureParameter(GL_TEXTURE_WRAP_T), GL_CLAMP_TO_EDGE);
    }
    EXPECT_EQ(std::set(view->textureNames().begin(), view->textureNames().end()).size(), 32U);
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, TheRestOf4003By2002IsLeftOut) {
    const auto view = shownView();
    const std::string printed =
        printedWhile([&view] { view->createTextures(numberedPicture(4003, 2002)); });
    EXPECT_THAT(printed, HasSubstr("section size = 500 x 500\n"));
    view->makeCurrent();
    const auto last = texelsOf(view->textureNames().back(), 500, 500).back();
    // The pixel at (3999, 1999): 3 columns and 2 rows before the picture's last.
    EXPECT_EQ(last, 0xFF000000U | (3999 & 255) << 16 | (1999 & 255) << 8 | (15 * 16 + 7));
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, EveryTexelIsThePicturesPixel) {
    constexpr int width = 64;
    constexpr int height = 36;
    const auto view = shownView();
    view->createTextures(numberedPicture(width, height));
    view->makeCurrent();
    for (int k = 0; k < 32; ++k) {
        const auto texels = texelsOf(view->textureNames().at(static_cast<std::size_t>(k)), 8, 9);
        for (int y = 0; y < 9; ++y) {
            for (int x = 0; x < 8; ++x) {
                EXPECT_EQ(texels[static_cast<std::size_t>(y * 8 + x)],
                          0xFF000000U | static_cast<unsigned>(k % 8 * 8 + x) << 16 |
                              static_cast<unsigned>(k / 8 * 9 + y) << 8);
            }
        }
    }
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, TransparentAreasAreShownOpaque) {
    const auto view = shownView();
    view->createTextures(numberedPicture(64, 32, true));
    view->makeCurrent();
    for (const unsigned int name : view->textureNames()) {
        for (const std::uint32_t texel : texelsOf(name, 8, 8))
            EXPECT_EQ(texel >> 24, 255U);
    }
    EXPECT_EQ(texelsOf(view->textureNames().front(), 8, 8).front(), 0xFF000000U);
    EXPECT_EQ(texelsOf(view->textureNames().front(), 8, 8).at(9), 0xFF010100U);
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, ThePixelsAreLetGoOnceTheTexturesHoldThem) {
    const auto view = shownView();
    view->createTextures(numberedPicture(64, 32));
    EXPECT_EQ(view->imagePixels(), nullptr);
}

// The view tells each step, whoever runs events or another context meanwhile.
TEST_F(MyOpenGLViewTest, TheWorkOnTheTexturesIsToldStepByStep) {
    const auto view = shownView();
    const auto other = shownView();
    std::vector<int> steps;
    int whole = 0;
    QObject::connect(view.get(), &MyOpenGLView::texturesProgressed, [&](int done, int total) {
        steps.push_back(done);
        whole = total;
        QApplication::processEvents();
        other->makeCurrent();
    });
    view->createTextures(numberedPicture(640, 320));
    ASSERT_GE(steps.size(), 33U) << "the start, what of the picture is done, and each section";
    EXPECT_EQ(steps.front(), 0);
    EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
    EXPECT_EQ(steps.back(), whole);
    EXPECT_EQ(QImage(view->grabFramebuffer()).size(), view->size());
}

TEST_F(MyOpenGLViewTest, TinyImagesMakeEmptyTexturesAndNoCrash) {
    for (const QSize size : {QSize(7, 100), QSize(100, 3), QSize(1, 1)}) {
        const auto view = shownView();
        view->createTextures(numberedPicture(size.width(), size.height()));
        EXPECT_TRUE(view->readyToDraw());
        EXPECT_EQ(view->textureWidth() * view->textureHeight(), 0);
        view->makeCurrent();
        for (const unsigned int name : view->textureNames()) {
            EXPECT_EQ(glIsTexture(name), GL_TRUE);
            glBindTexture(GL_TEXTURE_RECTANGLE, name);
            EXPECT_EQ(levelParameter(GL_TEXTURE_WIDTH) * levelParameter(GL_TEXTURE_HEIGHT), 0);
        }
        view->doneCurrent();
        EXPECT_FALSE(view->grabFramebuffer().isNull());
    }
}

TEST_F(MyOpenGLViewTest, DrawsNothingAtAllBeforeItIsReady) {
    const auto view = shownView();
    view->makeCurrent();
    glClearColor(0.25F, 0.5F, 0.75F, 1.0F);
    glClear(GL_COLOR_BUFFER_BIT);
    glClearColor(0.0F, 1.0F, 0.0F, 0.0F);
    view->drawRect();
    std::array<unsigned char, 4> pixel{};
    glReadPixels(5, 5, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
    EXPECT_NEAR(pixel[0], 64, 1);
    EXPECT_NEAR(pixel[1], 128, 1);
    EXPECT_NEAR(pixel[2], 191, 1);
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, WhereNothingIsDrawnTheGroundIsGreen) {
    const double resolution = gSphereRez;
    const auto view = shownView();
    view->createTextures(numberedPicture(64, 32));
    gSphereRez = 0;
    const QImage frame = view->grabFramebuffer();
    gSphereRez = resolution;
    EXPECT_EQ(qRed(frame.pixel(9, 9)), 0);
    EXPECT_EQ(qGreen(frame.pixel(9, 9)), 255);
    EXPECT_EQ(qBlue(frame.pixel(9, 9)), 0);
}

// The view looks at a mark half way down the picture, at three quarters of its width.
TEST_F(MyOpenGLViewTest, StartsAtThreeQuartersOfTheWidthAndHalfTheHeight) {
    const Image image = makeByRows(1600, 800, {}, [](int y, unsigned char* row) {
        std::fill_n(row, 3 * 1600, static_cast<unsigned char>(60));
        if (std::abs(y - 400) < 12) std::fill_n(row + 3 * (1200 - 12), 3 * 24, 255);
    });
    const auto view = shownView({601, 401});
    view->createTextures(image);
    const QImage frame = view->grabFramebuffer();
    QPointF sum;
    int count = 0;
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            if (qRed(frame.pixel(x, y)) < 160) continue;
            sum += QPointF(x, y);
            ++count;
        }
    }
    ASSERT_GT(count, 50);
    EXPECT_NEAR(sum.x() / count, 300, 0.6);
    EXPECT_NEAR(sum.y() / count, 200, 0.6);
}

TEST_F(MyOpenGLViewTest, OnePendingErrorIsReadAndPrintedAtATime) {
    const auto view = shownView();
    view->makeCurrent();
    EXPECT_EQ(printedWhile(OGL_CheckError), "");
    glEnable(0x12345);
    EXPECT_EQ(printedWhile(OGL_CheckError), "OGL_CheckError: GL_INVALID_ENUM\n");
    EXPECT_EQ(printedWhile(OGL_CheckError), "");
    glViewport(0, 0, -1, -1);
    EXPECT_EQ(printedWhile(OGL_CheckError), "OGL_CheckError: GL_INVALID_VALUE\n");
    glEnd();
    EXPECT_EQ(printedWhile(OGL_CheckError), "OGL_CheckError: GL_INVALID_OPERATION\n");
    glMatrixMode(GL_PROJECTION);
    for (int i = 0; i < 200; ++i)
        glPushMatrix();
    EXPECT_EQ(printedWhile(OGL_CheckError), "OGL_CheckError: GL_STACK_OVERFLOW\n");
    for (int i = 0; i < 300; ++i)
        glPopMatrix();
    EXPECT_EQ(printedWhile(OGL_CheckError), "OGL_CheckError: GL_STACK_UNDERFLOW\n");
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, EveryErrorHasItsLine) {
    EXPECT_EQ(openGLErrorLine(GL_NO_ERROR), "");
    EXPECT_EQ(openGLErrorLine(GL_INVALID_ENUM), "OGL_CheckError: GL_INVALID_ENUM");
    EXPECT_EQ(openGLErrorLine(GL_INVALID_VALUE), "OGL_CheckError: GL_INVALID_VALUE");
    EXPECT_EQ(openGLErrorLine(GL_INVALID_OPERATION), "OGL_CheckError: GL_INVALID_OPERATION");
    EXPECT_EQ(openGLErrorLine(GL_STACK_OVERFLOW), "OGL_CheckError: GL_STACK_OVERFLOW");
    EXPECT_EQ(openGLErrorLine(GL_STACK_UNDERFLOW), "OGL_CheckError: GL_STACK_UNDERFLOW");
    EXPECT_EQ(openGLErrorLine(GL_OUT_OF_MEMORY), "OGL_CheckError: GL_OUT_OF_MEMORY");
    EXPECT_EQ(openGLErrorLine(1286), "OGL_CheckError: some other error 1286");
}

TEST_F(MyOpenGLViewTest, AnUploadThatFailsIsOnlyPrinted) {
    const auto view = shownView();
    view->makeCurrent();
    const std::uint32_t texel = 0;
    unsigned int name = 0;
    EXPECT_EQ(printedWhile([&] { name = view->makeTextureFromBuffer(&texel, -1, 1); }),
              "OGL_CheckError: GL_INVALID_VALUE\n");
    EXPECT_NE(name, 0U);
    glDeleteTextures(1, &name);
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, AFrameChecksForErrorsOnce) {
    const auto view = shownView();
    view->createTextures(numberedPicture(64, 32));
    view->makeCurrent();
    glEnable(0x12345);
    EXPECT_EQ(printedWhile([&view] { view->drawRect(); }), "OGL_CheckError: GL_INVALID_ENUM\n");
    view->doneCurrent();
}

TEST_F(MyOpenGLViewTest, ADragWithTheMouseTurnsTheSphere) {
    const auto view = shownView();
    view->createTextures(numberedPicture(640, 320));
    const QImage before = view->grabFramebuffer();
    dragMouse(*view, {{60, 0}, {40, 0}, {0, -50}});
    EXPECT_EQ(view->cubeRotY(), 40.0F);
    EXPECT_EQ(view->cubeRotX(), -20.0F);
    EXPECT_NE(view->grabFramebuffer(), before);
}

TEST_F(MyOpenGLViewTest, MovingWithoutTheLeftButtonTurnsNothing) {
    const auto view = shownView();
    QTest::mouseMove(view.get(), {50, 50});
    QTest::mouseMove(view.get(), {150, 90});
    QTest::mousePress(view.get(), Qt::RightButton, {}, {50, 50});
    QTest::mouseMove(view.get(), {150, 90});
    QTest::mouseRelease(view.get(), Qt::RightButton, {}, {150, 90});
    EXPECT_EQ(view->cubeRotX(), 0.0F);
    EXPECT_EQ(view->cubeRotY(), 0.0F);
}

TEST_F(MyOpenGLViewTest, ADragIsSeenOnTheScreen) {
    const auto view = shownView();
    view->createTextures(numberedPicture(640, 320));
    int frames = 0;
    QObject::connect(view.get(), &QOpenGLWidget::frameSwapped, [&frames] { ++frames; });
    ASSERT_TRUE(waitUntil([&frames] { return frames > 0; }));
    frames = 0;
    view->mouseDragged(10, 10);
    EXPECT_TRUE(waitUntil([&frames] { return frames > 0; }));
}

TEST_F(MyOpenGLViewTest, AResizeIsAllThatANewShapeNeeds) {
    const auto view = shownView({400, 300});
    view->createTextures(numberedPicture(640, 320));
    EXPECT_EQ(view->grabFramebuffer().size(), QSize(400, 300));
    view->resize(300, 600);
    ASSERT_TRUE(waitUntil([&view] { return view->windowAspectRatio() == 0.5F; }));
    EXPECT_EQ(view->grabFramebuffer().size(), QSize(300, 600));
}

// At a scale factor of 1 the viewport is the view's bounds.
TEST_F(MyOpenGLViewTest, TheViewportIsTheBoundsAtScaleFactor1) {
    const auto view = shownView({803, 611});
    EXPECT_EQ(view->viewport(), QSize(803, 611));
}

// Above 1 the picture still fills the view, and in the screen's own pixels: a fine pattern keeps
// its contrast from one pixel to the next, which a magnified frame would lose.
TEST_F(MyOpenGLViewTest, AtScaleFactor2ThePictureFillsTheViewSharply) {
    if (!inProcessWith("QT_SCALE_FACTOR", "2")) return;
    const auto view = shownView({400, 300});
    ASSERT_EQ(view->devicePixelRatio(), 2.0);
    EXPECT_EQ(view->viewport(), QSize(800, 600));
    view->createTextures(makeByRows(8192, 4096, {}, [](int, unsigned char* row) {
        for (int x = 0; x < 8192; ++x)
            std::fill_n(row + 3 * x, 3, static_cast<unsigned char>(x / 20 % 2 == 0 ? 255 : 0));
    }));
    const QImage frame = view->grabFramebuffer();
    ASSERT_EQ(frame.size(), QSize(800, 600));
    int green = 0;
    for (int y = 0; y < 600; ++y) {
        for (int x = 0; x < 800; ++x)
            green += frame.pixel(x, y) == qRgb(0, 255, 0) ? 1 : 0;
    }
    EXPECT_EQ(green, 0);
    // In the middle a stripe of 20 texels is some 4 pixels wide, and its border 1.
    int steep = 0;
    for (int x = 350; x < 450; ++x) {
        const int step = std::abs(qRed(frame.pixel(x, 300)) - qRed(frame.pixel(x - 1, 300)));
        steep += step > 120 ? 1 : 0;
    }
    EXPECT_GT(steep, 15);
    // The screen shows that frame.
    view->repaint();
    EXPECT_EQ(view->windowAspectRatio(), 4.0F / 3.0F);
}

TEST_F(MyOpenGLViewTest, NewTexturesTakeThePlaceOfTheOldOnes) {
    const auto view = shownView();
    for (int i = 0; i < 3; ++i)
        view->createTextures(numberedPicture(64, 32));
    view->makeCurrent();
    int alive = 0;
    for (unsigned int name = 1; name < 1000; ++name)
        alive += glIsTexture(name) == GL_TRUE ? 1 : 0;
    EXPECT_GE(alive, 32);
    EXPECT_LT(alive, 64);  // the toolkit has some of its own
    view->doneCurrent();
}

}  // namespace lumaweave
