// SPDX-License-Identifier: GPL-3.0-or-later
#include <QApplication>
#include <filesystem>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "app/DisplayProfile.h"
#include "app/MainInterface.h"
#include "app/ProgramRun.h"
#include "imaging/picture/ScreenImage.h"
#include "widgets/FirstPaint.h"

int main(int argc, char** argv) {
    // Qt takes its own options out; the rest are the images to open, byte for byte.
    QApplication application(argc, argv);
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path file = argv[i];
        files.push_back(file.empty() ? file : std::filesystem::absolute(file));
    }
    lumaweave::ProgramRun run;
    lumaweave::setScreenProfile(lumaweave::displayProfile());
    lumaweave::MainInterface windows;
    lumaweave::AppDelegate delegate;
    windows.show();
    lumaweave::afterFirstPaint(&windows, [&windows, &delegate, &files] {
        // From the next event loop that runs: the update check's own, if it waits for a server.
        QMetaObject::invokeMethod(
            &windows, [&windows, &files] { windows.openFiles(files); }, Qt::QueuedConnection);
        delegate.applicationDidFinishLaunching();
    });
    const int status = QApplication::exec();
    run.finish();
    return status;
}
