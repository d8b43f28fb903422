// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/ProgramFixture.h"

#include <QTest>

namespace lumaweave::test {

ProgramTest::ProgramTest()
    : windows(std::make_unique<MainInterface>()), delegate(std::make_unique<AppDelegate>()) {
    windows->show();
    delegate->applicationDidFinishLaunching();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(windows.get()));
}

ProgramTest::~ProgramTest() {
    waitForTheEnd();
    windows.reset();
    delegate.reset();
}

}  // namespace lumaweave::test
