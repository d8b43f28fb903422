#include "app/ProgramRun.h"

#include <malloc.h>

#include <QApplication>
#include <QIcon>
#include <chrono>
#include <clocale>
#include <cstdlib>

#include "app/SharedState.h"
#include "platform/Log.h"
#include "platform/Resources.h"
#include "platform/Shell.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace {

using namespace std::chrono_literals;

// Picture buffers go back to the system when they are freed, instead of keeping the heap as large
// as it ever was.
void keepHeapSmall() {
    constexpr int largestKept = 256 * 1024;
    mallopt(M_MMAP_THRESHOLD, largestKept);
    mallopt(M_TRIM_THRESHOLD, 2 * largestKept);
    mallopt(M_ARENA_MAX, 2);
}

}  // namespace

ProgramRun::ProgramRun() {
    keepHeapSmall();
    QApplication::setOrganizationName("Lumaweave");
    QApplication::setApplicationName("Lumaweave");
    QApplication::setApplicationVersion(LUMAWEAVE_VERSION);
    QApplication::setDesktopFileName("lumaweave");
    QApplication::setWindowIcon(
        QIcon(QString::fromStdString((resourceFolder() / "lumaweave.svg").native())));
    installMainThread();
    createWorkingFolder();
}

void ProgramRun::finish() {
    // Nobody is there to close an alert any more: from here on they go to the log.
    gAppDelegate = nullptr;
    if (finishBackgroundTasks(5s)) return;
    Log("Ending the fusion that still runs");
    EndRunningShellLines();
    if (finishBackgroundTasks(5s)) return;
    Log("A task does not end");
    removeWorkingFolder();
    std::_Exit(EXIT_FAILURE);
}

ProgramRun::~ProgramRun() {
    finish();
    removeWorkingFolder();
}

}  // namespace lumaweave
