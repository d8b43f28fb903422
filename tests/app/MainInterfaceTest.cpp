// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/MainInterface.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QDockWidget>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSettings>
#include <QStatusBar>
#include <QTest>
#include <map>

#include "batch/BatchSettings.h"
#include "imaging/decoding/ImageDecoder.h"
#include "preview/PreviewWindow.h"
#include "sources/SourcesWindow.h"
#include "stack/BatchActivity.h"
#include "stack/SharedState.h"
#include "stack/WorkingFiles.h"
#include "support/ProgramFixture.h"
#include "support/ShownWindow.h"
#include "widgets/ImageView.h"

namespace lumaweave {

using namespace test;

using MainInterfaceTest = ProgramTest;

TEST_F(MainInterfaceTest, EveryMenuItemHasAKeyOfItsOwn) {
    std::map<QString, int> keys;
    for (const QAction* top : windows->menuBar()->actions()) {
        for (const QAction* item : top->menu()->actions()) {
            if (item->isSeparator()) continue;
            EXPECT_FALSE(item->shortcut().isEmpty()) << item->text().toStdString();
            ++keys[item->shortcut().toString()];
        }
    }
    for (const auto& [key, count] : keys)
        EXPECT_EQ(count, 1) << key.toStdString();
}

TEST_F(MainInterfaceTest, NoTwoThingsAnswerToTheSameAltKey) {
    std::map<QChar, int> letters;
    const auto note = [&letters](const QString& text) {
        const qsizetype at = text.indexOf('&');
        if (at >= 0 && at + 1 < text.size()) ++letters[text[at + 1].toLower()];
    };
    for (const QAction* top : windows->menuBar()->actions())
        note(top->text());
    for (const auto* button : windows->findChildren<QAbstractButton*>())
        note(button->text());
    for (const auto* label : windows->findChildren<QLabel*>())
        note(label->text());
    EXPECT_EQ(letters.size(), 5U);
    for (const auto& [letter, count] : letters)
        EXPECT_EQ(count, 1) << QString(letter).toStdString();
}

TEST_F(MainInterfaceTest, OnlyWhatCanBeDoneIsInTheMenus) {
    for (const QAction* top : windows->menuBar()->actions()) {
        for (const QAction* item : top->menu()->actions()) {
            // Fusing and aligning wait for shots; everything else works at once.
            const bool waits =
                item->objectName() == "fuseAction" || item->objectName() == "alignAction";
            EXPECT_NE(item->isEnabled(), waits) << item->text().toStdString();
        }
    }
}

TEST_F(MainInterfaceTest, DocksAreHiddenTornOffAndReset) {
    for (const char* name : {"sourcesDock", "settingsDock"}) {
        auto* dock = windows->findChild<QDockWidget*>(name);
        ASSERT_NE(dock, nullptr);
        dock->toggleViewAction()->trigger();
        EXPECT_FALSE(dock->isVisible());
        windows->findChild<QAction*>(QString(name) + "TearOff")->trigger();
        EXPECT_TRUE(dock->isVisible());
        EXPECT_TRUE(dock->isFloating());
        windows->findChild<QAction*>("resetArrangementAction")->trigger();
        EXPECT_TRUE(dock->isVisible());
        EXPECT_FALSE(dock->isFloating());
    }
}

TEST_F(MainInterfaceTest, TheArrangementIsRemembered) {
    auto* dock = windows->findChild<QDockWidget*>("settingsDock");
    dock->hide();
    windows->close();
    windows.reset();
    windows = std::make_unique<MainInterface>();
    EXPECT_TRUE(windows->findChild<QDockWidget*>("settingsDock")->isHidden());
}

TEST_F(MainInterfaceTest, AboutNamesTheProgramAndItsVersion) {
    windows->findChild<QAction*>("aboutAction")->trigger();
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_THAT(alerts.texts().front(), testing::StartsWith("Lumaweave 0."));
}

TEST_F(MainInterfaceTest, FilesAddedBeforeTheFirstLayoutWaitForIt) {
    windows.reset();
    windows = std::make_unique<MainInterface>();
    windows->openFiles(makeBracket(folder.path(), 90, 60, 2));
    EXPECT_EQ(windows->sourcesWindow()->loadDialog(), nullptr);
    windows->show();
    EXPECT_TRUE(waitUntil([] { return gNumSourceImages == 2; }));
    EXPECT_TRUE(waitForBackgroundTasks());
    const Image scaled = decodeImage(GetURLToScaledSourceFile(0));
    EXPECT_EQ(scaled.pixelsWide(), windows->previewWindow()->enfusedView()->width());
}

TEST_F(MainInterfaceTest, TheMenuOffersToShowTheResultAsAPanorama) {
    const QAbstractButton* choice =
        windows->previewWindow()->afterEnfusingRadioButtons()->button(PreviewWindow::showPanorama);
    ASSERT_TRUE(choice->isEnabled());
    QAction* found = nullptr;
    for (QAction* action : windows->findChildren<QAction*>()) {
        if (action->text() == choice->text()) found = action;
    }
    ASSERT_NE(found, nullptr);
    found->trigger();
    EXPECT_TRUE(choice->isChecked());
    EXPECT_FALSE(found->shortcut().isEmpty());
}

TEST_F(MainInterfaceTest, ABatchTakesItsCommandsAwayAndTheStatusLineSaysWhenItIsBeingFinished) {
    const std::vector<QAction*> refused = {windows->findChild<QAction*>("batchAction"),
                                           windows->findChild<QAction*>("addImagesAction"),
                                           windows->findChild<QAction*>("clearAllAction")};
    BatchActivity::instance().setPhase(BatchActivity::Phase::running);
    for (const QAction* action : refused)
        EXPECT_FALSE(action->isEnabled()) << action->objectName().toStdString();
    EXPECT_FALSE(windows->sourcesWindow()->isEnabled());
    EXPECT_EQ(windows->statusBar()->currentMessage(), "");
    BatchActivity::instance().setPhase(BatchActivity::Phase::finishing);
    EXPECT_THAT(windows->statusBar()->currentMessage().toStdString(),
                testing::HasSubstr("current set is still being finished"));
    for (const QAction* action : refused)
        EXPECT_FALSE(action->isEnabled()) << action->objectName().toStdString();
    BatchActivity::instance().setPhase(BatchActivity::Phase::none);
    EXPECT_EQ(windows->statusBar()->currentMessage(), "");
    for (const QAction* action : refused)
        EXPECT_TRUE(action->isEnabled()) << action->objectName().toStdString();
    EXPECT_TRUE(windows->sourcesWindow()->isEnabled());
}

TEST_F(MainInterfaceTest, TheAlignItemHasItsKey) {
    EXPECT_EQ(windows->sourcesWindow()->alignAction()->shortcut(), QKeySequence("Ctrl+L"));
}

// All that the menu does: the dialog comes up, and Esc ends it.
TEST_F(MainInterfaceTest, TheBatchItemAsksForTheSettings) {
    bool asked = false;
    whenShown<BatchSettingsDialog>([&asked](BatchSettingsDialog& dialog) {
        asked = true;
        QTest::keyClick(&dialog, Qt::Key_Escape);
    });
    windows->findChild<QAction*>("batchAction")->trigger();
    EXPECT_TRUE(asked);
}

}  // namespace lumaweave
