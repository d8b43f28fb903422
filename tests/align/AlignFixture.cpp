#include "align/AlignFixture.h"

#include <QPushButton>
#include <QTest>

#include "imaging/decoding/ImageDecoder.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "support/ShownWindow.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

AutoAlignSettings* AlignTest::settingsDialog() {
    return shown<AutoAlignSettings>();
}
AutoAlignProgressDialog* AlignTest::sheet() {
    return shown<AutoAlignProgressDialog>();
}

void AlignTest::inSettingsDialog(const std::function<void(AutoAlignSettings&)>& action) {
    whenShown<AutoAlignSettings>(action);
}
void AlignTest::inSheet(const std::function<void(AutoAlignProgressDialog&)>& action) {
    whenShown<AutoAlignProgressDialog>(action);
}

void AlignTest::align() {
    inSettingsDialog([](AutoAlignSettings& dialog) {
        QTest::mouseClick(dialog.findChild<QPushButton*>("startButton"), Qt::LeftButton);
    });
    QPushButton* button = windows->sourcesWindow()->alignButton();
    ASSERT_TRUE(button->isEnabled());
    // The click returns when the sheet has gone.
    QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_TRUE(waitForBackgroundTasks());
}

std::string AlignTest::alignAndGiveOutput() {
    testing::internal::CaptureStdout();
    align();
    return testing::internal::GetCapturedStdout();
}

void AlignTest::replaceAlignTool(const std::string& script) {
    replaceTool("align_image_stack", takeAlignArguments + script);
}

void AlignTest::makeAlignToolWait(const std::string& script) {
    replaceAlignTool(waiting_.script() + script);
}

void AlignTest::letGo() {
    waiting_.letGo();
}

std::vector<fs::path> AlignTest::makeShots(int count, int width, int height) {
    return makeBracket(folder.path(), width, height, count);
}

fs::path AlignTest::picture(const std::string& name, int width, int height, double exposure) const {
    fs::path file = folder / name;
    saveImage(makeImage(width, height, {}, sceneAt(exposure)), file);
    return file;
}

namespace {

std::vector<std::string> echoedLinesWith(const std::string& output, const std::string& text) {
    std::vector<std::string> lines;
    for (const std::string& line : linesStartingWith(output, "\"")) {
        if (line.find(text) != std::string::npos) lines.push_back(line);
    }
    return lines;
}

}  // namespace

std::vector<std::string> AlignTest::alignLines(const std::string& output) {
    return echoedLinesWith(output, "/align_image_stack\"");
}
std::vector<std::string> AlignTest::previewLines(const std::string& output) {
    return echoedLinesWith(output, "EnfusedPreview.tif");
}

void AlignTest::expectCellShows(int index, const fs::path& file) const {
    EXPECT_EQ(cell(index).urlToImageFile(), file);
    EXPECT_EQ(differenceBetween(cell(index).theImage(), decodeImage(file)).largest, 0);
}

}  // namespace lumaweave::test
