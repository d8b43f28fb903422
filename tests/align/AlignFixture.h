// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "align/AutoAlignProgress.h"
#include "align/AutoAlignSettings.h"
#include "support/FakeTools.h"
#include "support/WaitingTool.h"
#include "support/WindowsFixture.h"

namespace lumaweave {
class SourcesWindow;
}

namespace lumaweave::test {

// The program, and a user who aligns the loaded stack.
class AlignTest : public WindowsTest {
  protected:
    AlignTest() : sources(*windows->sourcesWindow()) {}

    // The window that stands on the screen; null when there is none.
    static AutoAlignSettings* settingsDialog();
    static AutoAlignProgressDialog* sheet();

    // Calls the action from the dialog's own loop once it stands on the screen.
    static void inSettingsDialog(const std::function<void(AutoAlignSettings&)>& action);
    static void inSheet(const std::function<void(AutoAlignProgressDialog&)>& action);

    // Presses the align button in the column, and Align in the dialog that opens. Returns when the
    // alignment and what follows it have ended.
    void align();
    // The same, and gives what was printed meanwhile.
    std::string alignAndGiveOutput();

    // Puts a tool in the aligner's place: takeAlignArguments, then this script.
    void replaceAlignTool(const std::string& script);
    // A tool that waits for letGo before it does this.
    void makeAlignToolWait(const std::string& script);
    [[nodiscard]] bool toolWaits() const;
    void letGo() const;

    // Files named by their cells, with pictures that differ.
    std::vector<std::filesystem::path> makeShots(int count, int width = 90, int height = 60);

    // One shot of another scene, in the format that the name tells.
    [[nodiscard]] std::filesystem::path picture(const std::string& name, int width, int height,
                                                double exposure) const;

    // The echoed lines of alignments, and of preview fusions.
    static std::vector<std::string> alignLines(const std::string& output);
    static std::vector<std::string> previewLines(const std::string& output);
    void expectCellShows(int index, const std::filesystem::path& file) const;

    SourcesWindow& sources;

    static constexpr auto complete = "auto align complete, now re-enfuse everything...";

  private:
    WaitingTool waiting_{folder.path()};
};

}  // namespace lumaweave::test
