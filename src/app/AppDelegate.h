// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <chrono>
#include <optional>
#include <string>

#include "update/UpdateCheck.h"

namespace lumaweave {

class AppDelegate;

// The running program's; null before it has finished launching and while it quits. Main thread.
extern AppDelegate* gAppDelegate;

// Stands for the running program: shows alerts and reads the update feed. main() makes it; it lives
// until the event loop has ended. Main thread, but for what says otherwise.
class AppDelegate final : public FeedParserDelegate {
  public:
    AppDelegate() = default;
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    // The windows stand on the screen and the event loop runs: shows alerts from here on, then
    // checks for updates.
    void applicationDidFinishLaunching();

    // From here on alerts only go to the log, since no user can close them. Does nothing before
    // applicationDidFinishLaunching.
    static void stopPresentingAlerts();

    // Fuses a folder of brackets: asks for the settings and the folder, and returns when the batch
    // has ended or was cancelled. Does nothing while a batch still runs.
    void doBatchAction();

    // Shows the message modally, as plain text, and logs it once the user has closed it.
    void doAlert(const std::string& message);

    // Reads the update feed of the maker's web server, if there is one, and shows what is new in
    // it. Returns when it has read the feed, after longestUpdateWait at most, and the user has
    // closed its message; windows are painted and can be used meanwhile. Logs one line when
    // something goes wrong.
    void doVersionCheck();

    // The feed's events. Elements count wherever they stand; the last one wins.
    void didStartDocument() override;
    void didStartElement(const QString& name) override;
    void foundCharacters(const QString& characters) override;
    void didEndElement(const QString& name) override;
    void parseErrorOccurred(FeedParser& parser) override;
    // Shows the feed's message, unless one of its number or a later one was shown before.
    void didEndDocument() override;

    // Offers the new version and, if the user wants it, opens the product page. Runs on a thread of
    // its own, which waits for the user; the alert itself is the main thread's.
    void doVersionNotificationOnMainThread(const QString& version);

    // The text being collected, the last message and the last message number of the feed.
    [[nodiscard]] const std::optional<QString>& currentXMLString() const {
        return currentXMLString_;
    }
    [[nodiscard]] const std::optional<QString>& message() const { return message_; }
    [[nodiscard]] int messageNum() const { return messageNum_; }

    // How long the check waits for the server; tests set their own.
    void setLongestUpdateWait(std::chrono::milliseconds wait) { longestWait_ = wait; }

  private:
    void offerVersion(const QString& version);

    std::optional<QString> currentXMLString_;
    std::optional<QString> message_;
    int messageNum_ = 0;
    std::chrono::milliseconds longestWait_ = longestUpdateWait;
};

}  // namespace lumaweave
