// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>

namespace lumaweave {

// The one way to show a message. The program installs a presenter when it starts; before that, and
// while it quits, messages only go to the log.

// Shows the message in a modal alert with an "OK" button, and returns when the user has closed it;
// no lock may be held across the call. Any thread.
void DoAlert(const std::string& message);

// Gets each message on the main thread, and returns when the user has seen it.
using AlertPresenter = std::function<void(const std::string& message)>;
// An empty one sends messages to the log from now on. Main thread.
void setAlertPresenter(AlertPresenter presenter);
// Whether the user would see a message now: the program neither starts nor quits. Main thread.
[[nodiscard]] bool areAlertsShown();

// The messages that more than one room shows. Any thread; no lock may be held.

// A tool's command line would be longer than longestCommandLine, so that nothing was run.
void alertCommandLineTooLong();

// The working folder cannot be written. Shown once; further failures are silent until a write has
// succeeded again (noteWorkingFolderWritten), so that a full disk does not bring sixteen alerts.
void alertWorkingFolderUnwritable();
void noteWorkingFolderWritten();

}  // namespace lumaweave
