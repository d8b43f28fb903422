#include "support/ProgramFixture.h"

#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <sstream>

#include "app/Services.h"
#include "app/SharedState.h"
#include "platform/Resources.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "sources/SourceCellViewController.h"
#include "sources/SourcesWindow.h"
#include "widgets/ImageView.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

ProgramTest::ProgramTest()
    : windows(std::make_unique<MainInterface>()), delegate(std::make_unique<AppDelegate>()) {
    windows->show();
    delegate->applicationDidFinishLaunching();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(windows.get()));
}

ProgramTest::~ProgramTest() {
    EXPECT_TRUE(waitForBackgroundTasks());
    SetSaveFilenameChooser({});
    setResourceFolder(LUMAWEAVE_RESOURCES);
    windows.reset();
    delegate.reset();
    gNumSourceImages = 0;
    gDoingBatch = false;
    gDetailCoord = {};
    gImageWidth = gImageHeight = 0.0F;
    gImageAspectRatio = 1.0F;
    gEnfuseSavePath.clear();
}

SourceCellViewController& ProgramTest::cell(int index) const {
    return *gSourceCells.at(static_cast<std::size_t>(index));
}

void ProgramTest::sendDrop(QWidget* target, const QList<QUrl>& urls) {
    QMimeData data;
    data.setUrls(urls);
    sendDrop(target, data);
}

void ProgramTest::sendDrop(QWidget* target, const QMimeData& data) {
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

void ProgramTest::dropAndWait(QWidget* target, const std::vector<fs::path>& files) {
    QList<QUrl> urls;
    for (const fs::path& file : files)
        urls << UrlFromPath(file);
    bool ended = false;
    const auto connection = QObject::connect(windows->sourcesWindow(), &SourcesWindow::loadEnded,
                                             [&ended] { ended = true; });
    sendDrop(target, urls);
    EXPECT_TRUE(waitUntil([&ended] { return ended; }));
    QObject::disconnect(connection);
    EXPECT_TRUE(waitForBackgroundTasks());
}

void ProgramTest::dropAndWait(const std::vector<fs::path>& files) {
    dropAndWait(windows->sourcesWindow(), files);
}

void ProgramTest::fuseFullSize(const fs::path& result) {
    SetSaveFilenameChooser([result] { return result; });
    // The click returns when the fusion has ended and what follows it is done.
    QTest::mouseClick(windows->previewWindow()->fuseButton(), Qt::LeftButton);
    EXPECT_TRUE(waitForBackgroundTasks());
}

void ProgramTest::replaceFusionTool(const std::string& script) {
    replaceTool("enfuse-openmp", script);
}

void ProgramTest::replaceTool(const std::string& name, const std::string& script) {
    // Tools that have been replaced before stay so.
    fs::copy(LUMAWEAVE_RESOURCES, resources_.path(),
             fs::copy_options::recursive | fs::copy_options::skip_existing);
    const fs::path tool = resources_.write("Enfuse/" + name, "#!/bin/sh\n" + script);
    fs::permissions(tool, fs::perms::owner_all);
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

std::vector<std::string> linesStartingWith(const std::string& text, const std::string& start) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(start)) lines.push_back(line);
    }
    return lines;
}

}  // namespace lumaweave::test
