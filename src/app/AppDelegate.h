#pragma once

#include <string>

namespace lumaweave {

// Stands for the running program: the target of alerts. Made by main() and alive until the event
// loop has ended. Main thread.
class AppDelegate {
  public:
    AppDelegate() = default;
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    // The windows stand and the event loop is about to run: from here on alerts are shown.
    void applicationDidFinishLaunching();

    // Shows the message modally, as plain text, and logs it once the person has closed it.
    void doAlert(const std::string& message);
};

}  // namespace lumaweave
