// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/AutoAlignSettings.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QTest>

#include "align/AlignFixture.h"
#include "align/AlignSettings.h"
#include "settings/Preferences.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "support/SettingsFile.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::HasSubstr;
using testing::IsEmpty;

class AutoAlignSettingsTest : public AlignTest {
  protected:
    AutoAlignSettingsTest() {
        replaceAlignTool(std::string("touch '") + (folder / "ran").native() + "'\n" +
                         copyEveryInput);
    }
    [[nodiscard]] bool toolRan() const { return fs::exists(folder / "ran"); }
    // Opens the dialog as the user does, and waits for the end of all that follows.
    void open() {
        QTest::mouseClick(sources.alignButton(), Qt::LeftButton);
        EXPECT_TRUE(waitForBackgroundTasks());
    }
    static void changeEverything(const AutoAlignSettings& dialog) {
        dialog.gridSizeControl()->setValue(7);
        dialog.numControlPointsControl()->setValue(31);
        dialog.assumeFishButton()->click();
        dialog.optimizeFOVButton()->click();
    }
    static void expectFirstValues() {
        EXPECT_EQ(gAA_GridSize, 5);
        EXPECT_EQ(gAA_NumControlPoints, 8);
        EXPECT_FALSE(gAA_AssumeFullFrameFisheye);
        EXPECT_FALSE(gAA_OptimizeFOV);
    }
};

TEST_F(AutoAlignSettingsTest, ShowsWhatTheGlobalsHold) {
    dropAndWait(makeShots(2));
    gAA_GridSize = 9;
    gAA_NumControlPoints = 12;
    gAA_AssumeFullFrameFisheye = true;
    bool modal = false;
    inSettingsDialog([&modal](AutoAlignSettings& dialog) {
        modal = dialog.isModal();
        EXPECT_EQ(dialog.gridSizeControl()->value(), 9);
        EXPECT_EQ(dialog.numControlPointsControl()->value(), 12);
        EXPECT_TRUE(dialog.assumeFishButton()->isChecked());
        EXPECT_FALSE(dialog.optimizeFOVButton()->isChecked());
        button(&dialog, "cancelButton")->click();
    });
    open();
    EXPECT_TRUE(modal);
    gAA_AssumeFullFrameFisheye = false;
    gAA_OptimizeFOV = true;
    bool shown = false;
    inSettingsDialog([&shown](AutoAlignSettings& dialog) {
        shown = true;
        EXPECT_FALSE(dialog.assumeFishButton()->isChecked());
        EXPECT_TRUE(dialog.optimizeFOVButton()->isChecked());
        button(&dialog, "cancelButton")->click();
    });
    open();
    EXPECT_TRUE(shown);
}

TEST_F(AutoAlignSettingsTest, CancelKeepsTheGlobalsWritesNoPreferenceAndAlignsNothing) {
    dropAndWait(makeShots(2));
    inSettingsDialog([](AutoAlignSettings& dialog) {
        changeEverything(dialog);
        QTest::mouseClick(button(&dialog, "cancelButton"), Qt::LeftButton);
    });
    open();
    expectFirstValues();
    EXPECT_FALSE(QSettings().contains("gAA_GridSize"));
    EXPECT_FALSE(toolRan());
    EXPECT_EQ(settingsDialog(), nullptr);
}

TEST_F(AutoAlignSettingsTest, EscapeAndTheWindowsCloseButtonCancelToo) {
    dropAndWait(makeShots(2));
    const std::vector<std::function<void(AutoAlignSettings&)>> ways = {
        [](AutoAlignSettings& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); },
        [](AutoAlignSettings& dialog) { dialog.close(); }};
    for (const auto& way : ways) {
        inSettingsDialog([&way](AutoAlignSettings& dialog) {
            changeEverything(dialog);
            way(dialog);
        });
        open();
        expectFirstValues();
        EXPECT_FALSE(toolRan());
    }
}

TEST_F(AutoAlignSettingsTest, StartStoresTheControlsAndAligns) {
    dropAndWait(makeShots(2));
    inSettingsDialog([](AutoAlignSettings& dialog) {
        changeEverything(dialog);
        QTest::mouseClick(button(&dialog, "startButton"), Qt::LeftButton);
    });
    testing::internal::CaptureStdout();
    open();
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("\" -e -m -c 31 -g 7 \""));
    EXPECT_EQ(gAA_GridSize, 7);
    EXPECT_EQ(gAA_NumControlPoints, 31);
    EXPECT_TRUE(gAA_AssumeFullFrameFisheye);
    EXPECT_TRUE(gAA_OptimizeFOV);
    EXPECT_EQ(QSettings().value("gAA_GridSize"), 7);
    EXPECT_EQ(QSettings().value("gAA_NumControlPoints"), 31);
    EXPECT_EQ(QSettings().value("gAA_AssumeFullFrameFisheye"), true);
    EXPECT_EQ(QSettings().value("gAA_OptimizeFOV"), true);
    EXPECT_TRUE(toolRan());
}

// A crash during the run keeps the new settings.
TEST_F(AutoAlignSettingsTest, ThePreferencesAreSavedBeforeTheAlignmentStarts) {
    dropAndWait(makeShots(2));
    const fs::path copy = folder / "settings then";
    replaceAlignTool("cp '" + settingsFile().native() + "' '" + copy.native() + "'\n" +
                     copyEveryInput);
    inSettingsDialog([](AutoAlignSettings& dialog) {
        changeEverything(dialog);
        button(&dialog, "startButton")->click();
    });
    open();
    const QSettings then(QString::fromStdString(copy.native()), QSettings::NativeFormat);
    EXPECT_EQ(then.value("gAA_GridSize").toInt(), 7);
    EXPECT_EQ(then.value("gAA_NumControlPoints").toInt(), 31);
    EXPECT_TRUE(then.value("gAA_AssumeFullFrameFisheye").toBool());
    EXPECT_TRUE(then.value("gAA_OptimizeFOV").toBool());
}

TEST_F(AutoAlignSettingsTest, WhateverIntegersTheControlsHoldAreStoredAndPassedOn) {
    dropAndWait(makeShots(2));
    gAA_GridSize = -2147483647 - 1;
    gAA_NumControlPoints = 2147483647;
    inSettingsDialog([](AutoAlignSettings& dialog) { button(&dialog, "startButton")->click(); });
    testing::internal::CaptureStdout();
    open();
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                HasSubstr("\" -c 2147483647 -g -2147483648 \""));
    EXPECT_EQ(QSettings().value("gAA_GridSize").toInt(), -2147483647 - 1);
    inSettingsDialog([](AutoAlignSettings& dialog) {
        dialog.gridSizeControl()->setValue(0);
        dialog.numControlPointsControl()->setValue(-3);
        button(&dialog, "startButton")->click();
    });
    testing::internal::CaptureStdout();
    open();
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("\" -c -3 -g 0 \""));
    EXPECT_EQ(gAA_GridSize, 0);
    EXPECT_EQ(gAA_NumControlPoints, -3);
}

TEST_F(AutoAlignSettingsTest, ANumberThatWasTypedCountsWhenReturnStarts) {
    dropAndWait(makeShots(2));
    inSettingsDialog([](AutoAlignSettings& dialog) {
        dialog.gridSizeControl()->selectAll();
        QTest::keyClicks(dialog.gridSizeControl(), "12");
        QTest::keyClick(dialog.gridSizeControl(), Qt::Key_Return);
    });
    open();
    EXPECT_EQ(gAA_GridSize, 12);
    EXPECT_TRUE(toolRan());
}

TEST_F(AutoAlignSettingsTest, OptimisingTheFieldOfViewIsSavedButStartsEveryRunSwitchedOff) {
    dropAndWait(makeShots(2));
    inSettingsDialog([](AutoAlignSettings& dialog) {
        changeEverything(dialog);
        button(&dialog, "startButton")->click();
    });
    open();
    gAA_GridSize = 5;
    gAA_NumControlPoints = 8;
    gAA_AssumeFullFrameFisheye = gAA_OptimizeFOV = false;
    LoadPrefs();
    EXPECT_EQ(gAA_GridSize, 7);
    EXPECT_EQ(gAA_NumControlPoints, 31);
    EXPECT_TRUE(gAA_AssumeFullFrameFisheye);
    EXPECT_FALSE(gAA_OptimizeFOV);
}

TEST_F(AutoAlignSettingsTest, WithFewerThanTwoImagesNothingOpens) {
    sources.autoAlign(nullptr);
    EXPECT_FALSE(sources.alignButton()->isEnabled());
    EXPECT_FALSE(sources.alignAction()->isEnabled());
    dropAndWait(makeShots(1));
    sources.autoAlign(nullptr);
    EXPECT_FALSE(sources.alignButton()->isEnabled());
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_FALSE(toolRan());
}

TEST_F(AutoAlignSettingsTest, AligningIsOfferedWhileThereAreTwoImagesUsedOrNot) {
    dropAndWait(makeShots(2));
    EXPECT_TRUE(sources.alignButton()->isEnabled());
    EXPECT_TRUE(sources.alignAction()->isEnabled());
    cell(0).useCheckBox()->click();
    EXPECT_TRUE(sources.alignButton()->isEnabled());
    cell(1).removeCellAction(nullptr);
    EXPECT_FALSE(sources.alignButton()->isEnabled());
    EXPECT_FALSE(sources.alignAction()->isEnabled());
}

TEST_F(AutoAlignSettingsTest, TheMenuItemOpensTheDialogToo) {
    dropAndWait(makeShots(2));
    bool shown = false;
    inSettingsDialog([&shown](AutoAlignSettings& dialog) {
        shown = true;
        QTest::keyClick(&dialog, Qt::Key_Escape);
    });
    sources.alignAction()->trigger();
    EXPECT_TRUE(shown);
    EXPECT_TRUE(waitForBackgroundTasks());
}

TEST_F(AutoAlignSettingsTest, TheTabKeyGoesThroughTheControlsFromTopToBottom) {
    const AutoAlignSettings dialog;
    std::vector<std::string> names;
    const QWidget* first = dialog.gridSizeControl();
    const QWidget* next = first;
    do {
        if ((next->focusPolicy() & Qt::TabFocus) != 0 && !next->objectName().startsWith("qt_")) {
            names.push_back(next->objectName().toStdString());
        }
        next = next->nextInFocusChain();
    } while (next != first);
    EXPECT_THAT(names, testing::IsSupersetOf({"gridSizeControl", "numControlPointsControl",
                                              "assumeFishButton", "optimizeFOVButton"}));
    EXPECT_EQ(names.at(0), "gridSizeControl");
    EXPECT_EQ(names.at(1), "numControlPointsControl");
    EXPECT_EQ(names.at(2), "assumeFishButton");
    EXPECT_EQ(names.at(3), "optimizeFOVButton");
}

}  // namespace lumaweave
