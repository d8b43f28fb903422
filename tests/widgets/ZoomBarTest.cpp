// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ZoomBar.h"

#include <gmock/gmock.h>

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

#include "support/Pictures.h"
#include "support/Waiting.h"
#include "widgets/ZoomView.h"

namespace lumaweave {

using namespace test;

// A window with the bar above the view.
class ZoomBarTest : public testing::Test {
  protected:
    ZoomBarTest() {
        auto* column = new QVBoxLayout(&window);
        column->setContentsMargins(0, 0, 0, 0);
        column->addWidget(bar);
        column->addWidget(view, 1);
        bar->setView(view);
        window.resize(600, 500);
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
        QApplication::setActiveWindow(&window);
        view->setFocus();
    }
    ~ZoomBarTest() override {
        view->setImage({});
        EXPECT_TRUE(waitForBackgroundTasks());
    }

    void show(int width, int height, const PixelFormat& format = {}) {
        view->setImage(makeImage(width, height, format, sceneAt(1)));
    }
    std::string zoomText() const { return bar->zoomLabel()->text().toStdString(); }
    QToolButton* button(const char* action) const {
        for (auto* each : bar->findChildren<QToolButton*>()) {
            if (each->defaultAction()->objectName() == action) return each;
        }
        return nullptr;
    }

    QWidget window;
    ZoomBar* bar = new ZoomBar;
    ZoomView* view = new ZoomView;
};

TEST_F(ZoomBarTest, WithoutAPictureNothingCanBeDone) {
    EXPECT_EQ(zoomText(), "");
    for (const auto* each : bar->findChildren<QToolButton*>())
        EXPECT_FALSE(each->isEnabled());
}

TEST_F(ZoomBarTest, SaysTheZoomAndWhatThePictureIs) {
    show(6000, 4000, {1, false, SampleType::uint16});
    EXPECT_EQ(zoomText(), "10 %");
    const auto* label = bar->findChild<QLabel*>("imageLabel");
    EXPECT_EQ(label->text().toStdString(), "6000 × 4000 pixels, 16 bit");
    view->zoomToActualSize();
    EXPECT_EQ(zoomText(), "100 %");
    show(60, 40, {3, true, SampleType::float32});
    EXPECT_EQ(label->text().toStdString(), "60 × 40 pixels, float");
    EXPECT_EQ(zoomText(), "1000 %");
    show(20000, 100, {1, false, SampleType::uint8});
    EXPECT_EQ(zoomText(), "3.0 %");
}

TEST_F(ZoomBarTest, TheButtonsZoom) {
    show(3000, 2000);
    QTest::mouseClick(button("actualSizeAction"), Qt::LeftButton);
    EXPECT_EQ(view->zoom(), 1);
    EXPECT_TRUE(button("actualSizeAction")->isChecked());
    EXPECT_FALSE(button("fitAction")->isChecked());
    QTest::mouseClick(button("zoomInAction"), Qt::LeftButton);
    EXPECT_GT(view->zoom(), 1);
    EXPECT_FALSE(button("actualSizeAction")->isChecked());
    QTest::mouseClick(button("zoomOutAction"), Qt::LeftButton);
    EXPECT_EQ(view->zoom(), 1);
    QTest::mouseClick(button("fitAction"), Qt::LeftButton);
    EXPECT_TRUE(view->isFitted());
    EXPECT_TRUE(button("fitAction")->isChecked());
    // A second click leaves it chosen.
    QTest::mouseClick(button("fitAction"), Qt::LeftButton);
    EXPECT_TRUE(button("fitAction")->isChecked());
}

TEST_F(ZoomBarTest, TheKeysZoom) {
    show(3000, 2000);
    QTest::keyClick(view, Qt::Key_1);
    EXPECT_EQ(view->zoom(), 1);
    QTest::keyClick(view, Qt::Key_0);
    EXPECT_TRUE(view->isFitted());
    double before = view->zoom();
    for (const auto& [key, modifier] : {std::pair(Qt::Key_Plus, Qt::NoModifier),
                                        {Qt::Key_Equal, Qt::NoModifier},
                                        {Qt::Key_Plus, Qt::ControlModifier},
                                        {Qt::Key_Equal, Qt::ControlModifier}}) {
        QTest::keyClick(view, key, modifier);
        EXPECT_GT(view->zoom(), before) << key;
        before = view->zoom();
    }
    for (const auto modifier : {Qt::NoModifier, Qt::ControlModifier}) {
        QTest::keyClick(view, Qt::Key_Minus, modifier);
        EXPECT_LT(view->zoom(), before);
        before = view->zoom();
    }
    QTest::keyClick(view, Qt::Key_1, Qt::ControlModifier);
    EXPECT_EQ(view->zoom(), 1);
    QTest::keyClick(view, Qt::Key_0, Qt::ControlModifier);
    EXPECT_TRUE(view->isFitted());
}

TEST_F(ZoomBarTest, EveryButtonNamesItsKey) {
    const std::pair<const char*, const char*> keys[] = {{"fitAction", "(0,"},
                                                        {"actualSizeAction", "(1,"},
                                                        {"zoomInAction", "(+,"},
                                                        {"zoomOutAction", "(−,"}};
    for (const auto& [action, key] : keys)
        EXPECT_THAT(button(action)->toolTip().toStdString(), testing::HasSubstr(key));
}

TEST_F(ZoomBarTest, ANarrowWindowShortensTheText) {
    show(3000, 2000);
    window.resize(window.minimumSizeHint().width(), 300);
    for (const auto* each : bar->findChildren<QToolButton*>())
        EXPECT_GE(each->width(), each->sizeHint().width());
    EXPECT_GE(bar->zoomLabel()->width(), bar->zoomLabel()->sizeHint().width());
}

}  // namespace lumaweave
