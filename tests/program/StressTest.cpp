// SPDX-License-Identifier: GPL-3.0-or-later

// Everything at once: settings change, shots are switched and removed, the window resizes and
// clicks land while fusions run. What counts is that nothing hangs, crashes or races (the sanitised
// suites run it too), and that the last state is the one on the screen.

#include <QCheckBox>
#include <QComboBox>
#include <QTest>
#include <QToolButton>
#include <random>

#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/DecodedShot.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "support/AlertTexts.h"
#include "support/ProgramFixture.h"
#include "widgets/FloatSlider.h"
#include "widgets/ImageView.h"

namespace lumaweave {

using namespace test;

class StressTest : public ProgramTest {
  protected:
    void actOnce(std::mt19937& random) {
        PreviewWindow& preview = *windows->previewWindow();
        const EnfuseSettingsWindow& panel = *windows->settingsPanel();
        const int index = static_cast<int>(random() % 8);
        switch (random() % 9) {
            case 0:
                QTest::keyClick(panel.exposureMu(),
                                random() % 2 != 0 ? Qt::Key_Left : Qt::Key_Right);
                break;
            case 1:
                QTest::mouseClick(panel.hardMaskButton(), Qt::LeftButton, {}, {8, 8});
                break;
            case 2:
                cell(index).useCheckBox()->click();
                break;
            case 3:
                if (gNumSourceImages > 3) {
                    cell(index).view()->findChild<QToolButton*>("removeButton")->click();
                }
                break;
            case 4:
                windows->resize(1000 + static_cast<int>(random() % 500), 700);
                break;
            case 5:
                preview.windowDidEndLiveResize();
                break;
            case 6:
            case 7:
                QTest::mouseClick(preview.enfusedView(), Qt::LeftButton, {},
                                  QPoint(static_cast<int>(random() % 600), 100));
                break;
            default:
                // One more than sixteen would leave the sheet for the user to dismiss.
                if (gNumSourceImages < sourceCellCount) {
                    windows->openFiles({shots_[static_cast<std::size_t>(index)]});
                }
                break;
        }
        // Bounded: every request waits for its turn, and there is no use in ever longer queues.
        EXPECT_TRUE(waitUntil([] { return runningBackgroundTasks() < 12; }));
    }

    void stress(int actions) {
        shots_ = makeBracket(folder.path(), 240, 160, 8);
        dropAndWait(shots_);
        std::mt19937 random(20);
        for (int i = 0; i < actions; ++i)
            actOnce(random);
        ASSERT_TRUE(waitForBackgroundTasks());
    }

    std::vector<std::filesystem::path> shots_;
};

TEST_F(StressTest, WithAQuickTool) {
    copyWithTool();
    stress(150);
    int filled = 0;
    for (int i = 0; i < sourceCellCount; ++i) {
        if (!cell(i).urlToImageFile().empty()) ++filled;
        EXPECT_EQ(cell(i).urlToImageFile().empty(), cell(i).theImage().isNull()) << i;
    }
    EXPECT_EQ(gNumSourceImages, filled);
    // With fewer than two shots in use there may be no preview to find; no other alert may come.
    EXPECT_THAT(alerts.texts(), testing::Each(previewNotFound));
}

TEST_F(StressTest, WithTheRealToolTheLastStateIsShown) {
    stress(40);
    for (int i = 0; i < sourceCellCount; ++i)
        cell(i).setEnabled(true);
    windows->previewWindow()->windowDidEndLiveResize();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(windows->previewWindow()->enfusedView()->image().size(),
              fittedPixels({240, 160}, windows->previewWindow()->enfusedView()->size()));
}

// Fewer than two enabled shots start no preview; two whose copies are being rewritten raise no
// alert.
TEST_F(StressTest, ResizingWhileFusingRaisesNoAlert) {
    dropAndWait(makeBracket(folder.path(), 240, 160, 4));
    for (int i = 0; i < 10; ++i) {
        windows->settingsPanel()->changedSettingValue(nullptr);
        windows->resize(1000 + 40 * i, 700);
        windows->previewWindow()->windowDidEndLiveResize();
    }
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(alerts.texts(), testing::IsEmpty());
}

}  // namespace lumaweave
