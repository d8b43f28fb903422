// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/EnfusingProgressDialog.h"

#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QLabel>
#include <QProgressBar>
#include <QTest>
#include <QTimer>

namespace lumaweave {

class EnfusingProgressDialogTest : public testing::Test {
  protected:
    EnfusingProgressDialog dialog;
};

TEST_F(EnfusingProgressDialogTest, ItsBarHasNoEnd) {
    EXPECT_EQ(dialog.progressBar()->minimum(), 0);
    EXPECT_EQ(dialog.progressBar()->maximum(), 0);
}

TEST_F(EnfusingProgressDialogTest, DoesNotShowItself) {
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_FALSE(dialog.isRunning());
}

TEST_F(EnfusingProgressDialogTest, ComesFromTheLayoutOfItsName) {
    EXPECT_EQ(dialog.objectName(), "EnfusingProgressDialog");
    EXPECT_EQ(dialog.progressBar()->objectName(), "progressBar");
    EXPECT_FALSE(dialog.windowTitle().isEmpty());
    EXPECT_FALSE(dialog.findChild<QLabel*>("textField")->text().isEmpty());
}

TEST_F(EnfusingProgressDialogTest, HasNoCancelButton) {
    EXPECT_THAT(dialog.findChildren<QAbstractButton*>(), testing::IsEmpty());
}

TEST_F(EnfusingProgressDialogTest, ItsRunEndsWhenTheWorkerSaysSoAndNotBefore) {
    dialog.setWorkerAlive(true);
    dialog.begin(nullptr);
    EXPECT_TRUE(dialog.isVisible());
    bool stillRunning = false;
    QTimer::singleShot(0, &dialog, [this, &stillRunning] {
        QTest::keyClick(&dialog, Qt::Key_Escape);
        dialog.close();
        stillRunning = dialog.isRunning();
        dialog.endDialogOnMainThread();
    });
    EXPECT_EQ(dialog.run(), Sheet::aborted);
    EXPECT_TRUE(stillRunning);
    dialog.end();
    EXPECT_FALSE(dialog.isVisible());
}

TEST_F(EnfusingProgressDialogTest, AWorkerThatEndsBeforeTheRunBeginsEndsItAtOnce) {
    dialog.begin(nullptr);
    dialog.endDialogOnMainThread();
    EXPECT_EQ(dialog.run(), Sheet::aborted);
}

}  // namespace lumaweave
