// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/TestRun.h"

#include <QCoreApplication>
#include <QFile>
#include <QSettings>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "platform/Memory.h"
#include "platform/Resources.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"

namespace lumaweave::test {

namespace fs = std::filesystem;

namespace {

void forgetSettings() {
    QSettings settings;
    settings.clear();
    settings.sync();
    QFile::remove(settings.fileName());
}

class CleanUp : public testing::EmptyTestEventListener {
  public:
    void OnTestEnd(const testing::TestInfo&) override {
        std::error_code ignored;
        fs::current_path(folder_, ignored);
        setResourceFolder(LUMAWEAVE_RESOURCES);
        setHelperFolder(LUMAWEAVE_HELPERS);
        removeWorkingFolder();
        createWorkingFolder();
        forgetSettings();
    }

  private:
    const fs::path folder_ = fs::current_path();
};

}  // namespace

int runTests() {
    setResourceFolder(LUMAWEAVE_RESOURCES);
    setHelperFolder(LUMAWEAVE_HELPERS);
    keepHeapSmall();
    QCoreApplication::setOrganizationName("Lumaweave");
    QCoreApplication::setApplicationName("Lumaweave");
    QCoreApplication::setApplicationVersion(LUMAWEAVE_PROJECT_VERSION);
    installMainThread();
    createWorkingFolder();
    testing::UnitTest::GetInstance()->listeners().Append(new CleanUp);
    const int result = RUN_ALL_TESTS();
    const bool ended = finishBackgroundTasks(std::chrono::seconds(8));
    removeWorkingFolder();
    return ended ? result : EXIT_FAILURE;
}

}  // namespace lumaweave::test
