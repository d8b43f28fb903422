// SPDX-License-Identifier: GPL-3.0-or-later

// How the rest of the program opens panoramas.

#include <gmock/gmock.h>

#include <QAction>
#include <QButtonGroup>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QRadioButton>
#include <QTest>
#include <QToolButton>

#include "PanoramaSupport.h"
#include "preview/PreviewWindow.h"
#include "sources/SourceCellViewController.h"
#include "support/FakeTools.h"
#include "support/InProcessWith.h"
#include "support/ShownWindow.h"
#include "support/WindowsFixture.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class PanoramaProgramTest : public WindowsTest {
  protected:
    ~PanoramaProgramTest() override {
        for (VRWindow* viewer : viewers())
            viewer->close();
        EXPECT_TRUE(waitUntil([] { return viewers().isEmpty(); }));
    }

    static QList<VRWindow*> viewers() { return allWindows<VRWindow>(); }
    [[nodiscard]] QToolButton* panoramaButton(int index) const {
        return cell(index).view()->findChild<QToolButton*>("panoramaButton");
    }
    void chooseAfterEnfusing(int row) const {
        windows->previewWindow()->afterEnfusingRadioButtons()->button(row)->click();
    }
    void loadShots() { dropAndWait(makeBracket(folder.path(), 640, 320, 2)); }
};

}  // namespace

TEST_F(PanoramaProgramTest, ACellsButtonOpensItsImage) {
    loadShots();
    ASSERT_TRUE(panoramaButton(1)->isVisible());
    QTest::mouseClick(panoramaButton(1), Qt::LeftButton);
    ASSERT_EQ(viewers().size(), 1);
    const VRWindow& viewer = *viewers().front();
    EXPECT_EQ(viewer.windowTitle(), "shot 1.jpg – Panorama");
    EXPECT_EQ(viewer.theGLView()->textureWidth(), 80);
    EXPECT_EQ(viewer.theGLView()->textureHeight(), 80);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(PanoramaProgramTest, OnlyCellsThatHoldAnImageHaveTheButton) {
    loadShots();
    EXPECT_TRUE(panoramaButton(0)->isVisible());
    EXPECT_FALSE(panoramaButton(2)->isVisible());
    cell(0).removeCellAction(nullptr);
    EXPECT_FALSE(panoramaButton(0)->isVisible());
}

TEST_F(PanoramaProgramTest, AnEmptyCellOpensNothing) {
    cell(3).vrAction(nullptr);
    EXPECT_THAT(viewers(), IsEmpty());
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(PanoramaProgramTest, AViewerOutlivesTheCellsImage) {
    loadShots();
    cell(0).vrAction(nullptr);
    cell(0).vrAction(nullptr);
    ASSERT_EQ(viewers().size(), 2);
    cell(0).removeCellAction(nullptr);
    const QImage frame = viewers().front()->theGLView()->grabFramebuffer();
    EXPECT_EQ(frame, viewers().back()->theGLView()->grabFramebuffer());
    EXPECT_NE(frame.pixel(9, 9), qRgb(0, 255, 0));
}

TEST_F(PanoramaProgramTest, TheThirdChoiceOpensTheResultAsAPanorama) {
    copyWithTool();
    loadShots();
    chooseAfterEnfusing(PreviewWindow::showPanorama);
    fuseFullSize(folder / "round.tif");
    ASSERT_EQ(viewers().size(), 1);
    EXPECT_EQ(viewers().front()->windowTitle(), "round.tif – Panorama");
    EXPECT_TRUE(viewers().front()->theGLView()->readyToDraw());
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(PanoramaProgramTest, WithAnUnreadableResultNoViewerOpensAndNoMessageIsShown) {
    copyWithTool();
    loadShots();
    replaceFusionTool(std::string(takeArguments) + "echo nothing to see > \"$out\"\n");
    // What the fusion itself says about such a result.
    chooseAfterEnfusing(PreviewWindow::doNothing);
    fuseFullSize(folder / "kept.tif");
    const auto ofTheFusion = alerts.texts();
    alerts.forget();
    chooseAfterEnfusing(PreviewWindow::showPanorama);
    fuseFullSize(folder / "round.tif");
    EXPECT_TRUE(fs::exists(folder / "round.tif"));
    EXPECT_THAT(viewers(), IsEmpty());
    EXPECT_EQ(alerts.texts(), ofTheFusion);
}

TEST_F(PanoramaProgramTest, OtherChoicesOpenNoPanorama) {
    copyWithTool();
    loadShots();
    chooseAfterEnfusing(PreviewWindow::doNothing);
    fuseFullSize(folder / "round.tif");
    EXPECT_THAT(viewers(), IsEmpty());
}

TEST_F(PanoramaProgramTest, WithoutOpenGLTheRestOfTheProgramGoesOn) {
    if (!inProcessWith("QT_XCB_GL_INTEGRATION", "none")) return;
    copyWithTool();
    loadShots();
    QTest::mouseClick(panoramaButton(0), Qt::LeftButton);
    EXPECT_THAT(viewers(), IsEmpty());
    EXPECT_EQ(alerts.texts().size(), 1U);
    chooseAfterEnfusing(PreviewWindow::showPanorama);
    fuseFullSize(folder / "round.tif");
    EXPECT_EQ(alerts.texts().size(), 2U);
    EXPECT_TRUE(fs::exists(folder / "round.tif"));
    alerts.forget();
    chooseAfterEnfusing(PreviewWindow::doNothing);
    fuseFullSize(folder / "again.tif");
    EXPECT_TRUE(fs::exists(folder / "again.tif"));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_FALSE(windows->previewWindow()->enfuseImage().isNull());
}

}  // namespace lumaweave
