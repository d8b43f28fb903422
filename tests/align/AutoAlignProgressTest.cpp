// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/AutoAlignProgress.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <atomic>

#include "align/AlignCommand.h"
#include "align/AlignFixture.h"
#include "imaging/decoding/ImageDecoder.h"
#include "platform/Log.h"
#include "platform/Resources.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"
#include "preview/PreviewWindow.h"
#include "sources/DecodedShot.h"
#include "sources/SourceCellImageView.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "stack/WorkingFiles.h"
#include "support/AlertTexts.h"
#include "support/Printed.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class AutoAlignProgressTest : public AlignTest {
  protected:
    // Runs an alignment as the settings dialog does when it starts one.
    static std::string runAlignment() {
        return printedWhile([] {
            AutoAlignProgressDialog::init();
            EXPECT_TRUE(waitForBackgroundTasks());
        });
    }
    // The log from the alignment's first word about the cells on.
    [[nodiscard]] std::vector<std::string> logOfReassigning() const {
        const auto lines = log.lines();
        const auto first =
            std::find(lines.begin(), lines.end(), "reassigning aligned imags to souce cells...");
        const auto last = std::find(first, lines.end(), complete);
        return {first, last == lines.end() ? last : last + 1};
    }
    // A tool that leaves these pictures as its outputs.
    static std::string leave(const std::vector<fs::path>& pictures) {
        std::string script;
        for (std::size_t n = 0; n < pictures.size(); ++n) {
            script +=
                "cp '" + pictures[n].native() + "' \"$(alignedName " + std::to_string(n) + ")\"\n";
        }
        return script;
    }
};

TEST_F(AutoAlignProgressTest, TwoFilledCellsGiveTheirFilesToTheToolAndTakeItsFiles) {
    dropAndWait(makeShots(2));
    const fs::path a = picture("a.tif", 90, 60, 0.7);
    const fs::path b = picture("b.tif", 90, 60, 1.7);
    replaceAlignTool(leave({a, b}));
    const std::string output = alignAndGiveOutput();
    const std::string folderName = workingFolder().native();
    EXPECT_THAT(
        alignLines(output),
        ElementsAre('"' + (resourceFolder() / "Enfuse/align_image_stack").native() +
                    "\" -v  -a \"" + folderName + "/alignedImage\" -c 8 -g 5 \"" + folderName +
                    "/ConvertedToTIFF 0.tif\" \"" + folderName + "/ConvertedToTIFF 1.tif\""));
    expectCellShows(0, workingFolder() / "alignedImage0000.tif");
    expectCellShows(1, workingFolder() / "alignedImage0001.tif");
    EXPECT_EQ(differenceBetween(cell(0).theImage(), decodeImage(a)).largest, 0);
    EXPECT_EQ(differenceBetween(cell(1).theImage(), decodeImage(b)).largest, 0);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(AutoAlignProgressTest, TheLogTellsWhatIsDoneInOrder) {
    dropAndWait(makeShots(2));
    replaceAlignTool(copyEveryInput);
    align();
    EXPECT_THAT(logOfReassigning(),
                ElementsAre("reassigning aligned imags to souce cells...", "alignedImage0000.tif",
                            "Loading aligned .tif file...", "Creating scaled source for Preview...",
                            "alignedImage0001.tif", "Loading aligned .tif file...",
                            "Creating scaled source for Preview...",
                            "auto align complete, now re-enfuse everything..."));
}

TEST_F(AutoAlignProgressTest, WhatACellShowsAndWhatFusionsReadFollowTheAlignedFile) {
    dropAndWait(makeShots(2));
    const fs::path a = picture("a.tif", 90, 60, 0.2);
    replaceAlignTool(leave({a, a}));
    const std::string output = alignAndGiveOutput();
    const Image aligned = decodeImage(a);
    const QSize view = windows->previewWindow()->enfusedView()->size();
    const QSize fitted = fittedPixels({90, 60}, view);
    for (int i = 0; i < 2; ++i) {
        const Image scaled = decodeImage(GetURLToScaledSourceFile(i));
        EXPECT_EQ(
            differenceBetween(scaled, aligned.scaled(fitted.width(), fitted.height())).largest, 0);
        EXPECT_EQ(cell(i).cellImageView()->image(), thumbnailOf(scaled));
        EXPECT_EQ(cell(i).filenameToDisplay(), "shot " + std::to_string(i) + ".jpg");
        EXPECT_EQ(cell(i).urlToOriginalFile(), folder / ("shot " + std::to_string(i) + ".jpg"));
    }
    EXPECT_EQ(gNumSourceImages, 2);
    // The preview, once, and its detail follow.
    EXPECT_EQ(previewLines(output).size(), 1U);
    EXPECT_EQ(log.count(complete), 1);
    const std::string printed = printedWhile([this] { fuseFullSize(folder / "fused.tif"); });
    EXPECT_THAT(echoedCommands(printed).front(),
                testing::EndsWith('"' + alignedImageFile(0).native() + "\" \"" +
                                  alignedImageFile(1).native() + '"'));
    EXPECT_EQ(decodeImage(folder / "fused.tif").size(), QSizeF(90, 60));
}

TEST_F(AutoAlignProgressTest, WithNoCellFilledTheToolIsRunWithoutInputsAndNothingChanges) {
    replaceAlignTool("touch '" + (folder / "ran").native() + "'\n" + copyEveryInput);
    const std::string output = runAlignment();
    EXPECT_THAT(alignLines(output), ElementsAre(testing::EndsWith(" -c 8 -g 5")));
    EXPECT_TRUE(fs::exists(folder / "ran"));
    for (int i = 0; i < sourceCellCount; ++i)
        EXPECT_TRUE(cell(i).urlToImageFile().empty());
    EXPECT_THAT(previewLines(output), IsEmpty());
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(log.count(complete), 1);
}

TEST_F(AutoAlignProgressTest, WithTheInstalledToolAnEmptyStackEndsAtOnceToo) {
    const std::string output = runAlignment();
    EXPECT_EQ(alignLines(output).size(), 1U);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(AutoAlignProgressTest, OneFilledCellIsReassignedAndNoPreviewFollows) {
    dropAndWait(makeShots(1));
    const Image before = cell(0).theImage();
    const std::string output = runAlignment();  // the real adapter hands a single shot through
    EXPECT_EQ(alignLines(output).size(), 1U);
    EXPECT_EQ(cell(0).urlToImageFile(), alignedImageFile(0));
    EXPECT_FALSE(cell(0).theImage().sharesPixelsWith(before));
    EXPECT_EQ(differenceBetween(cell(0).theImage(), before).largest, 0);
    EXPECT_THAT(previewLines(output), IsEmpty());
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(log.count(complete), 1);
    // And once more, now with its own file as input.
    EXPECT_THAT(alignLines(runAlignment()).front(),
                testing::EndsWith('"' + alignedImageFile(0).native() + '"'));
    EXPECT_EQ(differenceBetween(cell(0).theImage(), before).largest, 0);
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(AutoAlignProgressTest, ALoadFailureAtCell2Of4KeepsItsImageAndLeavesCell3) {
    dropAndWait(makeShots(4));
    const Image second = cell(2).theImage();
    const Image third = cell(3).theImage();
    replaceAlignTool(std::string(copyEveryInput) + "rm \"$(alignedName 2)\"\n");
    const std::string output = alignAndGiveOutput();
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed));
    expectCellShows(0, alignedImageFile(0));
    expectCellShows(1, alignedImageFile(1));
    EXPECT_EQ(cell(2).urlToImageFile(), alignedImageFile(2));
    EXPECT_FALSE(fs::exists(alignedImageFile(2)));
    EXPECT_TRUE(cell(2).theImage().sharesPixelsWith(second));
    EXPECT_EQ(cell(3).urlToImageFile(), GetURLToTIFFedSource(3));
    EXPECT_TRUE(cell(3).theImage().sharesPixelsWith(third));
    // The dialog still ends and the preview still follows.
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_EQ(log.count(complete), 1);
    EXPECT_EQ(previewLines(output).size(), 1U);
    EXPECT_EQ(log.count("alignedImage0002.tif"), 1);
    EXPECT_EQ(log.count("alignedImage0003.tif"), 0);
}

// Only the tool's files count, not what it says when it fails.
TEST_F(AutoAlignProgressTest, TheToolsExitStatusIsNotLookedAt) {
    dropAndWait(makeShots(2));
    replaceAlignTool(std::string(copyEveryInput) + "exit 1\n");
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(cell(1).urlToImageFile(), alignedImageFile(1));
    sources.clearAllCellsAction(nullptr);
    dropAndWait({folder / "shot 0.jpg", folder / "shot 1.jpg"});
    replaceAlignTool("exit 0\n");
    align();
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed));
}

TEST_F(AutoAlignProgressTest, AFileThatIsOnlyHalfWrittenIsTold) {
    dropAndWait(makeShots(3));
    replaceAlignTool(std::string(copyEveryInput) +
                     "head -c 5000 \"$(alignedName 1)\" > \"$prefix.part\"\n"
                     "mv \"$prefix.part\" \"$(alignedName 1)\"\n");
    align();
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed));
    expectCellShows(0, alignedImageFile(0));
    EXPECT_EQ(cell(1).urlToImageFile(), alignedImageFile(1));
    EXPECT_EQ(cell(2).urlToImageFile(), GetURLToTIFFedSource(2));
}

TEST_F(AutoAlignProgressTest, AFloodOfMessagesDoesNoHarm) {
    dropAndWait(makeShots(2));
    replaceAlignTool(std::string("head -c 3000000 /dev/zero | tr '\\0' 'x'\n"
                                 "head -c 3000000 /dev/zero | tr '\\0' 'y' >&2\n") +
                     copyEveryInput);
    testing::internal::CaptureStderr();
    (void)alignAndGiveOutput();
    (void)testing::internal::GetCapturedStderr();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(cell(1).urlToImageFile(), alignedImageFile(1));
}

// The tool numbers its files by their place in the line, the cells take them by their own number:
// behind a gap the two differ.
TEST_F(AutoAlignProgressTest, ACellBehindAGapTakesTheFileOfItsOwnNumber) {
    dropAndWait(makeShots(4));
    cell(1).removeCellAction(nullptr);
    const Image lastImage = decodeImage(cell(3).urlToImageFile());
    replaceAlignTool(copyEveryInput);
    align();
    // Inputs 0, 1, 2 of the tool were the cells 0, 2, 3.
    expectCellShows(0, alignedImageFile(0));
    EXPECT_EQ(cell(2).urlToImageFile(), alignedImageFile(2));
    EXPECT_EQ(differenceBetween(cell(2).theImage(), lastImage).largest, 0);
    EXPECT_EQ(cell(3).urlToImageFile(), alignedImageFile(3));
    EXPECT_FALSE(fs::exists(alignedImageFile(3)));
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed));
}

TEST_F(AutoAlignProgressTest, AFailureOnTheSecondStackIsToldAndNothingOfTheFirstIsShown) {
    dropAndWait(makeShots(3));
    replaceAlignTool(copyEveryInput);
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    sources.clearAllCellsAction(nullptr);
    ASSERT_TRUE(fs::exists(alignedImageFile(2))) << "still there from the first stack";
    const std::vector<fs::path> second = {picture("second a.jpg", 80, 60, 0.5),
                                          picture("second b.jpg", 80, 60, 2)};
    dropAndWait(second);
    const std::vector<Image> images = {cell(0).theImage(), cell(1).theImage()};
    replaceAlignTool("exit 1\n");
    align();
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed));
    for (int i = 0; i < sourceCellCount; ++i) {
        EXPECT_FALSE(fs::exists(alignedImageFile(i))) << i;
    }
    EXPECT_TRUE(cell(0).theImage().sharesPixelsWith(images[0]));
    EXPECT_TRUE(cell(1).theImage().sharesPixelsWith(images[1]));
    // The fusion is of this stack.
    const Image fused = windows->previewWindow()->enfuseImage();
    EXPECT_NEAR(static_cast<double>(fused.pixelsWide()) / fused.pixelsHigh(), 80.0 / 60, 0.02);
    EXPECT_EQ(decodeImage(GetURLToScaledSourceFile(0)).pixelsWide(), fused.pixelsWide());
}

TEST_F(AutoAlignProgressTest, AnAlignedStackIsAlignedOnceMoreFromAndIntoItsFiles) {
    dropAndWait(makeShots(3));
    replaceAlignTool(copyEveryInput);
    align();
    std::vector<Image> before;
    for (int i = 0; i < 3; ++i)
        before.push_back(decodeImage(cell(i).urlToImageFile()));
    // A tool that reads and writes the same files, as the real one does.
    replaceAlignTool(copyEveryInput);
    const std::string output = alignAndGiveOutput();
    EXPECT_THAT(alignLines(output).front(),
                testing::EndsWith(" -c 8 -g 5 \"" + alignedImageFile(0).native() + "\" \"" +
                                  alignedImageFile(1).native() + "\" \"" +
                                  alignedImageFile(2).native() + '"'));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    for (int i = 0; i < 3; ++i) {
        expectCellShows(i, alignedImageFile(i));
        EXPECT_EQ(
            differenceBetween(cell(i).theImage(), before[static_cast<std::size_t>(i)]).largest, 0);
    }
}

// Its files are still there, but the tool has not written them.
TEST_F(AutoAlignProgressTest, AFailureOnAnAlignedStackIsToldToo) {
    dropAndWait(makeShots(2));
    replaceAlignTool(copyEveryInput);
    align();
    const Image before = cell(0).theImage();
    replaceAlignTool("exit 1\n");
    align();
    EXPECT_THAT(alerts.texts(), ElementsAre(loadingFailed));
    EXPECT_TRUE(cell(0).theImage().sharesPixelsWith(before));
    EXPECT_EQ(cell(0).urlToImageFile(), alignedImageFile(0));
    EXPECT_TRUE(fs::exists(alignedImageFile(0)));
    EXPECT_EQ(log.count("The alignment tool did not write " + alignedImageFile(0).native()), 1);
}

TEST_F(AutoAlignProgressTest, AnAlignedFileThatACellPointsToIsKeptWhenAnotherCellIsNew) {
    dropAndWait(makeShots(3));
    replaceAlignTool(copyEveryInput);
    align();
    cell(1).removeCellAction(nullptr);
    dropAndWait({folder / "shot 1.jpg"});
    EXPECT_EQ(cell(1).urlToImageFile(), GetURLToTIFFedSource(1));
    const std::string output = alignAndGiveOutput();
    EXPECT_THAT(alignLines(output).front(),
                testing::EndsWith('"' + alignedImageFile(0).native() + "\" \"" +
                                  GetURLToTIFFedSource(1).native() + "\" \"" +
                                  alignedImageFile(2).native() + '"'));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    expectCellShows(1, alignedImageFile(1));
}

TEST_F(AutoAlignProgressTest, WithoutTheToolThatIsToldAndNothingIsRun) {
    dropAndWait(makeShots(2));
    const Image before = cell(0).theImage();
    setResourceFolder(folder.path());
    const std::string output = alignAndGiveOutput();
    setResourceFolder(LUMAWEAVE_RESOURCES);
    EXPECT_THAT(alerts.texts(),
                ElementsAre("-createAlignImageStackCommandString: cannot locate the "
                            "align_image_stack application!"));
    EXPECT_THAT(echoedCommands(output), IsEmpty());
    EXPECT_EQ(cell(0).urlToImageFile(), GetURLToTIFFedSource(0));
    EXPECT_TRUE(cell(0).theImage().sharesPixelsWith(before));
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_EQ(log.count("reassigning aligned imags to souce cells..."), 0);
    EXPECT_TRUE(sources.alignButton()->isEnabled());
}

TEST_F(AutoAlignProgressTest, ALineThatWouldBeTooLongIsToldAndNothingIsRun) {
    sources.ensureValidTIFFFilesCheckBox()->setChecked(false);
    std::vector<fs::path> shots;
    fs::path deep = folder.path();
    for (int level = 0; level < 5; ++level)
        deep /= std::string(200, static_cast<char>('a' + level));
    fs::create_directories(deep);
    for (int i = 0; i < 2; ++i) {
        shots.push_back(deep / ("shot " + std::to_string(i) + ".tif"));
        saveImage(makeImage(60, 40, {}, sceneAt(1 + i)), shots.back());
    }
    dropAndWait(shots);
    replaceAlignTool(copyEveryInput);
    const std::string output = alignAndGiveOutput();
    EXPECT_THAT(alerts.texts(),
                ElementsAre(HasSubstr("too long for one command line.  Nothing was run.")));
    EXPECT_THAT(alignLines(output), IsEmpty());
    EXPECT_EQ(cell(1).urlToImageFile(), shots[1]);
    EXPECT_EQ(sheet(), nullptr);
}

TEST_F(AutoAlignProgressTest, AnAlignedFileOfAnotherSizeIsShownAtTheStacksSize) {
    dropAndWait(makeShots(2));
    replaceAlignTool(leave({picture("a.tif", 180, 120, 1), picture("b.tif", 45, 30, 1)}));
    align();
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(cell(0).theImage().pixelsWide(), 180);
    EXPECT_EQ(cell(0).theImage().size(), QSizeF(90, 60));
    EXPECT_EQ(cell(1).theImage().pixelsWide(), 45);
    EXPECT_EQ(cell(1).theImage().size(), QSizeF(90, 60));
    EXPECT_EQ(gImageWidth, 90.0F);
}

TEST_F(AutoAlignProgressTest, TheSheetIsModalWithoutAnEndAndSaysWhatIsBeingDone) {
    dropAndWait(makeShots(2));
    makeAlignToolWait(copyEveryInput);
    std::vector<std::string> texts;
    std::vector<std::string> loading;
    inSheet([&](AutoAlignProgressDialog& dialog) {
        EXPECT_TRUE(dialog.isModal());
        EXPECT_EQ(dialog.theWindow(), &dialog);
        EXPECT_EQ(dialog.progressBar()->minimum(), dialog.progressBar()->maximum());
        whenTrue([this] { return toolWaits(); },
                 [&] {
                     texts.push_back(dialog.textField()->text().toStdString());
                     setLogSink([&](std::string_view line) {
                         if (!line.starts_with("alignedImage")) return;
                         // After what the worker has just handed over.
                         performOnMainThread(
                             [&] { loading.push_back(dialog.textField()->text().toStdString()); },
                             Wait::no);
                     });
                     letGo();
                 });
    });
    align();
    setLogSink({});
    EXPECT_THAT(texts, ElementsAre("Finding matching points and aligning 2 shots…"));
    EXPECT_THAT(loading,
                ElementsAre("Loading aligned shot 1 of 2…", "Loading aligned shot 2 of 2…"));
}

TEST_F(AutoAlignProgressTest, BumpingAddsOneToTheBar) {
    dropAndWait(makeShots(2));
    makeAlignToolWait(copyEveryInput);
    bool bumped = false;
    whenTrue([this] { return sheet() != nullptr && toolWaits(); },
             [&bumped, this] {
                 const int before = sheet()->progressBar()->value();
                 sheet()->bumpProgressBarOnMainThread();
                 EXPECT_EQ(sheet()->progressBar()->value(), before + 1);
                 bumped = true;
                 letGo();
             });
    align();
    EXPECT_TRUE(bumped);
}

TEST_F(AutoAlignProgressTest, TheProgramRepaintsWhileTheToolRuns) {
    dropAndWait(makeShots(2));
    makeAlignToolWait(copyEveryInput);
    class PaintCounter : public QObject {
      public:
        bool eventFilter(QObject*, QEvent* event) override {
            if (event->type() == QEvent::Paint) ++count;
            return false;
        }
        int count = 0;
    } paints;
    inSheet([&](AutoAlignProgressDialog&) {
        whenTrue([this] { return toolWaits(); },
                 [&] {
                     windows->previewWindow()->enfusedView()->installEventFilter(&paints);
                     windows->previewWindow()->enfusedView()->update();
                     whenTrue([&paints] { return paints.count > 0; }, [this] { letGo(); });
                 });
    });
    align();
    EXPECT_GT(paints.count, 0);
}

}  // namespace lumaweave
