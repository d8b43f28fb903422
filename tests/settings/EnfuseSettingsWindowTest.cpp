// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/EnfuseSettingsWindow.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSettings>
#include <QTest>
#include <QWheelEvent>

#include "settings/Preferences.h"
#include "stack/SharedState.h"
#include "support/Printed.h"
#include "support/WindowsFixture.h"
#include "widgets/FloatSlider.h"

namespace lumaweave {

using namespace test;

class SettingsTest : public WindowsTest {
  protected:
    SettingsTest() : panel(*windows->settingsPanel()) {}

    void loadShots(int count) {
        dropAndWait(makeBracket(folder.path(), 90, 60, count));
        copyWithTool();
    }

    // How many previews this action of the user starts.
    static std::size_t previewsStartedBy(const std::function<void()>& action) {
        const std::string output = printedWhile([&action] {
            action();
            EXPECT_TRUE(waitForBackgroundTasks());
        });
        return echoedCommands(output, "EnfusedPreview.tif").size();
    }

    EnfuseSettingsWindow& panel;
};

TEST_F(SettingsTest, RegistersItself) {
    EXPECT_EQ(gEnfuseSettingsPanel, &panel);
}

TEST_F(SettingsTest, FirstValuesAreThoseOfTheTool) {
    const FusionSettings first = panel.settings();
    EXPECT_EQ(first.exposureSigma, 0.2F);
    EXPECT_EQ(first.exposureMu, 0.5F);
    EXPECT_EQ(first.exposureWeight, 0);
    EXPECT_EQ(first.saturationWeight, 0);
    EXPECT_EQ(first.contrastWeight, 0);
    EXPECT_EQ(first.entropyWeight, 0);
    EXPECT_EQ(first.contrastWindowSize, 0);
    EXPECT_EQ(first.imageCacheSize, 0);
    EXPECT_EQ(first.blendingPyramid, 0);
    EXPECT_FALSE(first.hardMask || first.blend180 || first.ciecam02);
    EXPECT_EQ(first.outputDepthRow, 1);
}

TEST_F(SettingsTest, WeightMenusGoFromDefaultToOne) {
    QStringList titles = {"Default"};
    for (int tenths = 0; tenths <= 10; ++tenths) {
        titles << QLocale().toString(tenths / 10.0, 'f', 1);
    }
    for (const QComboBox* menu : {panel.exposureWeightMenu(), panel.saturationWeightMenu(),
                                  panel.contrastWeightMenu(), panel.entropyWeightMenu()}) {
        QStringList items;
        for (int i = 0; i < menu->count(); ++i)
            items << menu->itemText(i);
        EXPECT_EQ(items, titles);
    }
}

TEST_F(SettingsTest, EveryControlSaysWhatItDoes) {
    for (QWidget* control : panel.findChildren<QWidget*>()) {
        const bool isControl = qobject_cast<QAbstractButton*>(control) != nullptr ||
                               qobject_cast<QComboBox*>(control) != nullptr ||
                               qobject_cast<FloatSlider*>(control) != nullptr;
        if (!isControl) continue;
        EXPECT_FALSE(control->toolTip().isEmpty()) << control->objectName().toStdString();
    }
}

TEST_F(SettingsTest, TheValueStandsBesideEachSlider) {
    const auto* value = panel.findChild<QLabel*>("exposureMuValue");
    EXPECT_EQ(value->text(), QLocale().toString(0.5, 'f', 2));
    panel.exposureMu()->setFloatValue(0.73F);
    EXPECT_EQ(value->text(), QLocale().toString(0.73, 'f', 2));
}

TEST_F(SettingsTest, WithFewerThanTwoShotsAChangeOnlySavesThePreferences) {
    dropAndWait(makeBracket(folder.path(), 90, 60, 1));
    EXPECT_EQ(previewsStartedBy([&] { panel.hardMaskButton()->click(); }), 0U);
    EXPECT_EQ(QSettings().value("hardMaskButton").toInt(), 1);
    EXPECT_TRUE(alerts.texts().empty());
}

TEST_F(SettingsTest, TheResetButtonChangesOnlySigmaAndMuAndStartsOnePreview) {
    loadShots(2);
    panel.exposureSigma()->setFloatValue(0.9F);
    panel.exposureMu()->setFloatValue(0.1F);
    panel.blendingPyramidSlider()->setFloatValue(4);
    panel.contrastWeightMenu()->setCurrentIndex(5);
    EXPECT_EQ(previewsStartedBy([&] {
                  QTest::mouseClick(button(&panel, "resetExposureButton"), Qt::LeftButton);
              }),
              1U);
    const FusionSettings now = panel.settings();
    EXPECT_EQ(now.exposureSigma, 0.2F);
    EXPECT_EQ(now.exposureMu, 0.5F);
    EXPECT_EQ(now.blendingPyramid, 4);
    EXPECT_EQ(now.contrastWeight, 5);
    EXPECT_EQ(QSettings().value("exposureSigma").toFloat(), 0.2F);
}

TEST_F(SettingsTest, TogglingTheExifBoxStartsAPreviewLikeAnyOtherChange) {
    loadShots(2);
    EXPECT_EQ(previewsStartedBy([&] { panel.preserveEXIFCheckBox()->click(); }), 1U);
    EXPECT_EQ(QSettings().value("preserveEXIFCheckBox").toInt(), 0);
}

TEST_F(SettingsTest, EveryControlStartsOnePreview) {
    loadShots(2);
    for (FloatSlider* slider :
         {panel.exposureSigma(), panel.exposureMu(), panel.contrastMinCurvatureSlider(),
          panel.entropyWindowSizeSlider(), panel.blendingPyramidSlider()}) {
        EXPECT_EQ(previewsStartedBy([&] { QTest::keyClick(slider, Qt::Key_Right); }), 1U)
            << slider->objectName().toStdString();
    }
    for (QComboBox* menu : panel.findChildren<QComboBox*>()) {
        EXPECT_EQ(previewsStartedBy([&] { QTest::keyClick(menu, Qt::Key_Down); }), 1U)
            << menu->objectName().toStdString();
    }
    for (QCheckBox* box :
         {panel.hardMaskButton(), panel.blend180Button(), panel.CIECAM02Button()}) {
        EXPECT_EQ(previewsStartedBy([&] {
                      QTest::mouseClick(box, Qt::LeftButton, {}, {8, 8});
                  }),
                  1U)
            << box->objectName().toStdString();
    }
    EXPECT_EQ(previewsStartedBy([&] { panel.outputDepthMatrix()->button(2)->click(); }), 1U);
    EXPECT_EQ(panel.settings().outputDepthRow, 2);
}

TEST_F(SettingsTest, AWheelOverAMenuWithoutFocusChangesNothing) {
    QComboBox* menu = panel.contrastWeightMenu();
    menu->setCurrentIndex(4);
    panel.exposureMu()->setFocus();
    QWheelEvent wheel(QPointF(5, 5), menu->mapToGlobal(QPointF(5, 5)), {}, {0, -120}, {}, {},
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(menu, &wheel);
    EXPECT_EQ(menu->currentIndex(), 4);
}

TEST_F(SettingsTest, SettingControlsFromCodeFiresNoAction) {
    loadShots(2);
    EXPECT_EQ(previewsStartedBy([&] {
                  panel.exposureSigma()->setFloatValue(0.7F);
                  panel.exposureWeightMenu()->setCurrentIndex(3);
                  panel.hardMaskButton()->setChecked(true);
                  LoadPrefs();
              }),
              0U);
}

TEST_F(SettingsTest, TheGettersAndSettersOnlyKeepTheReference) {
    auto* slider = panel.exposureMu();
    FloatSlider other;
    panel.setExposureMu(&other);
    EXPECT_EQ(panel.exposureMu(), &other);
    panel.setExposureMu(slider);
}

TEST_F(SettingsTest, AWorkerGetsTheValuesOfTheMoment) {
    panel.exposureMu()->setFloatValue(0.37F);
    EXPECT_EQ(currentFusionSettings().exposureMu, 0.37F);
}

TEST_F(SettingsTest, SavedValuesComeBackInANewPanel) {
    panel.exposureSigma()->setFloatValue(0.37F);
    panel.blendingPyramidSlider()->setFloatValue(5);
    panel.saturationWeightMenu()->setCurrentIndex(4);
    panel.blend180Button()->setChecked(true);
    ASSERT_TRUE(SavePrefs());
    const EnfuseSettingsWindow second;
    EXPECT_EQ(second.settings().exposureSigma, 0.37F);
    EXPECT_EQ(second.settings().blendingPyramid, 5);
    EXPECT_EQ(second.settings().saturationWeight, 4);
    EXPECT_TRUE(second.settings().blend180);
    gEnfuseSettingsPanel = &panel;
}

}  // namespace lumaweave
