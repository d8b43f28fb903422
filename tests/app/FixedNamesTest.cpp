// SPDX-License-Identifier: GPL-3.0-or-later

// Names that stay although nothing in the program calls them: accessors of the controls, of a
// cell's fields and of the feed's text. Whoever looks for unused code finds them here.

#include <gmock/gmock.h>

#include "app/AppDelegate.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "support/Pictures.h"
#include "support/ProgramFixture.h"
#include "widgets/FloatSlider.h"
#include "widgets/ImageView.h"

namespace lumaweave {

using namespace test;

class FixedNamesTest : public ProgramTest {
  protected:
    // A setter only replaces what its getter gives.
    template <typename Owner, typename Value, typename Setter>
    static void expectPair(Owner& owner, Value* (Owner::*getter)() const, Setter setter) {
        Value* before = (owner.*getter)();
        ASSERT_NE(before, nullptr);
        (owner.*setter)(nullptr);
        EXPECT_EQ((owner.*getter)(), nullptr);
        (owner.*setter)(before);
        EXPECT_EQ((owner.*getter)(), before);
    }
};

TEST_F(FixedNamesTest, TheSettingsPanelsControlsCanBeReplaced) {
    using Panel = EnfuseSettingsWindow;
    Panel& panel = *windows->settingsPanel();
    expectPair(panel, &Panel::exposureSigma, &Panel::setExposureSigma);
    expectPair(panel, &Panel::exposureMu, &Panel::setExposureMu);
    expectPair(panel, &Panel::exposureWeightMenu, &Panel::setExposureWeightMenu);
    expectPair(panel, &Panel::saturationWeightMenu, &Panel::setSaturationWeightMenu);
    expectPair(panel, &Panel::contrastWeightMenu, &Panel::setContrastWeightMenu);
    expectPair(panel, &Panel::entropyWeightMenu, &Panel::setEntropyWeightMenu);
    expectPair(panel, &Panel::contrastWindowSizeMenu, &Panel::setContrastWindowSizeMenu);
    expectPair(panel, &Panel::imageCacheSizeMenu, &Panel::setImageCacheSizeMenu);
    expectPair(panel, &Panel::hardMaskButton, &Panel::setHardMaskButton);
    expectPair(panel, &Panel::blend180Button, &Panel::setBlend180Button);
    expectPair(panel, &Panel::CIECAM02Button, &Panel::setCIECAM02Button);
    expectPair(panel, &Panel::preserveEXIFCheckBox, &Panel::setPreserveEXIFCheckBox);
    expectPair(panel, &Panel::contrastMinCurvatureSlider, &Panel::setContrastMinCurvatureSlider);
    expectPair(panel, &Panel::entropyWindowSizeSlider, &Panel::setEntropyWindowSizeSlider);
    expectPair(panel, &Panel::blendingPyramidSlider, &Panel::setBlendingPyramidSlider);
    expectPair(panel, &Panel::outputDepthMatrix, &Panel::setOutputDepthMatrix);
}

TEST_F(FixedNamesTest, ThePreviewsViewsCanBeReplaced) {
    PreviewWindow& preview = *windows->previewWindow();
    expectPair(preview, &PreviewWindow::enfusedView, &PreviewWindow::setEnfusedView);
    expectPair(preview, &PreviewWindow::detailView, &PreviewWindow::setDetailView);
}

TEST_F(FixedNamesTest, TheSourcesWindowsSwitchCanBeReplaced) {
    expectPair(*windows->sourcesWindow(), &SourcesWindow::ensureValidTIFFFilesCheckBox,
               &SourcesWindow::setEnsureValidTIFFFilesCheckBox);
}

TEST_F(FixedNamesTest, ACellsFieldsCanBeSetOneByOne) {
    SourceCellViewController& shown = cell(3);
    const Image image = makeImage(6, 4, {}, sceneAt(1));
    shown.setTheImage(image);
    EXPECT_TRUE(shown.theImage().sharesPixelsWith(image));
    shown.setUrlToOriginalFile("/a");
    shown.setUrlToImageFile("/b");
    shown.setUrlToScaledSourceFile("/c");
    shown.setUrlToDetailImageFile("/d");
    EXPECT_EQ(shown.urlToOriginalFile(), "/a");
    EXPECT_EQ(shown.urlToImageFile(), "/b");
    EXPECT_EQ(shown.urlToScaledSourceFile(), "/c");
    EXPECT_EQ(shown.urlToDetailImageFile(), "/d");
    EXPECT_EQ(shown.cellNum(), 3);
    shown.showSourceFullSizeAction(nullptr);
}

TEST_F(FixedNamesTest, TheFeedsTextIsNoneBetweenTwoFeeds) {
    delegate->didStartDocument();
    EXPECT_EQ(delegate->currentXMLString(), std::nullopt);
    delegate->didStartElement("message");
    delegate->foundCharacters("ne");
    delegate->foundCharacters("ws");
    EXPECT_EQ(delegate->currentXMLString(), QString("news"));
}

}  // namespace lumaweave
