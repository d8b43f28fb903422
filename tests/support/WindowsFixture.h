// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMainWindow>
#include <memory>

#include "support/ShotsFixture.h"

namespace lumaweave {
class EnfuseSettingsWindow;
class PreviewWindow;
class SourcesWindow;
}  // namespace lumaweave

namespace lumaweave::test {

// The three windows side by side, as the main frame has them, without anything of the frame's own.
class TestFrame : public QMainWindow {
  public:
    TestFrame();

    [[nodiscard]] SourcesWindow* sourcesWindow() const { return sources_; }
    [[nodiscard]] PreviewWindow* previewWindow() const { return preview_; }
    [[nodiscard]] EnfuseSettingsWindow* settingsPanel() const { return settings_; }

  private:
    PreviewWindow* preview_;
    SourcesWindow* sources_;
    EnfuseSettingsWindow* settings_;
};

// Shows alerts as the program does while it lives.
class PresentedAlerts {
  public:
    PresentedAlerts();
    ~PresentedAlerts();
    PresentedAlerts(const PresentedAlerts&) = delete;
    PresentedAlerts& operator=(const PresentedAlerts&) = delete;
};

// The windows on the screen, and alerts that are shown.
class WindowsTest : public ShotsTest {
  protected:
    WindowsTest();
    ~WindowsTest() override;

    std::unique_ptr<TestFrame> windows;
    PresentedAlerts presented;
};

}  // namespace lumaweave::test
