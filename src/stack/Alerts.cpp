// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/Alerts.h"

#include <atomic>
#include <utility>

#include "platform/Log.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace {

AlertPresenter alertPresenter;  // the main thread's

std::atomic<bool> unwritableFolderShown = false;

}  // namespace

void DoAlert(const std::string& message) {
    performOnMainThread(
        [&message] {
            if (alertPresenter) {
                alertPresenter(message);
            } else {
                logLine(formatWithoutArguments(message));
            }
        },
        Wait::yes);
}

void setAlertPresenter(AlertPresenter presenter) {
    alertPresenter = std::move(presenter);
}

bool areAlertsShown() {
    return static_cast<bool>(alertPresenter);
}

void alertCommandLineTooLong() {
    DoAlert(
        "The paths of the images are too long for one command line.  Nothing was run.  TIFF shots "
        "that are re-saved when they are added, and shorter names of files and folders, need "
        "less.");
}

void alertWorkingFolderUnwritable() {
    if (unwritableFolderShown.exchange(true)) return;
    DoAlert("The working folder cannot be written: " + workingFolder().native() +
            ".  Please make sure that the disk has room and that the folder may be written.");
}

void noteWorkingFolderWritten() {
    unwritableFolderShown = false;
}

}  // namespace lumaweave
