#pragma once

#include <functional>
#include <string>

namespace lumaweave {

// The one way to show a message. The program's start installs who presents messages; until then,
// and while the program quits, a message only goes to the log.

// Shows the message in a modal alert with an "OK" button. From a worker the call returns when the
// user has closed the alert; no lock may be held across it. Any thread.
void DoAlert(const std::string& message);

// Gets each message on the main thread, and returns when the user has seen it.
using AlertPresenter = std::function<void(const std::string& message)>;
// An empty presenter: messages go to the log from now on. Main thread.
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
