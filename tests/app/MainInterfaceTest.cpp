#include "app/MainInterface.h"

#include <QAbstractButton>
#include <QDockWidget>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSettings>
#include <map>

#include "support/ProgramFixture.h"

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
            // Fusing and aligning wait for shots; everything else can be done at once.
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

}  // namespace lumaweave
