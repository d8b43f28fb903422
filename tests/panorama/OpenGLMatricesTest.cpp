// SPDX-License-Identifier: GPL-3.0-or-later

// What the viewer's matrix functions leave in a real context, beside what the utility library
// leaves there.

#include <GL/glu.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "PanoramaSupport.h"
#include "panorama/OpenGLMath.h"

namespace lumaweave {

using namespace test;

namespace {

using Matrix = std::array<double, 16>;

class OpenGLMatrices : public testing::Test {
  protected:
    OpenGLMatrices() { view_->makeCurrent(); }
    ~OpenGLMatrices() override { view_->doneCurrent(); }

    static Matrix currentMatrix(GLenum which) {
        Matrix matrix{};
        glGetDoublev(which, matrix.data());
        return matrix;
    }
    // What the call makes of a matrix that is not the identity.
    static Matrix after(const std::function<void()>& call) {
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glTranslatef(1.0F, 2.0F, 3.0F);
        glRotatef(30.0F, 1.0F, 1.0F, 0.0F);
        call();
        return currentMatrix(GL_MODELVIEW_MATRIX);
    }
    // Single precision: a few units in the last place of the largest element.
    static void expectSame(const Matrix& ours, const Matrix& reference, double scale = 1) {
        for (std::size_t i = 0; i < ours.size(); ++i)
            EXPECT_NEAR(ours.at(i), reference.at(i), scale * 1e-5) << "element " << i;
    }

    std::unique_ptr<MyOpenGLView> view_ = shownView();
};

}  // namespace

TEST_F(OpenGLMatrices, GluPerspectiveIsThePublishedOne) {
    for (const float aspect : {1.3333334F, 0.25F, 4.0F}) {
        for (const float fovy : {85.0F, 20.0F, 140.0F}) {
            const Matrix ours =
                after([=] { lumaweave::gluPerspective(fovy, aspect, 10.0F, 2000.0F); });
            const Matrix reference = after([=] {
                ::gluPerspective(static_cast<double>(fovy), static_cast<double>(aspect), 10, 2000);
            });
            expectSame(ours, reference, 25);
        }
    }
}

TEST_F(OpenGLMatrices, GluLookAtIsThePublishedOne) {
    const std::array<std::array<float, 9>, 4> cameras = {{
        {0, 0, 0, 0, 0, -1, 0, 1, 0},
        {0, 0, 0, 5, 0, 0, 0, 1, 0},
        {1, 2, 3, -4, 5, 6, 0, 1, 0},
        {-7, 0.5F, 2, 0, 0, 0, 0.3F, 2.5F, -1},
    }};
    for (const auto& c : cameras) {
        const Matrix ours = after(
            [&c] { lumaweave::gluLookAt(c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8]); });
        std::array<double, 9> d{};
        std::copy(c.begin(), c.end(), d.begin());
        const Matrix reference =
            after([&d] { ::gluLookAt(d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7], d[8]); });
        expectSame(ours, reference);
    }
}

TEST_F(OpenGLMatrices, AFrameLoadsThePerspectiveAndTheTurnedCamera) {
    const OpenViewer viewer(numberedPicture(64, 32), {800, 600});
    viewer.lookAt(-20.0F, 110.0F);
    viewer.view().drawRect();
    const Matrix projection = currentMatrix(GL_PROJECTION_MATRIX);
    const Matrix camera = currentMatrix(GL_MODELVIEW_MATRIX);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    ::gluPerspective(85.0, 4.0 / 3.0, 10.0, 2000.0);
    expectSame(projection, currentMatrix(GL_PROJECTION_MATRIX), 25);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glRotated(-20.0, 1.0, 0.0, 0.0);
    glRotated(110.0, 0.0, 1.0, 0.0);
    expectSame(camera, currentMatrix(GL_MODELVIEW_MATRIX));
    std::array<GLint, 4> viewport{};
    glGetIntegerv(GL_VIEWPORT, viewport.data());
    EXPECT_EQ(viewport, (std::array<GLint, 4>{0, 0, 800, 600}));
    EXPECT_EQ(viewer.view().windowAspectRatio(), 1.3333334F);
    viewer.view().doneCurrent();
}

}  // namespace lumaweave
