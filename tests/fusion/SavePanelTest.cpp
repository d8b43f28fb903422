// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/SavePanel.h"

#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <filesystem>

#include "platform/ShellQuoting.h"
#include "support/AlertAnswerer.h"
#include "support/TestFolder.h"
#include "support/WindowsFixture.h"

namespace lumaweave {

namespace fs = std::filesystem;

class SavePanelTest : public testing::Test {
  protected:
    ~SavePanelTest() override { setSaveFilenameChooser({}); }

    test::PresentedAlerts presented;
    test::AlertAnswerer alerts;
    test::TestFolder folder;
};

TEST_F(SavePanelTest, TheSavePanelAddsTheEnding) {
    const std::vector<std::pair<std::string, std::string>> names = {{"x", "x.tif"},
                                                                    {"shot.2024", "shot.2024.tif"},
                                                                    {"y.tif", "y.tif"},
                                                                    {"y.TIFF", "y.TIFF"},
                                                                    {"z.jpg", "z.jpg.tif"}};
    for (const auto& [typed, saved] : names) {
        setSaveFilenameChooser([&, name = typed] { return folder / name; });
        EXPECT_EQ(AskForSaveFilename(), folder / saved);
    }
}

TEST_F(SavePanelTest, CancellingTheSavePanelGivesNoPath) {
    setSaveFilenameChooser([] { return fs::path(); });
    EXPECT_TRUE(AskForSaveFilename().empty());
}

TEST_F(SavePanelTest, TheRealSavePanelTakesATypedName) {
    fs::current_path(folder.path());
    QString title;
    QMetaObject::invokeMethod(
        qApp,
        [&] {
            auto* panel = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            ASSERT_NE(panel, nullptr);
            title = panel->windowTitle();
            panel->findChild<QLineEdit*>()->setText("typed name");
            static_cast<QDialog*>(panel)->accept();
        },
        Qt::QueuedConnection);
    EXPECT_EQ(AskForSaveFilename(), folder / "typed name.tif");
    EXPECT_EQ(title, "Save Enfused File As...");
}

TEST_F(SavePanelTest, TheRealSavePanelCanBeCancelled) {
    QMetaObject::invokeMethod(
        qApp, [] { qobject_cast<QFileDialog*>(QApplication::activeModalWidget())->reject(); },
        Qt::QueuedConnection);
    EXPECT_TRUE(AskForSaveFilename().empty());
}

TEST_F(SavePanelTest, AnExistingFileIsOnlyTakenWhenThePersonAgrees) {
    folder.write("old.tif", "old");
    int asked = 0;
    alerts.answer = [&asked](QMessageBox* box) {
        box->button(++asked == 1 ? QMessageBox::No : QMessageBox::Yes)->click();
    };
    int chosen = 0;
    setSaveFilenameChooser([&] {
        ++chosen;
        return folder / "old";
    });
    EXPECT_EQ(AskForSaveFilename(), folder / "old.tif");
    EXPECT_EQ(chosen, 2);
    EXPECT_THAT(alerts.texts(), testing::Each("\"old.tif\" already exists.  Replace it?"));
    EXPECT_EQ(test::readFile(folder / "old.tif"), "old");
}

TEST_F(SavePanelTest, ASavePathThatTheShellActsOnIsRefusedByNameAndAskedForAgain) {
    const std::vector<std::pair<std::string, std::string>> names = {
        {"$(touch x)", "a dollar sign ($)"},
        {"a\"b", "a double quote (\")"},
        {"a`id`b", "a back-quote (`)"},
        {"a\\b", "a backslash (\\)"},
        {"a\nb", "a line break"}};
    for (const auto& [name, character] : names) {
        alerts.forget();
        int calls = 0;
        setSaveFilenameChooser(
            [&, bad = name] { return ++calls == 1 ? folder / bad : folder / "good"; });
        EXPECT_EQ(AskForSaveFilename(), folder / "good.tif");
        ASSERT_EQ(alerts.texts().size(), 1U);
        EXPECT_THAT(alerts.texts().front(), testing::HasSubstr(character));
    }
}

TEST_F(SavePanelTest, ASavePathThatIsTooLongToQuoteIsRefusedAndAskedForAgain) {
    int calls = 0;
    setSaveFilenameChooser([&]() -> fs::path {
        return ++calls == 1 ? fs::path("/" + std::string(longestQuotablePath, 'x'))
                            : folder / "good";
    });
    EXPECT_EQ(AskForSaveFilename(), folder / "good.tif");
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_THAT(alerts.texts().front(), testing::HasSubstr("too long"));
}

}  // namespace lumaweave
