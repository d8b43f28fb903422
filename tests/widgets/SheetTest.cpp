// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/Sheet.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QPushButton>
#include <QTest>
#include <QWindow>
#include <functional>

#include "support/Waiting.h"

namespace lumaweave {

namespace {

class SheetTest : public testing::Test {
  protected:
    SheetTest() {
        window.resize(400, 300);
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    }

    // Runs the sheet, and does something once its loop turns.
    int runWith(const std::function<void()>& action) {
        QMetaObject::invokeMethod(&sheet, action, Qt::QueuedConnection);
        return sheet.run();
    }

    QWidget window;
    Sheet sheet;
};

}  // namespace

TEST_F(SheetTest, RunsUntilItIsStoppedAndGivesTheCode) {
    sheet.begin(&window);
    EXPECT_TRUE(sheet.isVisible());
    EXPECT_FALSE(sheet.isRunning());
    bool ran = false;
    const int code = runWith([&] {
        ran = sheet.isRunning();
        sheet.stop(42);
    });
    EXPECT_TRUE(ran);
    EXPECT_EQ(code, 42);
    EXPECT_FALSE(sheet.isRunning());
    // It stays on the screen until whoever ran it ends it.
    EXPECT_TRUE(sheet.isVisible());
    sheet.end();
    EXPECT_FALSE(sheet.isVisible());
}

TEST_F(SheetTest, AnAbortEndsTheRun) {
    sheet.begin(&window);
    EXPECT_EQ(runWith([&] { sheet.abort(); }), Sheet::aborted);
}

TEST_F(SheetTest, WhatCameBeforeTheRunEndsItAtOnce) {
    sheet.begin(&window);
    sheet.abort();
    EXPECT_EQ(sheet.run(), Sheet::aborted);
    sheet.end();
    sheet.begin(&window);
    sheet.stop(7);
    EXPECT_EQ(sheet.run(), 7);
}

TEST_F(SheetTest, TheFirstEndCounts) {
    sheet.begin(&window);
    EXPECT_EQ(runWith([&] {
                  sheet.stop(1);
                  sheet.abort();
                  sheet.stop(2);
              }),
              1);
}

TEST_F(SheetTest, ASheetCanBeUsedAgain) {
    for (int code = 1; code <= 3; ++code) {
        sheet.begin(&window);
        EXPECT_TRUE(sheet.isVisible());
        EXPECT_EQ(runWith([&] { sheet.stop(code); }), code);
        sheet.end();
        EXPECT_FALSE(sheet.isVisible());
    }
}

TEST_F(SheetTest, BelongsToItsWindowAndBlocksTheProgram) {
    sheet.begin(&window);
    EXPECT_TRUE(sheet.isModal());
    EXPECT_EQ(sheet.windowModality(), Qt::ApplicationModal);
    EXPECT_EQ(sheet.windowHandle()->transientParent(), window.windowHandle());
    EXPECT_EQ(QApplication::activeModalWidget(), &sheet);
    sheet.end();
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST_F(SheetTest, WithoutAWindowItStandsAlone) {
    sheet.begin(nullptr);
    EXPECT_TRUE(sheet.isVisible());
    EXPECT_EQ(runWith([&] { sheet.stop(3); }), 3);
}

TEST_F(SheetTest, WhileAWorkerLivesNeitherEscapeNorTheCloseButtonEndsIt) {
    sheet.setWorkerAlive(true);
    sheet.begin(&window);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&sheet));
    bool stillRan = false;
    const int code = runWith([&] {
        QTest::keyClick(&sheet, Qt::Key_Escape);
        sheet.close();
        sheet.reject();
        // By then, whatever these asked for has had its chance.
        QMetaObject::invokeMethod(
            &sheet,
            [&] {
                stillRan = sheet.isRunning() && sheet.isVisible();
                sheet.stop(5);
            },
            Qt::QueuedConnection);
    });
    EXPECT_TRUE(stillRan);
    EXPECT_EQ(code, 5);
}

TEST_F(SheetTest, OnceTheWorkerHasGoneEscapeEndsIt) {
    sheet.setWorkerAlive(true);
    sheet.begin(&window);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&sheet));
    EXPECT_EQ(runWith([&] {
                  sheet.setWorkerAlive(false);
                  QTest::keyClick(&sheet, Qt::Key_Escape);
              }),
              Sheet::aborted);
    EXPECT_TRUE(sheet.isVisible());
}

TEST_F(SheetTest, OnceTheWorkerHasGoneTheCloseButtonEndsIt) {
    sheet.setWorkerAlive(true);
    sheet.begin(&window);
    EXPECT_EQ(runWith([&] {
                  sheet.setWorkerAlive(false);
                  sheet.close();
              }),
              Sheet::aborted);
    EXPECT_TRUE(sheet.isVisible());
}

TEST_F(SheetTest, WhileItIsUpTheWindowBelowTakesNoClicks) {
    QPushButton button("Below", &window);
    button.show();
    int clicks = 0;
    QObject::connect(&button, &QPushButton::clicked, [&] { ++clicks; });
    const auto clickThroughTheWindow = [&] {
        QTest::mouseClick(window.windowHandle(), Qt::LeftButton, Qt::NoModifier,
                          button.geometry().center());
    };
    sheet.begin(&window);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&sheet));
    clickThroughTheWindow();
    EXPECT_EQ(clicks, 0);
    sheet.end();
    clickThroughTheWindow();
    EXPECT_EQ(clicks, 1);
}

}  // namespace lumaweave
