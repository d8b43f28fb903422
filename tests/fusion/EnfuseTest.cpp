// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/Enfuse.h"

#include <QCheckBox>
#include <QTest>

#include "imaging/decoding/ImageDecoder.h"
#include "platform/Resources.h"
#include "platform/ShellQuoting.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellViewController.h"
#include "stack/SharedState.h"
#include "stack/Turns.h"
#include "stack/WorkingFiles.h"
#include "support/AlertTexts.h"
#include "support/FakeTools.h"
#include "support/Printed.h"
#include "support/WaitingTool.h"
#include "support/WindowsFixture.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST(WorkingFiles, HaveFixedNamesInTheWorkingFolder) {
    EXPECT_EQ(GetURLToEnfusedPreviewFile(), workingFolder() / "EnfusedPreview.tif");
    EXPECT_EQ(enfusedDetailFile(), workingFolder() / "EnfusedDetail.tif");
    EXPECT_EQ(GetURLToScaledSourceFile(0), workingFolder() / "ScaledSourceImage 0.tif");
    EXPECT_EQ(GetURLToDetailImageFile(7), workingFolder() / "DetailImage 7.tif");
    EXPECT_EQ(GetURLToTIFFedSource(15), workingFolder() / "ConvertedToTIFF 15.tif");
    EXPECT_FALSE(fs::exists(GetURLToScaledSourceFile(0)));
}

class EnfuseTest : public WindowsTest {
  protected:
    void loadShots(int count) { dropAndWait(makeBracket(folder.path(), 90, 60, count)); }

    // The command lines that a run echoes.
    static std::vector<std::string> commandsOf(const std::function<void()>& run) {
        return echoedCommands(printedWhile([&run] {
            performInBackground(run);
            EXPECT_TRUE(waitForBackgroundTasks());
        }));
    }

    // Starts eight runs at once, with a tool that writes "begin" and "end": two that overlap mix.
    void expectNoOverlap(const std::function<void()>& run) {
        const std::string runs = (folder / "runs").native();
        replaceFusionTool("echo begin >> '" + runs +
                          "'; head -c 300000 /dev/urandom | cksum > /dev/null; echo end >> '" +
                          runs + "'");
        for (int i = 0; i < 8; ++i)
            performInBackground(run);
        ASSERT_TRUE(waitForBackgroundTasks());
        std::string expected;
        for (int i = 0; i < 8; ++i)
            expected += "begin\nend\n";
        EXPECT_EQ(readFile(runs), expected);
    }

    const std::string tooLong =
        "The paths of the images are too long for one command line.  Nothing was run.  TIFF shots "
        "that are re-saved when they are added, and shorter names of files and folders, need less.";
};

TEST_F(EnfuseTest, OneEnabledCellRunsNothing) {
    loadShots(1);
    EXPECT_THAT(commandsOf(EnfusePreview), IsEmpty());
    gEnfuseSavePath = folder / "out.tif";
    EXPECT_THAT(commandsOf(EnfuseFullRez), IsEmpty());
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(EnfuseTest, TwoCellsOfWhichOneIsDisabledRunNothing) {
    loadShots(2);
    cell(1).setEnabled(false);
    EXPECT_THAT(commandsOf(EnfusePreview), IsEmpty());
    EXPECT_THAT(commandsOf(EnfuseDetailView), IsEmpty());
    gEnfuseSavePath = folder / "out.tif";
    EXPECT_THAT(commandsOf(EnfuseFullRez), IsEmpty());
    EXPECT_FALSE(fs::exists(gEnfuseSavePath));
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(EnfuseTest, ThePreviewListsTheScaledCopiesInCellOrderEachAfterOneBlank) {
    loadShots(8);
    for (const int removed : {1, 2, 4, 5, 6})
        cell(removed).removeCellAction(nullptr);
    const std::string folderName = workingFolder().native();
    const auto commands = commandsOf(EnfusePreview);
    ASSERT_THAT(commands, SizeIs(1));
    EXPECT_THAT(commands.front(), testing::EndsWith(" --verbose=6  --exposure-sigma=0.200000"
                                                    " --exposure-mu=0.500000 --depth=16 \"" +
                                                    folderName + "/ScaledSourceImage 0.tif\" \"" +
                                                    folderName + "/ScaledSourceImage 3.tif\" \"" +
                                                    folderName + "/ScaledSourceImage 7.tif\""));
    EXPECT_THAT(commands.front(), HasSubstr(" -o \"" + folderName + "/EnfusedPreview.tif\" "));
}

TEST_F(EnfuseTest, ACellWithoutAScaledCopyIsSkippedByThePreviewEvenIfEnabled) {
    loadShots(3);
    cell(1).setUrlToScaledSourceFile({});
    const auto commands = commandsOf(EnfusePreview);
    ASSERT_THAT(commands, SizeIs(1));
    EXPECT_THAT(commands.front(), testing::Not(HasSubstr("ScaledSourceImage 1")));
}

TEST_F(EnfuseTest, ThePreviewUsesTheFixedNameNotTheCellsOwnUrl) {
    loadShots(2);
    cell(0).setUrlToScaledSourceFile("/elsewhere/x.tif");
    EXPECT_THAT(commandsOf(EnfusePreview).front(), HasSubstr("ScaledSourceImage 0.tif"));
}

TEST_F(EnfuseTest, TheDetailListsTheCropsOfTheEnabledCells) {
    loadShots(4);
    cell(2).setEnabled(false);
    cell(3).setUrlToDetailImageFile({});
    const auto commands = commandsOf(EnfuseDetailView);
    ASSERT_THAT(commands, SizeIs(1));
    EXPECT_THAT(
        quotedParts(commands.front()),
        ElementsAre(HasSubstr("enfuse-openmp"), enfusedDetailFile().native(),
                    GetURLToDetailImageFile(0).native(), GetURLToDetailImageFile(1).native()));
}

TEST_F(EnfuseTest, TheFullSizeRunReadsTheWorkingImages) {
    loadShots(3);
    cell(1).setEnabled(false);
    gEnfuseSavePath = folder / "out.tif";
    const auto commands = commandsOf(EnfuseFullRez);
    ASSERT_THAT(commands, SizeIs(1));
    EXPECT_THAT(quotedParts(commands.front()),
                ElementsAre(HasSubstr("enfuse-openmp"), gEnfuseSavePath.native(),
                            GetURLToTIFFedSource(0).native(), GetURLToTIFFedSource(2).native()));
    EXPECT_EQ(log.count("EnfuseFullRez()"), 1);
    EXPECT_FALSE(decodeImage(gEnfuseSavePath).isNull());
}

TEST_F(EnfuseTest, WithoutASavePathTheFullSizeRunSaysSo) {
    loadShots(2);
    gEnfuseSavePath.clear();
    EXPECT_THAT(commandsOf(EnfuseFullRez), IsEmpty());
    EXPECT_THAT(alerts.texts(), ElementsAre("EnfuseFullRez: -fileURLWithPath failed!"));
}

TEST_F(EnfuseTest, AMissingToolIsToldAndNothingRuns) {
    loadShots(2);
    setResourceFolder(folder.path());
    EXPECT_THAT(commandsOf(EnfusePreview), IsEmpty());
    EXPECT_THAT(alerts.texts(), ElementsAre(toolNotFound));
}

TEST_F(EnfuseTest, ACommandLineOf1999BytesRunsAndOneByteMoreDoesNot) {
    loadShots(2);
    copyWithTool();
    // One command to measure with, then an output name that fills the line up.
    gEnfuseSavePath = folder / "o";
    const std::size_t length = commandsOf(EnfuseFullRez).front().size();
    ASSERT_LT(length, longestCommandLine);
    // File names have at most 255 bytes: the rest of the way goes through folders.
    std::string name;
    const auto pathOfLength = [&](std::size_t more) {
        std::string path = (folder / "o").native();
        while (more > 0) {
            const std::size_t piece = more > 200 ? 100 : more;
            path += piece > 1 ? "/" + std::string(piece - 1, 'x') : "x";
            more -= piece;
        }
        return fs::path(path);
    };
    fs::remove(folder / "o");
    gEnfuseSavePath = pathOfLength(longestCommandLine - length);
    fs::create_directories(gEnfuseSavePath.parent_path());
    const auto commands = commandsOf(EnfuseFullRez);
    ASSERT_THAT(commands, SizeIs(1));
    EXPECT_EQ(commands.front().size(), longestCommandLine);
    EXPECT_TRUE(fs::exists(gEnfuseSavePath));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    gEnfuseSavePath += "y";
    EXPECT_THAT(commandsOf(EnfuseFullRez), IsEmpty());
    EXPECT_FALSE(fs::exists(gEnfuseSavePath));
    EXPECT_THAT(alerts.texts(), ElementsAre(tooLong));
}

TEST_F(EnfuseTest, AnInputPathThatCannotBeQuotedIsToldNotAborted) {
    loadShots(2);
    cell(1).setUrlToImageFile("/" + std::string(longestQuotablePath, 'x'));
    gEnfuseSavePath = folder / "out.tif";
    EXPECT_THAT(commandsOf(EnfuseFullRez), IsEmpty());
    EXPECT_THAT(alerts.texts(), ElementsAre(tooLong));
}

TEST_F(EnfuseTest, PathsThatAreTooLongDeleteAndWriteNothing) {
    loadShots(2);
    folder.write("old.tif", "precious");
    cell(0).setUrlToImageFile("/" + std::string(1990, 'x') + "/a.tif");
    fuseFullSize(folder / "old.tif");
    EXPECT_EQ(readFile(folder / "old.tif"), "precious");
    EXPECT_EQ(alerts.count(tooLong), 1);
}

TEST_F(EnfuseTest, TheEchoPrintsPercentSignsAsAFormatWithoutArguments) {
    loadShots(2);
    gEnfuseSavePath = folder / "100%% %n %s.tif";
    const auto commands = commandsOf(EnfuseFullRez);
    ASSERT_THAT(commands, SizeIs(1));
    EXPECT_THAT(commands.front(), HasSubstr("/100% %n %s.tif\""));
    EXPECT_TRUE(fs::exists(folder / "100%% %n %s.tif"));
}

TEST_F(EnfuseTest, TheToolsExitStatusSaysNothing) {
    loadShots(2);
    replaceFusionTool(std::string(takeArguments) + copyLastInput + "exit 3");
    performInBackground([this] { windows->previewWindow()->doEnfusePreviewOnThread(); });
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(EnfuseTest, PreviewRunsNeverOverlap) {
    loadShots(2);
    expectNoOverlap(EnfusePreview);
    EXPECT_FALSE(gEnfusingPreview);
}

TEST_F(EnfuseTest, FullSizeRunsNeverOverlap) {
    loadShots(2);
    gEnfuseSavePath = folder / "out.tif";
    windows->settingsPanel()->preserveEXIFCheckBox()->setChecked(false);
    expectNoOverlap(EnfuseFullRez);
    EXPECT_FALSE(gEnfusingFull);
}

// Each run ends only when it has met the other; in turn, they would wait for ever.
TEST_F(EnfuseTest, APreviewAndAFullSizeRunMayOverlap) {
    loadShots(2);
    gEnfuseSavePath = folder / "out.tif";
    const std::string pipe = (folder / "meeting").native();
    replaceFusionTool(std::string(takeArguments) + "mkfifo '" + pipe + "' 2>/dev/null\n" +
                      "case $out in *EnfusedPreview*) echo here > '" + pipe + "' ;; *) cat '" +
                      pipe + "' > '" + (folder / "met").native() + "' ;; esac");
    windows->settingsPanel()->preserveEXIFCheckBox()->setChecked(false);
    performInBackground(EnfuseFullRez);
    performInBackground(EnfusePreview);
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(readFile(folder / "met"), "here\n");
}

TEST_F(EnfuseTest, TheRunningFlagIsSetWhileTheToolRuns) {
    loadShots(2);
    const WaitingTool tool(folder.path());
    replaceFusionTool(tool.script());
    performInBackground(EnfusePreview);
    EXPECT_TRUE(waitUntil([] { return gEnfusingPreview.load(); }));
    tool.letGo();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_FALSE(gEnfusingPreview);
}

class EnfuseFailureTest : public EnfuseTest {
  protected:
    void startPreview() {
        performInBackground([this] { windows->previewWindow()->doEnfusePreviewOnThread(); });
        EXPECT_TRUE(waitForBackgroundTasks());
    }
};

TEST_F(EnfuseFailureTest, APreviewWithoutAResultIsToldAndTheOldOneStaysOnTheScreen) {
    loadShots(2);
    const QImage before = windows->previewWindow()->enfusedView()->image();
    ASSERT_FALSE(before.isNull());
    for (const char* script : {fail, writeNothing, leaveHalfAFile}) {
        alerts.forget();
        replaceFusionTool(std::string(takeArguments) + script);
        startPreview();
        EXPECT_THAT(alerts.texts(), ElementsAre(previewNotFound)) << script;
        EXPECT_EQ(windows->previewWindow()->enfusedView()->image(), before);
    }
}

TEST_F(EnfuseFailureTest, AToolThatFloodsItsOutputDoesNotHang) {
    loadShots(2);
    replaceFusionTool(std::string(takeArguments) + floodOutput);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    startPreview();
    testing::internal::GetCapturedStderr();
    EXPECT_GT(testing::internal::GetCapturedStdout().size(), 10'000'000U);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(EnfuseFailureTest, ADetailWithoutAResultLeavesTheViewAsItWas) {
    loadShots(2);
    windows->previewWindow()->mouseDown({0, 0});
    const QImage before = windows->previewWindow()->detailView()->image();
    for (const char* script : {fail, writeNothing, leaveHalfAFile}) {
        replaceFusionTool(std::string(takeArguments) + script);
        EnfuseDetailView();
        EXPECT_EQ(windows->previewWindow()->detailView()->image(), before);
    }
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(EnfuseFailureTest, AFullSizeRunWithoutAResultIsToldWhenMetadataAreWanted) {
    loadShots(2);
    for (const char* script : {fail, writeNothing, leaveHalfAFile}) {
        alerts.forget();
        replaceFusionTool(std::string(takeArguments) + script);
        fuseFullSize(folder / "out.tif");
        EXPECT_THAT(alerts.texts(), ElementsAre(unreadableResult)) << script;
        fs::remove(folder / "out.tif");
    }
    alerts.forget();
    windows->settingsPanel()->preserveEXIFCheckBox()->setChecked(false);
    fuseFullSize(folder / "out.tif");
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

}  // namespace lumaweave
