// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/ExifCarryOver.h"

#include <QCheckBox>
#include <QToolButton>

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/metadata/Metadata.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellViewController.h"
#include "stack/SharedState.h"
#include "support/AlertTexts.h"
#include "support/ExifTool.h"
#include "support/FakeTools.h"
#include "support/Printed.h"
#include "support/TiffPages.h"
#include "support/WindowsFixture.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

constexpr auto unwritableResult =
    "CopyImageFileAndAddEXIF: CGImageDestinationCreateWithURL() failed!  This possibly means that "
    "Enfuse wrote out a corrupt TIFF file (as it sometimes does on Mac OS 10.6).  Try again.";

}  // namespace

class ExifCarryOverTest : public WindowsTest {
  protected:
    // Three shots of a bracket; those named have an artist of their own, "Artist 0" and so on.
    std::vector<fs::path> bracketWithArtists(const std::vector<int>& indices) {
        std::vector<fs::path> shots = makeBracket(folder.path(), 120, 80, 3);
        for (const int index : indices) {
            EXPECT_TRUE(writeTags(shots[static_cast<std::size_t>(index)],
                                  {"-IFD0:Artist=Artist " + std::to_string(index)}));
        }
        return shots;
    }
    std::vector<std::string> logged(const std::string& start) const {
        std::vector<std::string> lines;
        for (const std::string& line : log.lines()) {
            if (line.starts_with(start)) lines.push_back(line);
        }
        return lines;
    }
};

TEST_F(ExifCarryOverTest, TheFirstCellWithMetadataGivesThem) {
    dropAndWait(bracketWithArtists({1, 2}));
    EXPECT_EQ(printedWhile(GetSourceEXIF),
              "No EXIF data in source...\nGot EXIF data from source...\n");
    ASSERT_NE(gSourceImageEXIF, nullptr);
    EXPECT_THAT(gSourceImageEXIF->description(), HasSubstr("Artist 1"));
    const auto lines = logged("Image Properties Data : ");
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0], "Image Properties Data : (null)");
    EXPECT_THAT(lines[1], HasSubstr("Exif.Image.Artist = Artist 1;"));
}

TEST_F(ExifCarryOverTest, ACellThatIsNotInUseGivesThemToo) {
    dropAndWait(bracketWithArtists({0, 1}));
    cell(0).useCheckBox()->click();
    ASSERT_TRUE(waitForBackgroundTasks());
    GetSourceEXIF();
    ASSERT_NE(gSourceImageEXIF, nullptr);
    EXPECT_THAT(gSourceImageEXIF->description(), HasSubstr("Artist 0"));
}

TEST_F(ExifCarryOverTest, AnEmptyCellIsPassedOver) {
    dropAndWait(bracketWithArtists({0, 1, 2}));
    cell(0).view()->findChild<QToolButton*>("removeButton")->click();
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(printedWhile(GetSourceEXIF), "Got EXIF data from source...\n");
    EXPECT_THAT(gSourceImageEXIF->description(), HasSubstr("Artist 1"));
}

TEST_F(ExifCarryOverTest, WithoutAnyMetadataTheOldOnesAreForgotten) {
    dropAndWait(bracketWithArtists({0}));
    GetSourceEXIF();
    ASSERT_NE(gSourceImageEXIF, nullptr);
    for (int i = 0; i < 3; ++i)
        cell(i).removeCellAction(nullptr);
    dropAndWait(makeBracket(folder.path(), 120, 80, 2));
    EXPECT_EQ(printedWhile(GetSourceEXIF),
              "No EXIF data in source...\nNo EXIF data in source...\n");
    EXPECT_EQ(gSourceImageEXIF, nullptr);
}

TEST_F(ExifCarryOverTest, WithoutShotsNothingIsPrinted) {
    EXPECT_EQ(printedWhile(GetSourceEXIF), "");
    EXPECT_EQ(gSourceImageEXIF, nullptr);
    EXPECT_THAT(logged("Image Properties Data"), IsEmpty());
}

TEST_F(ExifCarryOverTest, ASourceThatHasGoneIsPassedOver) {
    const auto shots = bracketWithArtists({0, 1});
    dropAndWait(shots);
    fs::remove(shots[0]);
    EXPECT_EQ(printedWhile(GetSourceEXIF),
              "No EXIF data in source...\nGot EXIF data from source...\n");
    EXPECT_THAT(gSourceImageEXIF->description(), HasSubstr("Artist 1"));
}

// The metadata is that of the file that the user added; the working copy has none.
TEST_F(ExifCarryOverTest, TheResultIsRewrittenInPlaceAfterTheTool) {
    dropAndWait(bracketWithArtists({1}));
    replaceFusionTool(std::string(takeArguments) + copyLastInput + "cp \"$out\" '" +
                      (folder / "as the tool left it.tif").native() + "'\n");
    const fs::path result = folder / "result.tif";
    fuseFullSize(result);
    EXPECT_EQ(exifToolTags(result).at("IFD0:Artist"), "Artist 1");
    EXPECT_EQ(tiffPages(result), tiffPages(folder / "as the tool left it.tif"));
    EXPECT_NE(readFile(result), readFile(folder / "as the tool left it.tif"));
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(ExifCarryOverTest, WithTheSwitchOffTheResultIsTheTools) {
    dropAndWait(bracketWithArtists({1}));
    replaceFusionTool(std::string(takeArguments) + copyLastInput + "cp \"$out\" '" +
                      (folder / "as the tool left it.tif").native() + "'\n");
    windows->settingsPanel()->preserveEXIFCheckBox()->setChecked(false);
    testing::internal::CaptureStdout();
    fuseFullSize(folder / "result.tif");
    EXPECT_THAT(testing::internal::GetCapturedStdout(), Not(HasSubstr("EXIF data")));
    EXPECT_EQ(readFile(folder / "result.tif"), readFile(folder / "as the tool left it.tif"));
}

TEST_F(ExifCarryOverTest, SourcesWithoutMetadataLeaveTheResultAsItIs) {
    dropAndWait(bracketWithArtists({}));
    replaceFusionTool(std::string(takeArguments) + copyLastInput + "cp \"$out\" '" +
                      (folder / "as the tool left it.tif").native() + "'\n");
    fuseFullSize(folder / "result.tif");
    EXPECT_EQ(readFile(folder / "result.tif"), readFile(folder / "as the tool left it.tif"));
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(ExifCarryOverTest, EveryPageOfTheResultHasThem) {
    dropAndWait(bracketWithArtists({0}));
    replaceFusionTool(std::string(takeArguments) + "tiffcp \"$last\" \"$last\" \"$out\"\n");
    fuseFullSize(folder / "result.tif");
    const Tags tags = exifToolTags(folder / "result.tif");
    EXPECT_THAT(tiffPages(folder / "result.tif"), SizeIs(2));
    EXPECT_EQ(tags.at("IFD0:Artist"), "Artist 0");
    EXPECT_EQ(tags.at("IFD1:Artist"), "Artist 0");
}

TEST_F(ExifCarryOverTest, AResultThatIsNoImageIsTold) {
    dropAndWait(bracketWithArtists({0}));
    replaceFusionTool(std::string(takeArguments) + leaveHalfAFile);
    fuseFullSize(folder / "result.tif");
    EXPECT_THAT(alerts.texts(), ElementsAre(unreadableResult));
    EXPECT_EQ(fs::file_size(folder / "result.tif"), 100U) << "as the tool left it";
}

TEST_F(ExifCarryOverTest, AMissingResultIsTold) {
    dropAndWait(bracketWithArtists({0}));
    replaceFusionTool(writeNothing);
    fuseFullSize(folder / "result.tif");
    EXPECT_THAT(alerts.texts(), ElementsAre(unreadableResult));
    EXPECT_FALSE(fs::exists(folder / "result.tif"));
}

// Its first page can be read, and its page list leads nowhere.
TEST_F(ExifCarryOverTest, AResultThatCannotBeRewrittenIsToldAndStays) {
    dropAndWait(bracketWithArtists({0}));
    const fs::path whole = folder / "two pages.tif";
    saveImage(makeImage(120, 80, {}, sceneAt(1)), folder / "page.tif");
    ASSERT_EQ(std::system(("tiffcp '" + (folder / "page.tif").native() + "' '" +
                           (folder / "page.tif").native() + "' '" + whole.native() + "'")
                              .c_str()),
              0);
    // Its last directory lies at the end: without the last bytes the second page has no end.
    const std::string bytes = readFile(whole);
    const fs::path broken = folder.write("broken.tif", bytes.substr(0, bytes.size() - 60));
    ASSERT_TRUE(isDecodable(broken));
    replaceFusionTool(std::string(takeArguments) + "cp '" + broken.native() + "' \"$out\"\n");
    fuseFullSize(folder / "result.tif");
    EXPECT_THAT(alerts.texts(), ElementsAre(unwritableResult));
    EXPECT_EQ(readFile(folder / "result.tif"), readFile(broken));
}

TEST_F(ExifCarryOverTest, ADestinationThatCannotBeMadeIsTold) {
    const fs::path file = folder / "a.tif";
    saveImage(makeImage(60, 40, {}, sceneAt(1)), file);
    const fs::path source = folder / "source.jpg";
    saveImage(makeImage(60, 40, {}, sceneAt(1)), source);
    ASSERT_TRUE(writeTags(source, {"-Artist=A"}));
    CopyImageFileAndAddEXIF(file, folder / "missing" / "b.tif", readMetadata(source));
    CopyImageFileAndAddEXIF(file, folder / "missing" / "b.tif", nullptr);
    EXPECT_THAT(alerts.texts(), ElementsAre(unwritableResult, unwritableResult));
}

TEST_F(ExifCarryOverTest, NullPropertiesMakeAPlainCopy) {
    const fs::path file = folder / "a.tif";
    saveImage(makeImage(60, 40, {}, sceneAt(1)), file);
    CopyImageFileAndAddEXIF(file, folder / "b.tif", nullptr);
    EXPECT_EQ(readFile(folder / "b.tif"), readFile(file));
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

// The real tool on the sample, at every depth: another program finds all tags of the first shot in
// the result but those that are meant to differ, named here one by one.
TEST_F(ExifCarryOverTest, TheSamplesTagsAreInItsResultAtEveryDepth) {
    dropAndWait({sampleShot(1), sampleShot(3), sampleShot(5)});
    for (int row = 0; row < 3; ++row) {
        SCOPED_TRACE(row);
        chooseDepth(row);
        const fs::path result = folder / ("depth" + std::to_string(row) + ".tif");
        fuseFullSize(result);
        const Tags tags = exifToolTags(result);
        EXPECT_THAT(complaintsIn(tags), IsEmpty());
        EXPECT_EQ(tags.at("IFD0:Orientation"), "Horizontal (normal)");
        EXPECT_EQ(tags.at("ExifIFD:LensModel"), "Sample Lens 24mm F2.8");
        const Tags source = exifToolTags(sampleShot(1));
        auto differences = differencesBetween(source, tags);
        std::erase_if(differences, [](const std::string& difference) {
            return difference.substr(1).starts_with("File:") ||
                   difference.substr(1).starts_with("Composite:");
        });
        EXPECT_THAT(
            differences,
            UnorderedElementsAre(
                // The size that the source's own pixels had, and its file format's header.
                "-ExifIFD:ExifImageWidth", "-ExifIFD:ExifImageHeight", "-JFIF:JFIFVersion",
                "-JFIF:ResolutionUnit", "-JFIF:XResolution", "-JFIF:YResolution",
                // What the tool's TIFF says of its own pixels.
                "+IFD0:SubfileType", "+IFD0:ImageWidth", "+IFD0:ImageHeight", "+IFD0:BitsPerSample",
                "+IFD0:Compression", "+IFD0:PhotometricInterpretation", "+IFD0:StripOffsets",
                "+IFD0:SamplesPerPixel", "+IFD0:RowsPerStrip", "+IFD0:StripByteCounts",
                "+IFD0:XResolution", "+IFD0:YResolution", "+IFD0:ResolutionUnit",
                "+IFD0:PlanarConfiguration", "+IFD0:XPosition", "+IFD0:YPosition",
                "+IFD0:ExtraSamples", "+IFD0:SampleFormat"));
    }
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

}  // namespace lumaweave
