// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/FloatSlider.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QSignalSpy>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QTest>
#include <QWheelEvent>
#include <cmath>
#include <limits>
#include <vector>

namespace lumaweave {

namespace {

class FloatSliderTest : public testing::Test {
  protected:
    FloatSliderTest() {
        slider.setFloatRange(0.0F, 1.0F, 0.01F);
        slider.resize(300, 30);
        slider.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&slider));
        committed.clear();
        shown.clear();
    }

    void sendKey(QEvent::Type type, Qt::Key key, bool autoRepeat) {
        QKeyEvent event(type, key, Qt::NoModifier, QString(), autoRepeat);
        QApplication::sendEvent(&slider, &event);
    }
    void turnWheel(int degrees) {
        const QPoint centre = slider.rect().center();
        QWheelEvent event(centre, slider.mapToGlobal(centre), QPoint(), QPoint(0, degrees * 8),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&slider, &event);
    }
    [[nodiscard]] QPoint handle() const {
        QStyleOptionSlider option;
        option.initFrom(&slider);
        option.orientation = Qt::Horizontal;
        option.minimum = slider.minimum();
        option.maximum = slider.maximum();
        option.sliderPosition = slider.sliderPosition();
        option.sliderValue = slider.value();
        option.subControls = QStyle::SC_All;
        return slider.style()
            ->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, &slider)
            .center();
    }

    FloatSlider slider;
    QSignalSpy committed{&slider, &FloatSlider::valueCommitted};
    QSignalSpy shown{&slider, &FloatSlider::shownValueChanged};
};

}  // namespace

TEST_F(FloatSliderTest, KeepsTheValueSetFromCodeExactly) {
    for (const float value : {0.2F, 0.37F, 0.123F, 0.0F, 1.0F, 1.0F / 3, 0.999999F}) {
        slider.setFloatValue(value);
        EXPECT_EQ(slider.floatValue(), value);
    }
    // The handle stands at the nearest step.
    slider.setFloatValue(0.123F);
    EXPECT_EQ(slider.value(), 12);
}

TEST_F(FloatSliderTest, BringsValuesIntoTheRange) {
    slider.setFloatValue(-0.5F);
    EXPECT_EQ(slider.floatValue(), 0.0F);
    slider.setFloatValue(1.5F);
    EXPECT_EQ(slider.floatValue(), 1.0F);
    slider.setFloatValue(std::numeric_limits<float>::infinity());
    EXPECT_EQ(slider.floatValue(), 1.0F);
    slider.setFloatRange(0.0F, 0.5F, 0.01F);
    EXPECT_EQ(slider.floatValue(), 0.5F);
    slider.setFloatRange(2.0F, 10.0F, 1.0F);
    EXPECT_EQ(slider.floatValue(), 2.0F);
}

TEST_F(FloatSliderTest, TheIntegerPartIsTruncated) {
    slider.setFloatRange(-5.0F, 30.0F, 1.0F);
    for (const auto& [value, whole] :
         {std::pair{3.0F, 3}, {3.99F, 3}, {29.5F, 29}, {0.9F, 0}, {-0.9F, 0}, {-2.7F, -2}}) {
        slider.setFloatValue(value);
        EXPECT_EQ(slider.intValue(), whole) << value;
    }
}

TEST_F(FloatSliderTest, SettingFromCodeCommitsNothingButIsShown) {
    slider.setFloatValue(0.37F);
    slider.setFloatValue(0.9F);
    EXPECT_EQ(committed.count(), 0);
    ASSERT_EQ(shown.count(), 2);
    EXPECT_EQ(shown.at(0).at(0).toFloat(), 0.37F);
    EXPECT_EQ(shown.at(1).at(0).toFloat(), 0.9F);
    slider.setFloatRange(0.0F, 2.0F, 0.1F);
    EXPECT_EQ(committed.count(), 0);
}

TEST_F(FloatSliderTest, AKeyPressCommitsOnce) {
    slider.setFloatValue(0.20F);
    QTest::keyClick(&slider, Qt::Key_Right);
    EXPECT_EQ(committed.count(), 1);
    EXPECT_EQ(slider.floatValue(), 0.21F);
    QTest::keyClick(&slider, Qt::Key_Left);
    QTest::keyClick(&slider, Qt::Key_Left);
    EXPECT_EQ(committed.count(), 3);
    EXPECT_EQ(slider.floatValue(), 0.19F);
    QTest::keyClick(&slider, Qt::Key_End);
    EXPECT_EQ(committed.count(), 4);
    EXPECT_EQ(slider.floatValue(), 1.0F);
    // At the end there is nothing more to set.
    QTest::keyClick(&slider, Qt::Key_Right);
    EXPECT_EQ(committed.count(), 4);
}

TEST_F(FloatSliderTest, AStepFromBetweenTwoStepsGoesToAWholeOne) {
    slider.setFloatValue(0.123F);
    QTest::keyClick(&slider, Qt::Key_Right);
    EXPECT_EQ(slider.floatValue(), 0.13F);
    EXPECT_EQ(committed.count(), 1);
}

TEST_F(FloatSliderTest, SteppingReachesTheFloatsNearestToTheDecimals) {
    const std::vector<std::pair<float, double>> ranges = {{0.01F, 100}, {0.05F, 20}, {0.1F, 10}};
    for (const auto& [step, stepsInOne] : ranges) {
        slider.setFloatRange(0.0F, 1.0F, step);
        slider.setFloatValue(0.0F);
        for (int i = 1; i <= static_cast<int>(stepsInOne); ++i) {
            QTest::keyClick(&slider, Qt::Key_Right);
            EXPECT_EQ(slider.floatValue(), static_cast<float>(i / stepsInOne)) << step << ' ' << i;
        }
        EXPECT_EQ(slider.floatValue(), 1.0F);
    }
    slider.setFloatRange(-2.0F, 2.0F, 0.1F);
    slider.setFloatValue(-2.0F);
    for (int i = -19; i <= 20; ++i) {
        QTest::keyClick(&slider, Qt::Key_Right);
        EXPECT_EQ(slider.floatValue(), static_cast<float>(i / 10.0));
    }
    slider.setFloatRange(3.0F, 29.0F, 1.0F);
    slider.setFloatValue(3.0F);
    QTest::keyClick(&slider, Qt::Key_Right);
    EXPECT_EQ(slider.floatValue(), 4.0F);
}

TEST_F(FloatSliderTest, TheHighestValueIsReachedFromCodeAsWellAsByKeys) {
    for (const auto& [highest, step] : {std::pair{0.7F, 0.1F}, {0.3F, 0.01F}, {4.1F, 0.1F}}) {
        slider.setFloatRange(0.0F, highest, step);
        slider.setFloatValue(highest);
        EXPECT_EQ(slider.floatValue(), highest);
        slider.setFloatValue(0.0F);
        QTest::keyClick(&slider, Qt::Key_End);
        EXPECT_EQ(slider.floatValue(), highest);
    }
}

TEST_F(FloatSliderTest, TheWheelCommitsOnceANotch) {
    slider.setFloatValue(0.5F);
    turnWheel(15);
    EXPECT_EQ(committed.count(), 1);
    const float up = slider.floatValue();
    EXPECT_GT(up, 0.5F);
    turnWheel(-15);
    EXPECT_EQ(committed.count(), 2);
    EXPECT_EQ(slider.floatValue(), 0.5F);
}

TEST_F(FloatSliderTest, AClickIntoTheGrooveCommitsOnce) {
    slider.setFloatValue(0.2F);
    QTest::mouseClick(&slider, Qt::LeftButton, Qt::NoModifier,
                      QPoint(slider.width() - 4, slider.height() / 2));
    EXPECT_EQ(committed.count(), 1);
    EXPECT_GT(slider.floatValue(), 0.2F);
}

TEST_F(FloatSliderTest, ADragCommitsOnceWhenTheHandleIsLetGo) {
    slider.setFloatValue(0.2F);
    shown.clear();
    QPoint at = handle();
    QTest::mousePress(&slider, Qt::LeftButton, Qt::NoModifier, at);
    for (int i = 0; i < 5; ++i) {
        at.rx() += 20;
        QTest::mouseMove(&slider, at);
        EXPECT_EQ(committed.count(), 0);
        EXPECT_EQ(slider.floatValue(), 0.2F);
    }
    EXPECT_GE(shown.count(), 5);
    const float pointedAt = shown.last().at(0).toFloat();
    EXPECT_GT(pointedAt, 0.4F);
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::NoModifier, at);
    EXPECT_EQ(committed.count(), 1);
    EXPECT_EQ(slider.floatValue(), pointedAt);
}

TEST_F(FloatSliderTest, ADragThatEndsWhereItBeganCommitsNothing) {
    slider.setFloatValue(0.2F);
    const QPoint at = handle();
    QTest::mousePress(&slider, Qt::LeftButton, Qt::NoModifier, at);
    QTest::mouseMove(&slider, at + QPoint(60, 0));
    QTest::mouseMove(&slider, at);
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::NoModifier, at);
    EXPECT_EQ(committed.count(), 0);
    EXPECT_EQ(slider.floatValue(), 0.2F);
    EXPECT_EQ(shown.last().at(0).toFloat(), 0.2F);
}

TEST_F(FloatSliderTest, AKeyThatRepeatsCommitsOnceWhenItIsLetGo) {
    slider.setFloatValue(0.20F);
    shown.clear();
    sendKey(QEvent::KeyPress, Qt::Key_Right, false);
    const int atFirstPress = static_cast<int>(committed.count());
    for (int i = 0; i < 10; ++i) {
        sendKey(QEvent::KeyRelease, Qt::Key_Right, true);
        sendKey(QEvent::KeyPress, Qt::Key_Right, true);
    }
    EXPECT_EQ(committed.count(), atFirstPress);
    EXPECT_EQ(shown.count(), 11);
    sendKey(QEvent::KeyRelease, Qt::Key_Right, false);
    EXPECT_EQ(committed.count(), atFirstPress + 1);
    EXPECT_EQ(slider.floatValue(), 0.31F);
    // The next key is a new one.
    QTest::keyClick(&slider, Qt::Key_Right);
    EXPECT_EQ(committed.count(), atFirstPress + 2);
}

TEST_F(FloatSliderTest, ARepeatingKeyWhoseReleaseGoesElsewhereIsCommittedWhenTheFocusGoes) {
    slider.setFocus();
    sendKey(QEvent::KeyPress, Qt::Key_Right, false);
    sendKey(QEvent::KeyPress, Qt::Key_Right, true);
    const auto before = committed.count();
    QFocusEvent focusOut(QEvent::FocusOut, Qt::ActiveWindowFocusReason);
    QApplication::sendEvent(&slider, &focusOut);
    EXPECT_EQ(committed.count(), before + 1);
    EXPECT_EQ(slider.floatValue(), 0.02F);
}

TEST_F(FloatSliderTest, ADisabledSliderTakesNoKeys) {
    slider.setFloatValue(0.5F);
    slider.setEnabled(false);
    QTest::keyClick(&slider, Qt::Key_Right);
    turnWheel(15);
    EXPECT_EQ(committed.count(), 0);
    EXPECT_EQ(slider.floatValue(), 0.5F);
}

}  // namespace lumaweave
