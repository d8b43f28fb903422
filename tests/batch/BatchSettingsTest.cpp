// SPDX-License-Identifier: GPL-3.0-or-later

// What comes before a batch: its settings, the choice of the folder, and what keeps it from
// starting.

#include <unistd.h>

#include <QAction>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>

#include "batch/BatchFixture.h"
#include "batch/BatchState.h"
#include "stack/SharedState.h"
#include "support/ShownWindow.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class BatchSettingsTest : public BatchTest {
  protected:
    static QFileDialog* panel() { return shown<QFileDialog>(); }
    static void press(QDialogButtonBox::StandardButton which) {
        auto* box = panel()->findChild<QDialogButtonBox*>();
        QTest::mouseClick(box->button(which), Qt::LeftButton);
    }
    // Enters the path in the real panel, and opens it.
    static void choose(const fs::path& path) {
        auto* edit = panel()->findChild<QLineEdit*>("fileNameEdit");
        // At once: the completion would add to typed text.
        edit->setText(QString::fromStdString(path.native()));
        press(QDialogButtonBox::Open);
    }
    void expectNothingWasStarted() const {
        EXPECT_THAT(alerts.texts(), IsEmpty());
        EXPECT_FALSE(fs::exists(photos() / "Enfused Files"));
        EXPECT_FALSE(gDoingBatch);
        expectAtRest();
    }
};

TEST_F(BatchSettingsTest, CancellingTheSettingsStoresNothing) {
    const int before = gNumImagesInBatchSet;
    whenShown<BatchSettingsDialog>([](BatchSettingsDialog& dialog) {
        dialog.bracketCount()->setValue(9);
        QTest::mouseClick(button(&dialog, "cancelButton"), Qt::LeftButton);
    });
    fuseFolder();
    EXPECT_EQ(gNumImagesInBatchSet, before);
    EXPECT_EQ(timesAsked, 0);
}

TEST_F(BatchSettingsTest, TheSettingsTakeNoNumberBelowOne) {
    BatchSettingsDialog dialog;
    dialog.bracketCount()->setValue(0);
    EXPECT_EQ(dialog.bracketCount()->value(), 1);
    EXPECT_GE(dialog.bracketCount()->maximum(), 17);
}

TEST_F(BatchSettingsTest, ANumberBelowOneCannotBeTypedEither) {
    BatchSettingsDialog dialog;
    dialog.show();
    for (const char* typed : {"0", "-3", "", "abc"}) {
        dialog.bracketCount()->selectAll();
        QTest::keyClicks(dialog.bracketCount(), typed);
        QTest::keyClick(dialog.bracketCount(), Qt::Key_Tab);
        EXPECT_GE(dialog.bracketCount()->value(), 1) << typed;
    }
}

TEST_F(BatchSettingsTest, EscStoresNothingAndAsksForNoFolder) {
    const bool before = gAutoAlignDuringBatch;
    whenShown<BatchSettingsDialog>([](BatchSettingsDialog& dialog) {
        dialog.autoAlignCheckBox()->toggle();
        QTest::keyClick(&dialog, Qt::Key_Escape);
    });
    fuseFolder();
    EXPECT_EQ(gAutoAlignDuringBatch, before);
    EXPECT_EQ(timesAsked, 0);
}

TEST_F(BatchSettingsTest, TheSettingsOfTheLastBatchAreOfferedAgain) {
    batch(5, true);
    EXPECT_EQ(gNumImagesInBatchSet, 5);
    EXPECT_TRUE(gAutoAlignDuringBatch);
    const BatchSettingsDialog dialog;
    EXPECT_EQ(dialog.bracketCount()->value(), 5);
    EXPECT_TRUE(dialog.autoAlignCheckBox()->isChecked());
}

TEST_F(BatchSettingsTest, TheFolderIsChosenInAPanelOfItsTitle) {
    makeFiles({"a.jpg", "b.jpg"});
    copyWithTool();
    setBatchFolderChooser({});
    QString title;
    whenShown<QFileDialog>([&](const QFileDialog& dialog) {
        title = dialog.windowTitle();
        choose(photos());
    });
    batch(2);
    EXPECT_EQ(title, "Select Folder to Batch...");
    EXPECT_EQ(gBatchFolderPath, photos());
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
    // The next panel opens where this was.
    whenShown<QFileDialog>([this](const QFileDialog& dialog) {
        EXPECT_EQ(dialog.directory().path().toStdString(), photos().native());
        press(QDialogButtonBox::Cancel);
    });
    batch(2);
}

TEST_F(BatchSettingsTest, CancellingThePanelStartsNothing) {
    makeFiles({"a.jpg", "b.jpg"});
    setBatchFolderChooser({});
    whenShown<QFileDialog>([](const QFileDialog&) { press(QDialogButtonBox::Cancel); });
    batch(2);
    expectNothingWasStarted();
    EXPECT_EQ(gNumImagesInBatchSet, 2);
}

TEST_F(BatchSettingsTest, ThePanelTakesNoPlainFile) {
    makeFiles({"a.jpg", "b.jpg"});
    setBatchFolderChooser({});
    whenShown<QFileDialog>([this](const QFileDialog&) {
        choose(photos() / "a.jpg");
        ASSERT_NE(panel(), nullptr);
        press(QDialogButtonBox::Cancel);
    });
    batch(2);
    EXPECT_FALSE(fs::exists(photos() / "Enfused Files"));
    EXPECT_FALSE(gDoingBatch);
}

TEST_F(BatchSettingsTest, FewerThanTwoFilesStartNothingAndSayNothing) {
    makeFiles({"a.jpg", ".b.jpg"});
    batch(3);
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_FALSE(fs::exists(photos() / "Enfused Files"));
    EXPECT_EQ(gBatchFolderPath, photos());
    EXPECT_EQ(gNumImagesInBatchSet, 3);
    EXPECT_FALSE(gDoingBatch);
}

TEST_F(BatchSettingsTest, AnEmptyOrMissingFolderStartsNothing) {
    batch(3);
    chosen = {folder / "nowhere"};
    batch(3);
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(gNumBatchSets, 0);
}

TEST_F(BatchSettingsTest, AFolderThatCannotBeListedStartsNothing) {
    makeFiles({"a.jpg", "b.jpg"});
    fs::permissions(photos(), fs::perms::none);
    // The superuser may read what nobody may.
    const uid_t user = geteuid();
    constexpr uid_t nobody = 65534;
    if (user == 0) {
        ASSERT_EQ(seteuid(nobody), 0);
    }
    batch(2);
    if (user == 0) {
        ASSERT_EQ(seteuid(user), 0);
    }
    fs::permissions(photos(), fs::perms::owner_all);
    expectNothingWasStarted();
    EXPECT_EQ(gNumFilesInBatchFolder, 0);
    EXPECT_EQ(gBatchFolderPath, photos());
}

TEST_F(BatchSettingsTest, NoFolderOrSeveralFoldersStartNothing) {
    makeFiles({"a.jpg", "b.jpg"});
    chosen = {};
    batch(2);
    chosen = {photos(), folder.path()};
    batch(2);
    EXPECT_EQ(timesAsked, 2);
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_FALSE(fs::exists(photos() / "Enfused Files"));
}

TEST_F(BatchSettingsTest, ANameThatTheShellWouldActOnIsRefusedBeforeAnythingIsMade) {
    makeFiles({"a.jpg", "b$(touch x).jpg"});
    batch(2);
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_THAT(alerts.texts().front(), testing::HasSubstr("b$(touch x).jpg"));
    EXPECT_FALSE(fs::exists(photos() / "Enfused Files"));
    EXPECT_FALSE(gDoingBatch);
    expectAtRest();
}

TEST_F(BatchSettingsTest, AFolderThatTheShellWouldActOnIsRefusedBeforeAnythingIsMade) {
    makeFiles({"a.jpg", "b.jpg"});
    const fs::path odd = folder / "photos `touch x`";
    fs::rename(photos(), odd);
    chosen = {odd};
    batch(2);
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_THAT(alerts.texts().front(), HasSubstr(odd.native()));
    EXPECT_FALSE(fs::exists(odd / "Enfused Files"));
    EXPECT_FALSE(gDoingBatch);
    fs::rename(odd, photos());
    expectAtRest();
}

TEST_F(BatchSettingsTest, ANameThatNeverReachesTheShellIsWelcome) {
    makeFiles({"a.jpg", "b.jp$g"});
    copyWithTool();
    batch(2);
    EXPECT_THAT(alerts.texts(), ElementsAre(complete));
    EXPECT_THAT(results(), ElementsAre("Enfused - b.tif"));
}

}  // namespace lumaweave
