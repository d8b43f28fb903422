#include "app/ProgramRun.h"

#include <malloc.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <QApplication>
#include <QDialog>
#include <QIcon>
#include <QSocketNotifier>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>

#include "app/SharedState.h"
#include "platform/Log.h"
#include "platform/Resources.h"
#include "platform/Shell.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"
#include "widgets/Sheet.h"

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

int quitDescriptor = -1;

extern "C" void askToQuit(int) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(quitDescriptor, &one, sizeof one);
}

// Logging out, Ctrl-C in the terminal and kill end the program as its window's close button does:
// the tools are ended and the working folder goes.
void quitOnSignals() {
    quitDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    auto* notifier =
        new QSocketNotifier(quitDescriptor, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, [notifier] {
        notifier->setEnabled(false);
        // Sheets and alerts first: the event loops that they run lie above the program's own.
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (auto* sheet = qobject_cast<Sheet*>(window)) {
                sheet->abort();
            } else if (auto* dialog = qobject_cast<QDialog*>(window)) {
                dialog->reject();
            }
        }
        // Not quit(), which a sheet that may not be closed would refuse.
        QCoreApplication::exit(EXIT_SUCCESS);
    });
    struct sigaction action {};
    action.sa_handler = askToQuit;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
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
    quitOnSignals();
}

void ProgramRun::finish() {
    // Nobody is there to close an alert any more: from here on they go to the log.
    gAppDelegate = nullptr;
    RefuseShellLines();
    if (finishBackgroundTasks(3s)) return;
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
