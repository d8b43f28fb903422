// SPDX-License-Identifier: GPL-3.0-or-later

// Alerts as the running program shows them.

#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QMessageBox>
#include <atomic>

#include "app/AppDelegate.h"
#include "platform/Threads.h"
#include "stack/Alerts.h"
#include "support/AlertAnswerer.h"
#include "support/LogRecorder.h"
#include "support/Waiting.h"

namespace lumaweave {

class AlertTest : public testing::Test {
  protected:
    AlertTest() { delegate.applicationDidFinishLaunching(); }

    AppDelegate delegate;
    test::AlertAnswerer alerts;
    test::LogRecorder log;
};

TEST_F(AlertTest, ShowsAtOnceOnTheMainThreadWithOneButton) {
    int buttons = 0;
    Qt::TextFormat format = Qt::AutoText;
    alerts.answer = [&](QMessageBox* box) {
        buttons = static_cast<int>(box->buttons().size());
        format = box->textFormat();
        EXPECT_TRUE(box->isModal());
        box->button(QMessageBox::Ok)->click();
    };
    DoAlert("<b>plain</b>");
    EXPECT_THAT(alerts.texts(), testing::ElementsAre("<b>plain</b>"));
    EXPECT_EQ(buttons, 1);
    EXPECT_EQ(format, Qt::PlainText);
}

TEST_F(AlertTest, AWorkerWaitsUntilTheAlertIsClosed) {
    std::atomic<bool> returned = false;
    bool returnedWhileShown = true;
    alerts.answer = [&](QMessageBox* box) {
        returnedWhileShown = returned;
        box->button(QMessageBox::Ok)->click();
    };
    performInBackground([&returned] {
        DoAlert("from a worker");
        returned = true;
    });
    EXPECT_TRUE(test::waitForBackgroundTasks());
    EXPECT_TRUE(returned);
    EXPECT_FALSE(returnedWhileShown);
    EXPECT_EQ(alerts.count("from a worker"), 1);
}

TEST_F(AlertTest, TheLogTakesTheMessageAsAFormatWithoutArguments) {
    DoAlert("100%% of %n and %s");
    EXPECT_EQ(alerts.texts().front(), "100%% of %n and %s");
    EXPECT_EQ(log.count("100% of %n and %s"), 1);
}

TEST_F(AlertTest, OnceTheProgramQuitsTheMessageGoesToTheLog) {
    EXPECT_TRUE(areAlertsShown());
    AppDelegate::stopPresentingAlerts();
    EXPECT_FALSE(areAlertsShown());
    EXPECT_EQ(gAppDelegate, nullptr);
    DoAlert("nobody is there");
    EXPECT_EQ(log.count("nobody is there"), 1);
    EXPECT_TRUE(alerts.texts().empty());
}

}  // namespace lumaweave
