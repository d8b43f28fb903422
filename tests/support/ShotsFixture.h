// SPDX-License-Identifier: GPL-3.0-or-later
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
class QPushButton;

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

    // Whoever made the windows calls this in its destructor, before they go.
    static void waitForTheEnd();

    [[nodiscard]] static SourceCellViewController& cell(int index);
    // Drops files on a widget with real drag and drop events, and waits until they are loaded and
    // everything that follows has ended.
    static void dropAndWait(QWidget* target, const std::vector<std::filesystem::path>& files);
    static void dropAndWait(const std::vector<std::filesystem::path>& files);
    static void dropAndWait(QWidget* target, const QList<QUrl>& urls);
    // Drops two equal shots, "a.tif" and "b.tif", and waits as well.
    void dropTwoOf(const Image& picture) const;
    // Only drops.
    static void sendDrop(QWidget* target, const QList<QUrl>& urls);
    static void sendDrop(QWidget* target, const QMimeData& data);
    // Fuses full size to the file through the fuse button, and waits for the end of it.
    static void fuseFullSize(const std::filesystem::path& result);
    // Chooses the output depth of this row, and waits for the preview that follows.
    static void chooseDepth(int row);
    [[nodiscard]] static QPushButton* button(const QWidget* window, const char* name);
    // The fusion tool leaves its last input.
    void copyWithTool();
    // Puts a shell script (without its first line) in the place of the resource folder's
    // "enfuse-openmp" until the test ends.
    void replaceFusionTool(const std::string& script);
    // The same in the place of any tool of the folder "Enfuse".
    void replaceTool(const std::string& name, const std::string& script);

    TestFolder folder;
    LogRecorder log;
    AlertAnswerer alerts;

  private:
    TestFolder resources_;
};

// The parts of an echoed command that stand between double quotes.
[[nodiscard]] std::vector<std::string> quotedParts(const std::string& command);
// The command lines that an output echoes; with a text, those that hold it.
[[nodiscard]] std::vector<std::string> echoedCommands(const std::string& output,
                                                      const std::string& text = {});
// The lines of a text that begin with this.
[[nodiscard]] std::vector<std::string> linesStartingWith(const std::string& text,
                                                         const std::string& start);

}  // namespace lumaweave::test
