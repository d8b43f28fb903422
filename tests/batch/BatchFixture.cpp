// SPDX-License-Identifier: GPL-3.0-or-later
#include "batch/BatchFixture.h"

#include <QCheckBox>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>

#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourcesWindow.h"
#include "stack/BatchActivity.h"
#include "stack/SharedState.h"
#include "support/ShownWindow.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

BatchTest::BatchTest() {
    windows->settingsPanel()->preserveEXIFCheckBox()->setChecked(false);
    fs::create_directory(photos());
    chosen = {photos()};
    setBatchFolderChooser([this] {
        ++timesAsked;
        return chosen;
    });
}

BatchTest::~BatchTest() {
    EXPECT_TRUE(waitForBackgroundTasks());
    setBatchFolderChooser({});
}

BatchSettingsDialog* BatchTest::settingsDialog() {
    return shown<BatchSettingsDialog>();
}
BatchProgressDialog* BatchTest::sheet() {
    return shown<BatchProgressDialog>();
}

void BatchTest::makeFiles(const std::vector<std::string>& names, int width, int height) const {
    double exposure = 0.3;
    for (const std::string& name : names) {
        const fs::path made = folder / "made.jpg";
        saveImage(makeImage(width, height, {}, sceneAt(exposure)), made);
        fs::rename(made, photos() / name);
        exposure = exposure > 2 ? 0.3 : exposure * 2.1;
    }
}

void BatchTest::batch(int shots, bool align) {
    whenShown<BatchSettingsDialog>([shots, align](BatchSettingsDialog& dialog) {
        dialog.bracketCount()->setValue(shots);
        dialog.autoAlignCheckBox()->setChecked(align);
        QTest::mouseClick(button(&dialog, "chooseFolderButton"), Qt::LeftButton);
    });
    fuseFolder();
    EXPECT_TRUE(waitForBackgroundTasks());
}

void BatchTest::makeToolWait(const std::string& name, const std::string& script) {
    replaceTool(name, std::string(name == "enfuse-openmp" ? takeArguments : takeAlignArguments) +
                          "case $out in *EnfusedPreview.tif|*EnfusedDetail.tif) exit ;; esac\n" +
                          waiting_.script() + script);
}

void BatchTest::letGo() const {
    waiting_.letGo();
}

bool BatchTest::toolWaits() const {
    return waiting_.waits();
}

std::vector<std::string> BatchTest::results() const {
    const fs::path made = photos() / "Enfused Files";
    return fs::is_directory(made) ? namesIn(made) : std::vector<std::string>();
}

bool BatchTest::hasLog(const std::string& part) const {
    return !log.linesWith(part).empty();
}

void BatchTest::expectAtRest() const {
    EXPECT_FALSE(BatchActivity::isRunning());
    EXPECT_EQ(gNumSourceImages, 0);
    EXPECT_TRUE(windows->sourcesWindow()->isEnabled());
    EXPECT_EQ(sheet(), nullptr);
}

}  // namespace lumaweave::test
