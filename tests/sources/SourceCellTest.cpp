// SPDX-License-Identifier: GPL-3.0-or-later
#include <QCheckBox>
#include <QLabel>
#include <QTest>
#include <QToolButton>

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
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
#include "support/WindowsFixture.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(FittedSize, LandscapeTakesTheViewsWidth) {
    EXPECT_EQ(fittedToPreview({3000, 2000}, {600, 400}), QSizeF(600, 400));
    EXPECT_EQ(fittedPixels({3000, 2000}, {600, 400}), QSize(600, 400));
}

TEST(FittedSize, PortraitAndSquareTakeTheViewsHeight) {
    EXPECT_EQ(fittedToPreview({2000, 3000}, {600, 400}), QSizeF(2000.0 / 3000.0 * 400, 400));
    EXPECT_EQ(fittedPixels({2000, 3000}, {600, 400}), QSize(267, 400));
    EXPECT_EQ(fittedToPreview({500, 500}, {600, 400}), QSizeF(400, 400));
}

TEST(FittedSize, IsAtLeastOnePixel) {
    EXPECT_EQ(fittedPixels({3000, 2000}, {0, 0}), QSize(1, 1));
    EXPECT_EQ(fittedPixels({30000, 3}, {100, 100}), QSize(100, 1));
}

class SourceCellTest : public WindowsTest {
  protected:
    fs::path makeShot(const std::string& name, int width = 90, int height = 60,
                      const PixelFormat& format = {}) {
        const fs::path file = folder / name;
        saveImage(makeImage(width, height, format, sceneAt(1)), file);
        return file;
    }
    bool assign(int index, const fs::path& file) {
        bool result = false;
        performInBackground([&, index] { result = cell(index).assignFileToCell(file); });
        EXPECT_TRUE(waitForBackgroundTasks());
        return result;
    }
    void switchResaving(bool on) {
        windows->sourcesWindow()->ensureValidTIFFFilesCheckBox()->setChecked(on);
    }
};

TEST_F(SourceCellTest, ANewCellIsFreeAndNotEnabled) {
    EXPECT_TRUE(cell(0).urlToImageFile().empty());
    EXPECT_TRUE(cell(0).theImage().isNull());
    EXPECT_FALSE(cell(0).enabled());
    EXPECT_EQ(cell(5).cellNum(), 5);
}

TEST_F(SourceCellTest, AJpegInCell3YieldsItsWorkingAndScaledCopies) {
    const fs::path file = makeShot("photo.jpg", 900, 600);
    ASSERT_TRUE(assign(3, file));
    EXPECT_EQ(cell(3).urlToOriginalFile(), file);
    EXPECT_EQ(cell(3).urlToImageFile(), GetURLToTIFFedSource(3));
    EXPECT_EQ(cell(3).urlToScaledSourceFile(), GetURLToScaledSourceFile(3));
    EXPECT_EQ(cell(3).filenameToDisplay(), "photo.jpg");
    EXPECT_EQ(GetURLToTIFFedSource(3).filename(), "ConvertedToTIFF 3.tif");
    const Image copy = decodeImage(GetURLToTIFFedSource(3));
    EXPECT_EQ(differenceBetween(copy, decodeImage(file)).largest, 0);
    const QSize view = windows->previewWindow()->enfusedView()->size();
    const Image scaled = decodeImage(GetURLToScaledSourceFile(3));
    EXPECT_EQ(QSize(scaled.pixelsWide(), scaled.pixelsHigh()), fittedPixels({900, 600}, view));
    EXPECT_EQ(log.count("Assign file to cell..."), 1);
    EXPECT_EQ(log.count("NSImage loaded ok"), 1);
    EXPECT_EQ(log.count("Converting image to TIFF..."), 1);
    EXPECT_EQ(log.count("Creating scaled source for Preview..."), 1);
    EXPECT_EQ(log.count("Source is a TIFF file"), 0);
}

TEST_F(SourceCellTest, SetsTheStacksGeometry) {
    ASSERT_TRUE(assign(0, makeShot("a.jpg", 300, 200)));
    EXPECT_EQ(gImageWidth, 300.0F);
    EXPECT_EQ(gImageHeight, 200.0F);
    EXPECT_EQ(gImageAspectRatio, 1.5F);
    EXPECT_EQ(gNumSourceImages, 1);
    ASSERT_TRUE(assign(1, makeShot("b.jpg", 200, 300)));
    EXPECT_EQ(gImageWidth, 200.0F);
    EXPECT_EQ(gImageAspectRatio, 200.0F / 300.0F);
    EXPECT_EQ(gNumSourceImages, 2);
}

TEST_F(SourceCellTest, OnePointIsOnePixelWhateverResolutionTheFileRecords) {
    PixelFormat format;
    vipsImage(makeImage(300, 200, format, sceneAt(1)))
        .copy(vips::VImage::option()->set("xres", 20.0)->set("yres", 20.0))
        .jpegsave((folder / "a.jpg").c_str());
    ASSERT_TRUE(assign(0, folder / "a.jpg"));
    EXPECT_EQ(cell(0).theImage().size(), QSizeF(300, 200));
}

TEST_F(SourceCellTest, ATiffIsUsedAsItIsWhenResavingIsOff) {
    switchResaving(false);
    const fs::path file = makeShot("photo.tif");
    ASSERT_TRUE(assign(0, file));
    EXPECT_EQ(cell(0).urlToImageFile(), file);
    EXPECT_EQ(cell(0).urlToImageFile(), cell(0).urlToOriginalFile());
    EXPECT_FALSE(fs::exists(GetURLToTIFFedSource(0)));
    EXPECT_EQ(log.count("Source is a TIFF file"), 1);
    EXPECT_EQ(log.count("But we are going to re-save it as a new TIFF..."), 0);
    EXPECT_EQ(log.count("Converting image to TIFF..."), 0);
}

TEST_F(SourceCellTest, ATiffGetsAWorkingCopyWhenResavingIsOn) {
    switchResaving(true);
    ASSERT_TRUE(assign(2, makeShot("photo.tif")));
    EXPECT_EQ(cell(2).urlToImageFile(), GetURLToTIFFedSource(2));
    EXPECT_TRUE(fs::exists(GetURLToTIFFedSource(2)));
    EXPECT_EQ(log.count("Source is a TIFF file"), 1);
    EXPECT_EQ(log.count("But we are going to re-save it as a new TIFF..."), 1);
}

TEST_F(SourceCellTest, TheFourSpellingsOfTheEndingCountAsTiffAndOthersDoNot) {
    switchResaving(false);
    for (const char* name : {"a.tif", "a.tiff", "a.TIF", "a.TIFF", "nodot-tif"}) {
        const fs::path file = folder / name;
        fs::copy_file(makeShot("source.tif"), file);
        ASSERT_TRUE(assign(0, file));
        EXPECT_EQ(cell(0).urlToImageFile(), file) << name;
        cell(0).removeCellAction(nullptr);
    }
    for (const char* name : {"a.Tif", "a.TIFf", "a.tIf"}) {
        const fs::path file = folder / name;
        fs::copy_file(makeShot("source.tif"), file);
        ASSERT_TRUE(assign(0, file));
        EXPECT_EQ(cell(0).urlToImageFile(), GetURLToTIFFedSource(0)) << name;
        cell(0).removeCellAction(nullptr);
    }
}

TEST_F(SourceCellTest, ATiffThatTheToolWouldReadOtherwiseGetsAWorkingCopyEvenWithResavingOff) {
    switchResaving(false);
    const Image scene = makeImage(90, 60, {}, sceneAt(1));
    const fs::path turned = makeShot("turned.tif");
    ASSERT_EQ(std::system(("tiffset -s 274 6 '" + turned.native() + "'").c_str()), 0);
    const fs::path tiled = folder / "tiled.tif";
    vipsImage(scene).tiffsave(tiled.c_str(), vips::VImage::option()->set("tile", true));
    const fs::path palette = folder / "palette.tif";
    ASSERT_EQ(std::system(("tiffcp -c lzw '" + makeShot("p.tif").native() + "' '" +
                           (folder / "p2.tif").native() + "' && tiffmedian '" +
                           (folder / "p2.tif").native() + "' '" + palette.native() + "'")
                              .c_str()),
              0);
    const fs::path pages = folder / "pages.tif";
    ASSERT_EQ(std::system(("tiffcp '" + makeShot("q.tif").native() + "' '" +
                           (folder / "p2.tif").native() + "' '" + pages.native() + "'")
                              .c_str()),
              0);
    const fs::path cmyk = folder / "cmyk.tif";
    vipsImage(scene)
        .icc_transform("cmyk", vips::VImage::option()->set("input_profile", "srgb"))
        .tiffsave(cmyk.c_str());
    for (const fs::path& file : {turned, tiled, palette, pages, cmyk}) {
        ASSERT_TRUE(assign(0, file)) << file;
        EXPECT_EQ(cell(0).urlToImageFile(), GetURLToTIFFedSource(0)) << file;
        cell(0).removeCellAction(nullptr);
    }
    ASSERT_TRUE(assign(0, turned));
    EXPECT_EQ(cell(0).theImage().size(), QSizeF(60, 90));
}

TEST_F(SourceCellTest, ATiffWhosePathTheShellActsOnGetsAWorkingCopyEvenWithResavingOff) {
    switchResaving(false);
    for (const char* name :
         {"$(touch x).tif", "a\"b.tif", "a`touch y`.tif", "a\\b.tif", "a\nb.tif"}) {
        const fs::path file = folder / name;
        fs::copy_file(makeShot("source.tif"), file, fs::copy_options::overwrite_existing);
        ASSERT_TRUE(assign(0, file));
        EXPECT_EQ(cell(0).urlToImageFile(), GetURLToTIFFedSource(0)) << name;
        cell(0).removeCellAction(nullptr);
    }
}

TEST_F(SourceCellTest, AnUnreadableFileIsToldAndLeavesTheCellFreeButEnabled) {
    EXPECT_FALSE(assign(0, folder.write("not a picture.jpg", "words")));
    EXPECT_THAT(alerts.texts(), ElementsAre(unrecognizedFile));
    EXPECT_TRUE(cell(0).enabled());
    EXPECT_TRUE(cell(0).urlToImageFile().empty());
    EXPECT_TRUE(cell(0).urlToOriginalFile().empty());
    EXPECT_TRUE(cell(0).theImage().isNull());
    EXPECT_EQ(gNumSourceImages, 0);
    EXPECT_EQ(gImageWidth, 0.0F);
}

TEST_F(SourceCellTest, DuringABatchAnUnreadableFileIsLogged) {
    gDoingBatch = true;
    EXPECT_FALSE(assign(0, folder.write("not a picture.jpg", "words")));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(log.count("assignFileToCell: initWithContentsOfURL returned nil!"), 1);
}

TEST_F(SourceCellTest, EverySuccessfulCallCountsAlsoOnAFilledCell) {
    ASSERT_TRUE(assign(0, makeShot("a.jpg")));
    ASSERT_TRUE(assign(0, makeShot("b.jpg")));
    EXPECT_EQ(gNumSourceImages, 2);
    EXPECT_EQ(cell(0).filenameToDisplay(), "b.jpg");
}

TEST_F(SourceCellTest, TheViewShowsThumbnailNameAndSwitch) {
    ASSERT_TRUE(assign(0, makeShot("a long name with <b>signs<i>.jpg", 900, 600)));
    EXPECT_EQ(cell(0).textField()->text(), "a long name with <b>signs<i>.jpg");
    EXPECT_TRUE(cell(0).useCheckBox()->isChecked());
    EXPECT_TRUE(cell(0).useCheckBox()->isVisible());
    const QImage thumbnail = cell(0).cellImageView()->image();
    EXPECT_EQ(thumbnail.size(), QSize(256, 171));
    const Image expected =
        decodeImage(folder / "a long name with <b>signs<i>.jpg").scaled(256, 171);
    const QImage screen = expected.toScreen();
    int largest = 0;
    for (int y = 0; y < 171; ++y) {
        for (int x = 0; x < 256; ++x) {
            largest =
                std::max(largest, std::abs(qRed(screen.pixel(x, y)) - qRed(thumbnail.pixel(x, y))));
        }
    }
    EXPECT_LE(largest, 24) << "scaled twice, so edges may differ a little";
}

TEST_F(SourceCellTest, ShowingACellWithoutAnImageIsToldAndGoesOn) {
    cell(4).updateViewWithImageOnMainThread();
    EXPECT_THAT(alerts.texts(), ElementsAre("updateViewWithImageOnMainThread: theImage = nil"));
    EXPECT_EQ(cell(4).textField()->text(), "");
}

TEST_F(SourceCellTest, TheDebugLinesAreWrittenToStandardOutput) {
    testing::internal::CaptureStdout();
    ASSERT_TRUE(assign(0, makeShot("a.jpg")));
    cell(0).removeCellAction(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "A - theImage retain count: 1\nC - theImage retain count: 1\n");
}

TEST_F(SourceCellTest, RemovingOneOfThreeFusesTheOtherTwoAnew) {
    dropAndWait(makeBracket(folder.path(), 90, 60, 3));
    copyWithTool();
    testing::internal::CaptureStdout();
    QTest::mouseClick(cell(1).view()->findChild<QToolButton*>("removeButton"), Qt::LeftButton);
    ASSERT_TRUE(waitForBackgroundTasks());
    const auto commands = echoedCommands(testing::internal::GetCapturedStdout());
    EXPECT_EQ(gNumSourceImages, 2);
    EXPECT_TRUE(cell(1).urlToImageFile().empty());
    EXPECT_TRUE(cell(1).urlToOriginalFile().empty());
    EXPECT_TRUE(cell(1).urlToScaledSourceFile().empty());
    EXPECT_TRUE(cell(1).urlToDetailImageFile().empty());
    EXPECT_EQ(cell(1).filenameToDisplay(), "shot 1.jpg");
    EXPECT_TRUE(cell(1).enabled());
    EXPECT_TRUE(fs::exists(GetURLToTIFFedSource(1))) << "working files stay on disk";
    EXPECT_THAT(commands, testing::Contains(HasSubstr("EnfusedPreview.tif")));
    EXPECT_THAT(commands, testing::Contains(HasSubstr("EnfusedDetail.tif")));
    for (const std::string& command : commands)
        EXPECT_THAT(command, testing::Not(HasSubstr(" 1.tif")));
    EXPECT_FALSE(windows->previewWindow()->enfusedView()->image().isNull());
}

TEST_F(SourceCellTest, RemovingOneOfTwoBlanksThePreview) {
    dropAndWait(makeBracket(folder.path(), 90, 60, 2));
    ASSERT_FALSE(windows->previewWindow()->enfusedView()->image().isNull());
    testing::internal::CaptureStdout();
    QTest::mouseClick(cell(0).view()->findChild<QToolButton*>("removeButton"), Qt::LeftButton);
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(echoedCommands(testing::internal::GetCapturedStdout()), IsEmpty());
    EXPECT_EQ(gNumSourceImages, 1);
    EXPECT_TRUE(windows->previewWindow()->enfusedView()->image().isNull());
    EXPECT_TRUE(windows->previewWindow()->detailView()->image().isNull());
    EXPECT_EQ(cell(0).textField()->text(), "");
}

TEST_F(SourceCellTest, RemovingAnEmptyCellChangesNothing) {
    dropAndWait(makeBracket(folder.path(), 90, 60, 2));
    const QImage before = windows->previewWindow()->enfusedView()->image();
    cell(9).removeCellAction(windows.get());
    EXPECT_EQ(gNumSourceImages, 2);
    EXPECT_EQ(windows->previewWindow()->enfusedView()->image(), before);
}

TEST_F(SourceCellTest, TheUseSwitchFusesThePreviewWithoutTheShotAndNoDetail) {
    dropAndWait(makeBracket(folder.path(), 90, 60, 3));
    copyWithTool();
    testing::internal::CaptureStdout();
    QTest::mouseClick(cell(0).useCheckBox(), Qt::LeftButton, {}, {8, 8});
    EXPECT_FALSE(cell(0).enabled());
    ASSERT_TRUE(waitForBackgroundTasks());
    const auto commands = echoedCommands(testing::internal::GetCapturedStdout());
    // The preview's own end rebuilds the detail; the switch itself does not ask for it.
    ASSERT_EQ(commands.size(), 2U);
    EXPECT_THAT(commands[0], HasSubstr("EnfusedPreview.tif"));
    EXPECT_THAT(commands[0], testing::Not(HasSubstr("ScaledSourceImage 0")));
}

TEST_F(SourceCellTest, UncheckingTheOnlyShotStartsNoFusion) {
    dropAndWait(makeBracket(folder.path(), 90, 60, 1));
    testing::internal::CaptureStdout();
    QTest::mouseClick(cell(0).useCheckBox(), Qt::LeftButton, {}, {8, 8});
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::Not(HasSubstr("enfuse")));
    EXPECT_FALSE(cell(0).enabled());
}

TEST_F(SourceCellTest, WorkingCopiesKeepDepth) {
    int index = 0;
    for (const SampleType type : {SampleType::uint8, SampleType::uint16, SampleType::float32}) {
        ASSERT_TRUE(assign(
            index, makeShot("d" + std::to_string(index) + ".tif", 90, 60, {3, false, type})));
        EXPECT_EQ(decodeImage(GetURLToTIFFedSource(index)).format().type, type);
        EXPECT_EQ(decodeImage(GetURLToScaledSourceFile(index)).format().type, type);
        ++index;
    }
}

TEST_F(SourceCellTest, AUsersTiffMayShrinkUnderTheLoadedCell) {
    switchResaving(false);
    const fs::path file = makeShot("photo.tif", 900, 600);
    ASSERT_TRUE(assign(0, file));
    const Image before = decodeImage(file);
    fs::resize_file(file, 10);
    EXPECT_EQ(differenceBetween(cell(0).theImage(), before).largest, 0);
}

TEST_F(SourceCellTest, AWorkingFolderThatCannotBeWrittenIsToldAtTheFirstFailedStep) {
    const fs::path file = makeShot("a.jpg");
    // The folder is gone: nothing in it can be written.
    fs::remove_all(workingFolder());
    EXPECT_FALSE(assign(0, file));
    EXPECT_FALSE(assign(0, file));
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_THAT(alerts.texts().front(), HasSubstr("working folder cannot be written"));
    EXPECT_THAT(alerts.texts().front(), HasSubstr(workingFolder().native()));
    EXPECT_TRUE(cell(0).urlToImageFile().empty());
    EXPECT_EQ(gNumSourceImages, 0);
}

TEST_F(SourceCellTest, AScaledCopyThatCannotBeWrittenIsToldAndItsUrlStoredAllTheSame) {
    ASSERT_TRUE(assign(0, makeShot("a.jpg")));
    cell(0).setUrlToScaledSourceFile({});
    fs::remove_all(workingFolder());
    performInBackground([] { cell(0).createScaledSourceForPreview(); });
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(alerts.texts().size(), 1U);
    EXPECT_EQ(cell(0).urlToScaledSourceFile(), GetURLToScaledSourceFile(0));
}

}  // namespace lumaweave
