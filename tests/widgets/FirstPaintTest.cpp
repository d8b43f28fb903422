// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/FirstPaint.h"

#include <gmock/gmock.h>

#include <QElapsedTimer>
#include <QPaintEvent>
#include <QVBoxLayout>
#include <QWidget>
#include <memory>

#include "support/Waiting.h"

namespace lumaweave {

using namespace test;

// Says whether it has been painted.
class Canvas : public QWidget {
  public:
    Canvas() { setMinimumSize(20, 20); }

    bool painted = false;

  protected:
    void paintEvent(QPaintEvent*) override { painted = true; }
};

void waitBeyondTheBound() {
    QElapsedTimer clock;
    clock.start();
    constexpr int milliseconds = 2500;
    EXPECT_TRUE(waitUntil([&clock] { return clock.hasExpired(milliseconds); }));
}

TEST(AfterFirstPaint, RunsOnceWhenTheWindowAndAllInItIsPainted) {
    QWidget window;
    auto* column = new QVBoxLayout(&window);
    auto* first = new Canvas;
    auto* last = new Canvas;
    column->addWidget(first);
    column->addWidget(last);
    int runs = 0;
    bool painted = false;
    afterFirstPaint(&window, [&] {
        ++runs;
        painted = first->painted && last->painted;
    });
    EXPECT_EQ(runs, 0);
    window.show();
    EXPECT_EQ(runs, 0) << "not before the event loop";
    EXPECT_TRUE(waitUntil([&runs] { return runs > 0; }));
    EXPECT_TRUE(painted);
    window.repaint();
    waitBeyondTheBound();
    EXPECT_EQ(runs, 1);
}

TEST(AfterFirstPaint, RunsInTheEndForAWindowThatIsNeverPainted) {
    QWidget window;
    int runs = 0;
    afterFirstPaint(&window, [&runs] { ++runs; });
    EXPECT_TRUE(waitUntil([&runs] { return runs == 1; }));
}

TEST(AfterFirstPaint, DoesNothingForAWindowThatHasGone) {
    auto window = std::make_unique<QWidget>();
    int runs = 0;
    afterFirstPaint(window.get(), [&runs] { ++runs; });
    window->show();
    window.reset();
    waitBeyondTheBound();
    EXPECT_EQ(runs, 0);
}

}  // namespace lumaweave
