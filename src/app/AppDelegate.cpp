// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AppDelegate.h"

#include <QApplication>
#include <QDesktopServices>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

#include "batch/BatchSettings.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "settings/Preferences.h"
#include "stack/Alerts.h"
#include "stack/SharedState.h"
#include "update/FeedDownload.h"

namespace lumaweave {

AppDelegate* gAppDelegate = nullptr;

namespace {

// The modal window if there is one, so that the user can answer the alert; else the window in use,
// or the main frame while no window of the program has the focus.
QWidget* windowBelowAlert() {
    if (QWidget* modal = QApplication::activeModalWidget()) return modal;
    if (QWidget* active = QApplication::activeWindow()) return active;
    return gPreviewWindow != nullptr ? gPreviewWindow->window() : nullptr;
}

// A message box takes what looks like HTML for HTML, in each of its texts by itself.
void showPlainText(QMessageBox& alert) {
    alert.setTextFormat(Qt::PlainText);
    for (QLabel* label : alert.findChildren<QLabel*>())
        label->setTextFormat(Qt::PlainText);
}

}  // namespace

AppDelegate::~AppDelegate() {
    if (gAppDelegate == this) stopPresentingAlerts();
}

void AppDelegate::applicationDidFinishLaunching() {
    gAppDelegate = this;
    setAlertPresenter([this](const std::string& message) { doAlert(message); });
    doVersionCheck();
}

void AppDelegate::stopPresentingAlerts() {
    setAlertPresenter({});
    gAppDelegate = nullptr;
}

void AppDelegate::doBatchAction() {
    fuseFolder();
}

void AppDelegate::doAlert(const std::string& message) {
    QMessageBox alert(windowBelowAlert());
    alert.setObjectName("alert");
    alert.setIcon(QMessageBox::Warning);
    alert.setTextFormat(Qt::PlainText);
    alert.setText(QString::fromStdString(message));
    alert.setStandardButtons(QMessageBox::Ok);
    alert.exec();
    logLine(formatWithoutArguments(message));
}

void AppDelegate::doVersionCheck() {
    const QString host = webHost();
    if (host.isEmpty()) return;
    const auto feed = fetchFeed(updateFeedUrl(host), longestWait_);
    if (!feed || !FeedParser(*feed).parse(*this)) logLine(fixed_texts::feedUnreadable);
}

void AppDelegate::didStartDocument() {
    currentXMLString_.reset();
    message_.reset();
}

void AppDelegate::didStartElement(const QString& name) {
    if (name == "message" || name == "messageNum" || name == "latestVersion") {
        currentXMLString_ = QString();
    } else {
        currentXMLString_.reset();
    }
}

void AppDelegate::foundCharacters(const QString& characters) {
    if (currentXMLString_) *currentXMLString_ += characters;
}

void AppDelegate::didEndElement(const QString& name) {
    if (name == "message") {
        message_ = currentXMLString_;
    } else if (name == "messageNum") {
        messageNum_ = leadingInteger(currentXMLString_.value_or(QString()));
    } else if (name == "latestVersion" && currentXMLString_ &&
               CompareVersions(*currentXMLString_, QApplication::applicationVersion()) == 1) {
        performInBackground(
            [this, version = *currentXMLString_] { doVersionNotificationOnMainThread(version); });
    }
    currentXMLString_.reset();
}

void AppDelegate::parseErrorOccurred(FeedParser& parser) {
    parser.abortParsing();
}

void AppDelegate::didEndDocument() {
    if (!message_ || messageNum_ <= gBestMessageNum) return;
    gBestMessageNum = messageNum_;
    // Before the alert: a message that was on the screen does not come again.
    SavePrefs();
    DoAlert(shortenedForAlert(*message_).toStdString());
}

void AppDelegate::doVersionNotificationOnMainThread(const QString& version) {
    performOnMainThread(
        [this, &version] {
            // While the program quits nobody is there to take the offer.
            if (gAppDelegate == this) offerVersion(version);
        },
        Wait::yes);
}

void AppDelegate::offerVersion(const QString& version) {
    QMessageBox alert(windowBelowAlert());
    alert.setObjectName("versionAlert");
    alert.setIcon(QMessageBox::Information);
    alert.setText("A new version of Lumaweave is available");
    // Takes the version as a format without arguments, as the log takes messages.
    alert.setInformativeText(
        QString::fromStdString(formatWithoutArguments(shortenedForAlert(version).toStdString())));
    showPlainText(alert);
    QPushButton* ok = alert.addButton(QMessageBox::Ok);
    const QPushButton* get = alert.addButton("Get New Version", QMessageBox::ActionRole);
    alert.setDefaultButton(ok);
    alert.setEscapeButton(ok);
    alert.exec();
    if (alert.clickedButton() == get) QDesktopServices::openUrl(productPageUrl(webHost()));
}

}  // namespace lumaweave
