// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/AlignFixture.h"

#include <QPushButton>
#include <QTest>

#include "imaging/decoding/ImageDecoder.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "support/Printed.h"
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
        QTest::mouseClick(button(&dialog, "startButton"), Qt::LeftButton);
    });
    QPushButton* command = windows->sourcesWindow()->alignButton();
    ASSERT_TRUE(command->isEnabled());
    // The click returns when the sheet has gone.
    QTest::mouseClick(command, Qt::LeftButton);
    EXPECT_TRUE(waitForBackgroundTasks());
}

std::string AlignTest::alignAndGiveOutput() {
    return printedWhile([this] { align(); });
}

void AlignTest::replaceAlignTool(const std::string& script) {
    replaceTool("align_image_stack", takeAlignArguments + script);
}

void AlignTest::makeAlignToolWait(const std::string& script) {
    replaceAlignTool(waiting_.script() + script);
}

bool AlignTest::toolWaits() const {
    return waiting_.waits();
}

void AlignTest::letGo() const {
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

std::vector<std::string> AlignTest::alignLines(const std::string& output) {
    return echoedCommands(output, "/align_image_stack\"");
}
std::vector<std::string> AlignTest::previewLines(const std::string& output) {
    return echoedCommands(output, "EnfusedPreview.tif");
}

void AlignTest::expectCellShows(int index, const fs::path& file) const {
    EXPECT_EQ(cell(index).urlToImageFile(), file);
    EXPECT_EQ(differenceBetween(cell(index).theImage(), decodeImage(file)).largest, 0);
}

}  // namespace lumaweave::test
