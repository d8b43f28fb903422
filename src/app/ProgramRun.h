// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QApplication;

namespace lumaweave {

// From now on logging out, Ctrl-C in the terminal and kill (SIGTERM, SIGINT, SIGHUP) end the
// program as its close button does: it ends the tools and removes the working folder. Main thread.
void quitOnSignals();

// What a run of the program needs around its windows, in the order of its life: names for the
// settings file, the main thread's queue, the working folder, a clean end when the system or the
// terminal asks for one, and at the end the bounded wait for what still runs. Made once, after the
// QApplication and before any window. Main thread.
class ProgramRun {
  public:
    ProgramRun();
    // finish(), and removes the working folder.
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    // Lets running tasks end while the windows still stand: tools may go on for some seconds,
    // nothing new starts. Call when the event loop has ended.
    void finish();
};

}  // namespace lumaweave
