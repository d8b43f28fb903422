// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ProgramRun.h"

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

#include "app/AppDelegate.h"
#include "platform/Log.h"
#include "platform/Memory.h"
#include "platform/Resources.h"
#include "platform/Shell.h"
#include "platform/Threads.h"
#include "platform/WorkingFolder.h"
#include "widgets/Sheet.h"

namespace lumaweave {

namespace {

using namespace std::chrono_literals;

int quitDescriptor = -1;

extern "C" void askToQuit(int) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(quitDescriptor, &one, sizeof one);
}

}  // namespace

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
    AppDelegate::stopPresentingAlerts();
    refuseShellLines();
    if (finishBackgroundTasks(3s)) return;
    logLine("Ending the fusion that still runs");
    endRunningShellLines();
    if (finishBackgroundTasks(5s)) return;
    logLine("A task does not end");
    removeWorkingFolder();
    std::_Exit(EXIT_FAILURE);
}

ProgramRun::~ProgramRun() {
    finish();
    removeWorkingFolder();
}

}  // namespace lumaweave
