// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/ShotsFixture.h"

#include <QApplication>
#include <QButtonGroup>
#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <sstream>

#include "align/AlignSettings.h"
#include "batch/BatchState.h"
#include "fusion/ExifCarryOver.h"
#include "fusion/SavePanel.h"
#include "imaging/metadata/Metadata.h"
#include "platform/FileUrls.h"
#include "platform/Resources.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "support/FakeTools.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

ShotsTest::~ShotsTest() {
    setSaveFilenameChooser({});
    setResourceFolder(LUMAWEAVE_RESOURCES);
    // Every test starts with the values that a run of the program starts with.
    gNumSourceImages = 0;
    gDoingBatch = false;
    gBatchFolderPath.clear();
    gBatchList.reset();
    gNumFilesInBatchFolder = gNumBatchSets = gNumImagesInBatchSet = 0;
    gCancelBatch = gAutoAlignDuringBatch = false;
    gAA_GridSize = AlignSettings().gridSize;
    gAA_NumControlPoints = AlignSettings().numControlPoints;
    gAA_AssumeFullFrameFisheye = gAA_OptimizeFOV = false;
    gBestMessageNum = 0;
    gSourceImageEXIF.reset();
    gDetailCoord = {};
    gImageWidth = gImageHeight = 0.0F;
    gImageAspectRatio = 1.0F;
    gEnfuseSavePath.clear();
}

void ShotsTest::waitForTheEnd() {
    EXPECT_TRUE(waitForBackgroundTasks());
}

SourceCellViewController& ShotsTest::cell(int index) {
    return *gSourceCells.at(static_cast<std::size_t>(index));
}

void ShotsTest::sendDrop(QWidget* target, const QList<QUrl>& urls) {
    QMimeData data;
    data.setUrls(urls);
    sendDrop(target, data);
}

void ShotsTest::sendDrop(QWidget* target, const QMimeData& data) {
    const QPoint centre = target->rect().center();
    const Qt::DropActions offered = Qt::CopyAction | Qt::MoveAction;
    QDragEnterEvent enter(centre, offered, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDragMoveEvent move(centre, offered, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &move);
    QDropEvent drop(centre, offered, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_EQ(drop.dropAction(), Qt::CopyAction);
}

void ShotsTest::dropAndWait(QWidget* target, const std::vector<fs::path>& files) {
    QList<QUrl> urls;
    for (const fs::path& file : files)
        urls << urlFromPath(file);
    dropAndWait(target, urls);
}

void ShotsTest::dropAndWait(QWidget* target, const QList<QUrl>& urls) {
    bool ended = false;
    const auto connection =
        QObject::connect(gSourcesWindow, &SourcesWindow::loadEnded, [&ended] { ended = true; });
    sendDrop(target, urls);
    EXPECT_TRUE(waitUntil([&ended] { return ended; }));
    QObject::disconnect(connection);
    EXPECT_TRUE(waitForBackgroundTasks());
}

void ShotsTest::dropAndWait(const std::vector<fs::path>& files) {
    dropAndWait(gSourcesWindow, files);
}

void ShotsTest::dropTwoOf(const Image& picture) const {
    const std::vector<fs::path> files = {folder / "a.tif", folder / "b.tif"};
    for (const fs::path& file : files)
        saveImage(picture, file);
    dropAndWait(files);
}

void ShotsTest::fuseFullSize(const fs::path& result) {
    setSaveFilenameChooser([result] { return result; });
    // The click returns when the fusion has ended and what follows it is done.
    QTest::mouseClick(gPreviewWindow->fuseButton(), Qt::LeftButton);
    EXPECT_TRUE(waitForBackgroundTasks());
}

void ShotsTest::chooseDepth(int row) {
    gEnfuseSettingsPanel->outputDepthMatrix()->button(row)->click();
    EXPECT_TRUE(waitForBackgroundTasks());
}

QPushButton* ShotsTest::button(const QWidget* window, const char* name) {
    return window->findChild<QPushButton*>(name);
}

void ShotsTest::copyWithTool() {
    replaceFusionTool(std::string(takeArguments) + copyLastInput);
}

void ShotsTest::replaceFusionTool(const std::string& script) {
    replaceTool("enfuse-openmp", script);
}

void ShotsTest::replaceTool(const std::string& name, const std::string& script) {
    // Tools that have been replaced before stay so.
    fs::copy(LUMAWEAVE_RESOURCES, resources_.path(),
             fs::copy_options::recursive | fs::copy_options::skip_existing);
    writeScript(resources_ / ("Enfuse/" + name), script);
    setResourceFolder(resources_.path());
}

std::vector<std::string> quotedParts(const std::string& command) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    while ((begin = command.find('"', begin)) != std::string::npos) {
        const std::size_t end = command.find('"', begin + 1);
        parts.push_back(command.substr(begin + 1, end - begin - 1));
        begin = end + 1;
    }
    return parts;
}

std::vector<std::string> echoedCommands(const std::string& output, const std::string& text) {
    std::vector<std::string> commands = linesStartingWith(output, "\"");
    std::erase_if(commands, [&text](const std::string& command) {
        return command.find(text) == std::string::npos;
    });
    return commands;
}

std::vector<std::string> linesStartingWith(const std::string& text, const std::string& start) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(start)) lines.push_back(line);
    }
    return lines;
}

}  // namespace lumaweave::test
