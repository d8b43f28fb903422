// SPDX-License-Identifier: GPL-3.0-or-later
#include "sources/SourcesWindow.h"

#include <sys/stat.h>
#include <unistd.h>

#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QMimeData>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QSettings>
#include <QTest>

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/formats/VipsLibrary.h"
#include "platform/FileUrls.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/DecodedShot.h"
#include "sources/LoadingDialog.h"
#include "sources/SourceCellImageView.h"
#include "sources/SourceCellViewController.h"
#include "stack/WorkingFiles.h"
#include "support/AlertTexts.h"
#include "support/ShownWindow.h"
#include "support/WindowsFixture.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SourcesWindowTest : public WindowsTest {
  protected:
    SourcesWindowTest() : sources(*windows->sourcesWindow()) {}

    std::vector<fs::path> makeShots(int count) { return makeBracket(folder.path(), 60, 40, count); }
    int filledCells() const {
        int filled = 0;
        for (int i = 0; i < sourceCellCount; ++i) {
            if (!cell(i).urlToImageFile().empty()) ++filled;
        }
        return filled;
    }
    // Dismisses the sheet that is left when there is no room for more, once its worker has gone.
    void dismissLeftSheet(const std::function<void(LoadingDialog&)>& dismiss) {
        whenTrue(
            [this] {
                return alerts.count("Can't add any more images!") == 1 &&
                       runningBackgroundTasks() == 0 && sources.loadDialog() != nullptr;
            },
            [this, dismiss] { dismiss(*sources.loadDialog()); });
    }

    SourcesWindow& sources;
};

TEST_F(SourcesWindowTest, FillsTheSharedStateWhenItIsMade) {
    EXPECT_EQ(gSourcesWindow, &sources);
    EXPECT_NE(gBlankCellBackground, nullptr);
    EXPECT_FALSE(gBlankCellBackground->isNull());
    for (int i = 0; i < sourceCellCount; ++i) {
        EXPECT_EQ(cell(i).cellNum(), i);
        EXPECT_EQ(cell(i).cellImageView()->cellNum(), i);
    }
}

TEST_F(SourcesWindowTest, CellsStandInOneColumnFromTheTop) {
    const int height = cell(0).view()->height();
    EXPECT_EQ(sources.sourceImagesScrollView()->widget()->height(), 16 * height);
    for (int i = 0; i < sourceCellCount; ++i) {
        EXPECT_EQ(cell(i).view()->pos(), QPoint(2, i * height)) << i;
        EXPECT_TRUE(cell(i).view()->isVisible());
    }
}

TEST_F(SourcesWindowTest, RepositioningFollowsTheCellsHeights) {
    for (int i = 0; i < sourceCellCount; ++i)
        cell(i).view()->resize(180, 100);
    sources.windowDidResize();
    for (int k = 0; k < sourceCellCount; ++k) {
        EXPECT_EQ(cell(k).view()->pos(), QPoint(2, 100 * k));
    }
}

TEST_F(SourcesWindowTest, EveryDragIsWelcomeAsACopyWhateverItCarries) {
    QMimeData data;
    data.setText("words");
    QDragEnterEvent enter({5, 5}, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(&sources, &enter);
    EXPECT_TRUE(enter.isAccepted());
    EXPECT_EQ(enter.dropAction(), Qt::CopyAction);
    EXPECT_TRUE(sources.prepareForDragOperation());
    EXPECT_TRUE(sources.performDragOperation());
}

TEST_F(SourcesWindowTest, ADropWithoutFileNamesIsAcceptedAndIgnored) {
    QMimeData data;
    data.setImageData(QImage(8, 8, QImage::Format_RGB32));
    sendDrop(&sources, data);
    QApplication::processEvents();
    EXPECT_EQ(sources.loadDialog(), nullptr);
    EXPECT_EQ(log.count("concludeDragOperation..."), 0);
    EXPECT_EQ(gNumSourceImages, 0);
}

TEST_F(SourcesWindowTest, TheDropsHandlerReturnsBeforeTheLoadBegins) {
    sendDrop(&sources, {urlFromPath(makeShots(1).front())});
    EXPECT_EQ(sources.loadDialog(), nullptr);
    EXPECT_EQ(log.count("concludeDragOperation..."), 0);
    EXPECT_TRUE(waitUntil([] { return gNumSourceImages == 1; }));
    EXPECT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(sources.loadDialog(), nullptr);
}

// Watches the sheet of the next load.
class SheetWatcher {
  public:
    int maximum = -1;
    bool modal = false;
    std::vector<int> values;

  private:
    AtShowing<LoadingDialog> showing_{[this](LoadingDialog& dialog) {
        maximum = dialog.progressBar()->maximum();
        values.push_back(dialog.progressBar()->value());
        modal = dialog.isModal();
        QObject::connect(dialog.progressBar(), &QProgressBar::valueChanged, &showing_,
                         [this](int value) { values.push_back(value); });
    }};
};

TEST_F(SourcesWindowTest, ThreeFilesFillTheFirstThreeCellsAndAreFusedOnce) {
    SheetWatcher sheet;
    testing::internal::CaptureStdout();
    dropAndWait(makeShots(3));
    const auto commands = echoedCommands(testing::internal::GetCapturedStdout());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(cell(i).filenameToDisplay(), "shot " + std::to_string(i) + ".jpg");
    }
    EXPECT_EQ(gNumSourceImages, 3);
    EXPECT_EQ(sheet.maximum, 3);
    EXPECT_TRUE(sheet.modal);
    EXPECT_THAT(sheet.values, ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(sources.loadDialog(), nullptr);
    // The preview, the detail that its showing rebuilds, and the loading thread's own detail.
    ASSERT_EQ(commands.size(), 3U);
    EXPECT_THAT(commands[0], HasSubstr("EnfusedPreview.tif"));
    EXPECT_THAT(commands[1], HasSubstr("EnfusedDetail.tif"));
    EXPECT_THAT(commands[2], HasSubstr("EnfusedDetail.tif"));
    EXPECT_EQ(log.count("concludeDragOperation..."), 1);
    EXPECT_EQ(log.count("FindFreeSourceImageCell..."), 3);
}

TEST_F(SourcesWindowTest, OneFileIsLoadedAndStartsNoFusion) {
    testing::internal::CaptureStdout();
    dropAndWait(makeShots(1));
    EXPECT_THAT(echoedCommands(testing::internal::GetCapturedStdout()), IsEmpty());
    EXPECT_EQ(gNumSourceImages, 1);
}

TEST_F(SourcesWindowTest, TwentyFilesFillSixteenCellsAndThePersonDismissesTheSheetWithEscape) {
    SheetWatcher sheet;
    dismissLeftSheet([](LoadingDialog& left) { QTest::keyClick(&left, Qt::Key_Escape); });
    testing::internal::CaptureStdout();
    dropAndWait(makeShots(20));
    EXPECT_EQ(filledCells(), 16);
    EXPECT_EQ(gNumSourceImages, 16);
    EXPECT_EQ(sheet.maximum, 20);
    EXPECT_EQ(sheet.values.back(), 16);
    EXPECT_THAT(echoedCommands(testing::internal::GetCapturedStdout()), IsEmpty())
        << "no fusion on this way";
}

TEST_F(SourcesWindowTest, TheSheetThatIsLeftCanBeClosedByItsButtonToo) {
    bool offered = false;
    dismissLeftSheet([&offered](LoadingDialog& sheet) {
        offered = button(&sheet, "closeButton")->isVisible();
        sheet.close();
    });
    dropAndWait(makeShots(17));
    EXPECT_TRUE(offered);
    sources.clearAllCellsAction(nullptr);
    alerts.forget();
    dismissLeftSheet([](LoadingDialog& sheet) {
        QTest::mouseClick(button(&sheet, "closeButton"), Qt::LeftButton);
    });
    dropAndWait(makeShots(17));
    EXPECT_EQ(sources.loadDialog(), nullptr);
    EXPECT_EQ(filledCells(), 16);
}

TEST_F(SourcesWindowTest, TheSheetCannotBeDismissedWhileItsWorkerLives) {
    bool stayed = false;
    alerts.answer = [&](QMessageBox* box) {
        // The worker waits for this alert.
        QTest::keyClick(sources.loadDialog().get(), Qt::Key_Escape);
        sources.loadDialog()->close();
        stayed = sources.loadDialog() != nullptr && sources.loadDialog()->isRunning();
        box->button(QMessageBox::Ok)->click();
    };
    dropAndWait({folder.write("words.jpg", "words")});
    EXPECT_TRUE(stayed);
}

TEST_F(SourcesWindowTest, AGapIsFilledFirst) {
    dropAndWait(makeShots(16));
    EXPECT_THAT(alerts.texts(), IsEmpty()) << "sixteen files fit";
    EXPECT_EQ(FindFreeSourceImageCell(), -1);
    cell(4).removeCellAction(nullptr);
    EXPECT_EQ(FindFreeSourceImageCell(), 4);
    const fs::path next = folder / "next.jpg";
    fs::copy_file(folder / "shot 0.jpg", next);
    dropAndWait({next});
    EXPECT_EQ(cell(4).filenameToDisplay(), "next.jpg");
    EXPECT_EQ(gNumSourceImages, 16);
}

TEST_F(SourcesWindowTest, ADropOnACellIsADropOnTheWindow) {
    dropAndWait(cell(7).cellImageView(), makeShots(2));
    EXPECT_EQ(cell(0).filenameToDisplay(), "shot 0.jpg");
    EXPECT_EQ(cell(1).filenameToDisplay(), "shot 1.jpg");
    EXPECT_TRUE(cell(7).urlToImageFile().empty());
}

TEST_F(SourcesWindowTest, FilesKeepTheOrderOfTheDrop) {
    auto files = makeShots(6);
    std::swap(files[0], files[5]);
    std::swap(files[2], files[3]);
    dropAndWait(files);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(cell(i).urlToOriginalFile(), files[static_cast<std::size_t>(i)]);
    }
}

TEST_F(SourcesWindowTest, ADropDuringALoadWaitsForItsEnd) {
    const auto files = makeShots(4);
    bool dropped = false;
    alerts.answer = [&](QMessageBox* box) {
        if (!dropped) sources.addFiles({files[2], files[3]});
        dropped = true;
        box->button(QMessageBox::Ok)->click();
    };
    dropAndWait({folder.write("words.jpg", "words"), files[0], files[1]});
    EXPECT_TRUE(waitUntil([] { return gNumSourceImages == 4; }));
    EXPECT_TRUE(waitForBackgroundTasks());
    EXPECT_TRUE(waitUntil([this] { return sources.loadDialog() == nullptr; }));
    EXPECT_EQ(cell(3).filenameToDisplay(), "shot 3.jpg");
}

TEST_F(SourcesWindowTest, AResizeDuringALoadLeavesEveryScaledCopyInTheLastSize) {
    const auto shots = makeBracket(folder.path(), 900, 600, 6);
    for (int i = 0; i < 3; ++i) {
        whenTrue([] { return gNumSourceImages >= 2; },
                 [this, i] {
                     windows->resize(1050 + 120 * i, 700);
                     windows->previewWindow()->windowDidEndLiveResize();
                 });
        dropAndWait(shots);
        const QSize wanted =
            fittedPixels({900, 600}, windows->previewWindow()->enfusedView()->size());
        for (int n = 0; n < 6; ++n) {
            const Image scaled = decodeImage(GetURLToScaledSourceFile(n));
            EXPECT_EQ(QSize(scaled.pixelsWide(), scaled.pixelsHigh()), wanted) << n;
        }
        EXPECT_EQ(windows->previewWindow()->enfusedView()->image().size(), wanted);
        EXPECT_THAT(alerts.texts(), IsEmpty());
        sources.clearAllCellsAction(nullptr);
    }
}

TEST_F(SourcesWindowTest, ClearingTakesAllShotsOutAndFusesNothing) {
    dropAndWait(makeShots(4));
    ASSERT_FALSE(windows->previewWindow()->enfusedView()->image().isNull());
    testing::internal::CaptureStdout();
    QTest::mouseClick(button(&sources, "clearAllCellsButton"), Qt::LeftButton);
    ASSERT_TRUE(waitForBackgroundTasks());
    EXPECT_THAT(echoedCommands(testing::internal::GetCapturedStdout()), IsEmpty());
    EXPECT_EQ(gNumSourceImages, 0);
    EXPECT_EQ(filledCells(), 0);
    EXPECT_TRUE(windows->previewWindow()->enfusedView()->image().isNull());
    EXPECT_TRUE(windows->previewWindow()->detailView()->image().isNull());
    const QImage blank = gBlankCellBackground->toImage();
    for (int i = 0; i < sourceCellCount; ++i) {
        EXPECT_EQ(cell(i).textField()->text(), "");
        EXPECT_EQ(cell(i).cellImageView()->image(), blank);
    }
}

TEST_F(SourcesWindowTest, ClearingAnEmptyGridLeavesTheCountAtZero) {
    sources.clearAllCellsAction(nullptr);
    EXPECT_EQ(gNumSourceImages, 0);
}

TEST_F(SourcesWindowTest, SwitchingResavingWithShotsLoadedSaysThatTheyStayAsTheyAre) {
    dropAndWait(makeShots(1));
    QTest::mouseClick(sources.ensureValidTIFFFilesCheckBox(), Qt::LeftButton, {}, {8, 8});
    EXPECT_THAT(alerts.texts(),
                ElementsAre("Changes will only be applied to new images dragged into the list.  "
                            "Existing images are unchanged"));
    EXPECT_FALSE(sources.ensureValidTIFFFilesCheckBox()->isChecked());
    EXPECT_EQ(QSettings().value("ensureValidTIFFFilesCheckBox").toInt(), 0);
    EXPECT_EQ(cell(0).urlToImageFile(), GetURLToTIFFedSource(0));
}

TEST_F(SourcesWindowTest, SwitchingResavingWithNothingLoadedOnlySaves) {
    QTest::mouseClick(sources.ensureValidTIFFFilesCheckBox(), Qt::LeftButton, {}, {8, 8});
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(QSettings().value("ensureValidTIFFFilesCheckBox", 7).toInt(), 0);
}

TEST_F(SourcesWindowTest, ResavingIsOnAtFirstAndComesBackAsItWasSaved) {
    EXPECT_TRUE(sources.ensureValidTIFFFilesCheckBox()->isChecked());
    QSettings().setValue("ensureValidTIFFFilesCheckBox", 0);
    windows.reset();
    windows = std::make_unique<TestFrame>();
    EXPECT_FALSE(windows->sourcesWindow()->ensureValidTIFFFilesCheckBox()->isChecked());
}

class BadInputTest : public SourcesWindowTest {
  protected:
    // Drops the bad file between two good ones: an alert comes, and the good ones load.
    void expectRefused(const QUrl& bad) {
        const auto shots = makeShots(2);
        dropAndWait(&sources, QList<QUrl>{urlFromPath(shots[0]), bad, urlFromPath(shots[1])});
        EXPECT_THAT(alerts.texts(), ElementsAre(unrecognizedFile)) << bad.toString().toStdString();
        EXPECT_EQ(cell(0).filenameToDisplay(), "shot 0.jpg");
        EXPECT_EQ(cell(1).filenameToDisplay(), "shot 1.jpg");
        EXPECT_EQ(filledCells(), 2);
        sources.clearAllCellsAction(nullptr);
        alerts.forget();
    }
    void expectRefused(const fs::path& bad) { expectRefused(urlFromPath(bad)); }
};

TEST_F(BadInputTest, FilesThatAreNoPictures) {
    expectRefused(folder.write("empty.jpg", ""));
    expectRefused(folder.write("words.tif", "some words"));
    expectRefused(folder.write("table.jpg", "1,2,3\n4,5,6\n"));
    expectRefused(folder.write("drawing.png",
                               "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>"));
    expectRefused(folder / "not there.jpg");
}

TEST_F(BadInputTest, ATruncatedPicture) {
    const fs::path whole = makeShots(1).front();
    const std::string bytes = readFile(whole);
    expectRefused(folder.write("truncated-in-scan.jpg", bytes.substr(0, bytes.size() * 2 / 3)));
    expectRefused(folder.write("truncated-in-header.jpg", bytes.substr(0, 40)));
}

TEST_F(BadInputTest, APictureThatDeclaresAHugeSize) {
    // A baseline JPEG header that claims 60000 x 60000 pixels.
    std::string bytes = readFile(makeShots(1).front());
    const std::size_t frame = bytes.find("\xFF\xC0");
    ASSERT_NE(frame, std::string::npos);
    for (const std::size_t field : {frame + 5, frame + 7}) {
        bytes[field] = static_cast<char>(0xEA);
        bytes[field + 1] = static_cast<char>(0x60);
    }
    expectRefused(folder.write("declares-60000x60000.jpg", bytes));
}

TEST_F(BadInputTest, DirectoriesPipesAndDevices) {
    fs::create_directory(folder / "folder.jpg");
    expectRefused(folder / "folder.jpg");
    ASSERT_EQ(mkfifo((folder / "pipe.jpg").c_str(), 0600), 0);
    expectRefused(folder / "pipe.jpg");
    expectRefused(fs::path("/dev/zero"));
    expectRefused(fs::path("/dev/tty"));
}

TEST_F(BadInputTest, AFileWithoutPermission) {
    // Root may read everything but what nobody can read: memory without pages.
    const fs::path file = makeShots(1).front();
    const fs::path locked = folder / "locked.jpg";
    fs::copy_file(file, locked);
    fs::permissions(locked, fs::perms::none);
    if (geteuid() == 0) {
        expectRefused(fs::path("/proc/self/mem"));
    } else {
        expectRefused(locked);
    }
}

TEST_F(BadInputTest, AUrlThatIsNotLocal) {
    expectRefused(QUrl("http://127.0.0.1:9/picture.jpg"));
    expectRefused(QUrl("file://elsewhere/picture.jpg"));
}

// Names that a shell would act on: none runs anything, and the pictures fuse all the same.
TEST_F(SourcesWindowTest, NoFileNameBecomesACommand) {
    for (const bool resave : {true, false}) {
        sources.ensureValidTIFFFilesCheckBox()->setChecked(resave);
        fs::current_path(folder.path());
        std::vector<fs::path> files;
        const std::vector<std::string> names = {
            "$(touch x).tif",   "`touch x`.tif", "a\";touch x;\".tif", "a\\\"$(touch x).tif",
            "a\ntouch x\n.tif", "$HOME.jpg",     "; touch x ;.tif",    "100% & 'quoted' #.tif"};
        double exposure = 0.1;
        for (const std::string& name : names) {
            files.push_back(folder / name);
            const bool tiff = name.ends_with(".tif");
            const fs::path plain = folder / (tiff ? "plain.tif" : "plain.jpg");
            saveImage(makeImage(60, 40, {}, sceneAt(exposure *= 1.6)), plain);
            fs::rename(plain, files.back());
        }
        dropAndWait(files);
        EXPECT_THAT(alerts.texts(), IsEmpty());
        EXPECT_EQ(gNumSourceImages, static_cast<int>(files.size()));
        EXPECT_FALSE(windows->previewWindow()->enfuseImage().isNull());
        fuseFullSize(folder / "fused.tif");
        EXPECT_EQ(decodeImage(folder / "fused.tif").size(), QSizeF(60, 40));
        EXPECT_FALSE(fs::exists(folder / "x"));
        fs::remove(folder / "fused.tif");
        sources.clearAllCellsAction(nullptr);
    }
}

TEST_F(SourcesWindowTest, NamesThatAreNotUtf8AreLoaded) {
    const fs::path file = folder / "caf\xe9 [1].jpg";
    fs::copy_file(makeShots(1).front(), file);
    dropAndWait({file});
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(cell(0).urlToOriginalFile(), file);
}

}  // namespace lumaweave
