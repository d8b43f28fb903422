// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMainWindow>
#include <filesystem>
#include <vector>

class QAction;
class QDockWidget;

namespace lumaweave {

class EnfuseSettingsWindow;
class PreviewWindow;
class SourcesWindow;

// The main frame: the preview in the centre, the shots docked at the left, the settings at the
// right, and the menus. Owns the three windows, which know nothing of it. Remembers its arrangement
// from one start to the next. Main thread.
class MainInterface : public QMainWindow {
    Q_OBJECT

  public:
    MainInterface();
    ~MainInterface() override;

    // Adds files as a drop would. Waits for the first layout: a scaled copy for a view without a
    // size would be one pixel.
    void openFiles(const std::vector<std::filesystem::path>& files);

    [[nodiscard]] SourcesWindow* sourcesWindow() const { return sources_; }
    [[nodiscard]] PreviewWindow* previewWindow() const { return preview_; }
    [[nodiscard]] EnfuseSettingsWindow* settingsPanel() const { return settings_; }

  protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void makeDocks();
    void makeFileMenu();
    void makeShotsMenu();
    void makeFusionMenu();
    void makeViewMenu();
    void makeHelpMenu();
    void makeStatusLine();
    void showBatchActivity();
    void chooseImages();
    void resetArrangement();
    void showAbout();
    void openWaitingFiles();
    static void closePictureWindows();

    SourcesWindow* sources_ = nullptr;
    PreviewWindow* preview_ = nullptr;
    EnfuseSettingsWindow* settings_ = nullptr;
    std::vector<QAction*> refusedDuringBatch_;
    QDockWidget* sourcesDock_ = nullptr;
    QDockWidget* settingsDock_ = nullptr;
    std::vector<std::filesystem::path> waitingFiles_;
    bool laidOut_ = false;
};

}  // namespace lumaweave
