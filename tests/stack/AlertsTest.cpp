// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/Alerts.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/Threads.h"
#include "platform/WorkingFolder.h"
#include "support/LogRecorder.h"
#include "support/Waiting.h"

namespace lumaweave {

using testing::ElementsAre;
using testing::HasSubstr;

class AlertsTest : public testing::Test {
  protected:
    ~AlertsTest() override { setAlertPresenter({}); }

    void present() {
        setAlertPresenter([this](const std::string& message) {
            EXPECT_TRUE(isMainThread());
            shown.push_back(message);
        });
    }

    std::vector<std::string> shown;
};

TEST_F(AlertsTest, WithoutARunningProgramTheMessageGoesToTheLog) {
    const test::LogRecorder log;
    DoAlert("nobody is there");
    EXPECT_EQ(log.count("nobody is there"), 1);
}

TEST_F(AlertsTest, AMessageGoesToWhoPresentsIt) {
    EXPECT_FALSE(areAlertsShown());
    present();
    EXPECT_TRUE(areAlertsShown());
    DoAlert("100%% plain");
    EXPECT_THAT(shown, ElementsAre("100%% plain"));
}

TEST_F(AlertsTest, AWorkersMessageIsPresentedOnTheMainThread) {
    present();
    performInBackground([] { DoAlert("from a worker"); });
    EXPECT_TRUE(test::waitForBackgroundTasks());
    EXPECT_THAT(shown, ElementsAre("from a worker"));
}

TEST_F(AlertsTest, ACommandLineThatIsTooLongSaysThatNothingWasRun) {
    present();
    alertCommandLineTooLong();
    EXPECT_THAT(shown, ElementsAre(HasSubstr("too long for one command line.  Nothing was run.")));
}

TEST_F(AlertsTest, AnUnwritableWorkingFolderIsNamedOnceUntilAWriteSucceeds) {
    present();
    noteWorkingFolderWritten();
    for (int i = 0; i < 3; ++i)
        alertWorkingFolderUnwritable();
    EXPECT_THAT(shown, ElementsAre(HasSubstr(workingFolder().native())));
    noteWorkingFolderWritten();
    alertWorkingFolderUnwritable();
    EXPECT_EQ(shown.size(), 2U);
    noteWorkingFolderWritten();
}

}  // namespace lumaweave
