// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>

#include "support/TestRun.h"

// Compiled once for each storey's tests, which need no more of Qt than the storey has.
#if defined(QT_WIDGETS_LIB)
#include <QApplication>
using Application = QApplication;
#elif defined(QT_GUI_LIB)
#include <QGuiApplication>
using Application = QGuiApplication;
#else
#include <QCoreApplication>
using Application = QCoreApplication;
#endif

// One application serves all tests of the process. Listing the tests needs none, so that they can
// be found without a display.
int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
    Application application(argc, argv);
#if defined(QT_GUI_LIB)
    Application::setQuitOnLastWindowClosed(false);
#endif
    return lumaweave::test::runTests();
}
