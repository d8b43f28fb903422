// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPushButton>
#include <string>
#include <vector>

#include "batch/BatchProgress.h"
#include "batch/BatchSettings.h"
#include "support/FakeTools.h"
#include "support/WaitingTool.h"
#include "support/WindowsFixture.h"

namespace lumaweave::test {

// The windows, and a user who fuses a folder, without metadata unless a test says so.
class BatchTest : public WindowsTest {
  protected:
    BatchTest();
    ~BatchTest() override;

    // The window that stands on the screen; null when there is none.
    static BatchSettingsDialog* settingsDialog();
    static BatchProgressDialog* sheet();

    // Small pictures of these names in the batch folder.
    void makeFiles(const std::vector<std::string>& names, int width = 60, int height = 40) const;
    // Chooses so many shots, and the folder. Returns when all has ended.
    void batch(int shots, bool align = false);
    // The tool waits until letGo.
    void makeToolWait(const std::string& name, const std::string& script);
    void letGo() const;
    [[nodiscard]] bool toolWaits() const;

    [[nodiscard]] std::filesystem::path result(const std::string& name) const {
        return photos() / "Enfused Files" / name;
    }
    [[nodiscard]] std::filesystem::path photos() const { return folder / "photos"; }
    // The names of the results, sorted.
    [[nodiscard]] std::vector<std::string> results() const;
    [[nodiscard]] bool hasLog(const std::string& part) const;
    // The cells are empty and every command is offered again.
    void expectAtRest() const;

    static constexpr auto complete = "Batch Complete!";
    static constexpr auto canceled = "Batch Canceled!";
    static constexpr auto tooMany = "Too many images in Batch set!";
    static constexpr auto mismatch =
        "During the batch a mismatch was found between the number of image files available and "
        "the number of shots per bracket set that you entered.  In other words, more images were "
        "expected, but not found.";

    std::vector<std::filesystem::path> chosen;
    int timesAsked = 0;

  private:
    WaitingTool waiting_{folder.path()};
};

}  // namespace lumaweave::test
