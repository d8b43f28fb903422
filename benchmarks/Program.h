// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QApplication>
#include <filesystem>
#include <functional>
#include <vector>

#include "app/AppDelegate.h"
#include "app/MainInterface.h"
#include "app/ProgramRun.h"

namespace lumaweave {
class SourceCellViewController;
}

namespace lumaweave::bench {

// Ends this process when the program shows an alert: nobody is there to answer it, and what is
// measured after it would be something else. Answers the one that is expected.
class AlertWatch : public QObject {
  public:
    AlertWatch();
    ~AlertWatch() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    // Calls `then` instead, once, when an alert has this text.
    void expect(const QString& text, std::function<void()> then);

  private:
    QString expected_;
    std::function<void()> then_;
};

// The whole program on the screen, as its main() makes it, and what a user does with it. All times
// are in seconds.
class Program {
  public:
    Program();

    // Drops the files on the shots column; the time from the drop until all cells are filled, their
    // files are written and the sheet has gone. The preview then goes on.
    [[nodiscard]] double load(const std::vector<std::filesystem::path>& files);
    // Loads the files and waits for the preview.
    void loadAndWait(const std::vector<std::filesystem::path>& files);
    // Aligns the stack with the settings as they are, and waits for the new preview.
    void align() const;
    // Waits until no task runs in the background any more.
    void waitForTasks() const;
    // Empties all cells, and removes what their pictures have left in the working folder.
    void clear() const;
    // Clicks the preview in its middle, which fuses the detail there.
    void clickPreviewCentre() const;
    // Moves the brightness slider by one step with a key; the time until the new preview and detail
    // are on the screen.
    [[nodiscard]] double changeBrightness(bool upward) const;
    void chooseSixteenBit() const;
    // Fuses full size; the time from knowing the file's name until all is done.
    [[nodiscard]] double fuseFullSize(const std::filesystem::path& result) const;
    // Fuses a folder of brackets of so many shots; the time from knowing the folder until the
    // message that all is done.
    [[nodiscard]] double fuseFolder(const std::filesystem::path& folder, int shots);

  private:
    int argumentCount_ = 1;
    char name_[16] = "lumaweave-bench";
    char* arguments_[2] = {name_, nullptr};
    QApplication application_;
    ProgramRun run_;
    AlertWatch alerts_;
    MainInterface windows_;
    AppDelegate delegate_;
};

}  // namespace lumaweave::bench
