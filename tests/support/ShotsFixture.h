#pragma once

#include <gmock/gmock.h>

#include <QUrl>
#include <filesystem>
#include <string>
#include <vector>

#include "support/AlertAnswerer.h"
#include "support/LogRecorder.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"
#include "support/Waiting.h"

class QMimeData;

namespace lumaweave {
class SourceCellViewController;
}

namespace lumaweave::test {

// A user before the windows: drops shots, fuses them, and answers every alert. The windows are made
// by the fixtures that derive from this one (WindowsTest, ProgramTest).
class ShotsTest : public testing::Test {
  protected:
    ShotsTest() = default;
    ~ShotsTest() override;

    // To be called by the destructor of whoever made the windows, before they go.
    static void waitForTheEnd();

    [[nodiscard]] static SourceCellViewController& cell(int index);
    // Drops files on a widget with real drag and drop events, and waits until they are loaded and
    // everything that follows has ended.
    static void dropAndWait(QWidget* target, const std::vector<std::filesystem::path>& files);
    static void dropAndWait(const std::vector<std::filesystem::path>& files);
    // The same with any URLs.
    static void sendDrop(QWidget* target, const QList<QUrl>& urls);
    static void sendDrop(QWidget* target, const QMimeData& data);
    // Fuses full size to the file through the fuse button, and waits for the end of it.
    static void fuseFullSize(const std::filesystem::path& result);
    // Replaces the tools of the resource folder, until the test ends: a shell script (without its
    // first line) in the place of "enfuse-openmp".
    void replaceFusionTool(const std::string& script);
    // The same in the place of any tool of the folder "Enfuse".
    void replaceTool(const std::string& name, const std::string& script);

    TestFolder folder;
    LogRecorder log;
    AlertAnswerer alerts;

  private:
    TestFolder resources_;
};

// The images and options of an echoed fusion command: what stands between double quotes.
[[nodiscard]] std::vector<std::string> quotedParts(const std::string& command);
// The lines of a text that begin with this.
[[nodiscard]] std::vector<std::string> linesStartingWith(const std::string& text,
                                                         const std::string& start);

}  // namespace lumaweave::test
