// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/FloatSlider.h"

#include <QKeyEvent>
#include <algorithm>
#include <cmath>

namespace lumaweave {

FloatSlider::FloatSlider(QWidget* parent) : QSlider(Qt::Horizontal, parent) {
    // Dragging then sets a value when the user lets go, not on every pixel.
    setTracking(false);
    connect(this, &QSlider::valueChanged, this, &FloatSlider::positionSettled);
    connect(this, &QSlider::sliderMoved, this,
            [this](int position) { Q_EMIT shownValueChanged(valueAt(position)); });
}

void FloatSlider::setFloatRange(float lowest, float highest, float step) {
    lowest_ = lowest;
    step_ = step;
    settingFromCode_ = true;
    setRange(0, static_cast<int>(std::lround((highest - lowest) / step)));
    setSingleStep(1);
    setPageStep(std::max(1, maximum() / 10));
    settingFromCode_ = false;
    setFloatValue(value_);
}

void FloatSlider::setFloatValue(float value) {
    value_ = std::clamp(value, lowest_, valueAt(maximum()));
    settingFromCode_ = true;
    setValue(static_cast<int>(std::lround((value_ - lowest_) / step_)));
    settingFromCode_ = false;
    Q_EMIT shownValueChanged(value_);
}

// In double precision, so that the value is the float nearest to the decimal that is shown.
float FloatSlider::valueAt(int position) const {
    const double steps = std::round(1.0 / static_cast<double>(step_));
    const double step = step_ < 1.0F ? 1.0 / steps : static_cast<double>(step_);
    const double lowest = std::round(static_cast<double>(lowest_) / step) * step;
    return static_cast<float>(lowest + position * step);
}

void FloatSlider::positionSettled(int position) {
    if (settingFromCode_) return;
    value_ = valueAt(position);
    Q_EMIT shownValueChanged(value_);
    if (held_) {
        changedWhileHeld_ = true;
    } else {
        Q_EMIT valueCommitted();
    }
}

void FloatSlider::commitHeldChange() {
    held_ = false;
    if (!changedWhileHeld_) return;
    changedWhileHeld_ = false;
    Q_EMIT valueCommitted();
}

void FloatSlider::keyPressEvent(QKeyEvent* event) {
    if (event->isAutoRepeat()) held_ = true;
    QSlider::keyPressEvent(event);
}

void FloatSlider::keyReleaseEvent(QKeyEvent* event) {
    QSlider::keyReleaseEvent(event);
    if (!event->isAutoRepeat()) commitHeldChange();
}

void FloatSlider::focusOutEvent(QFocusEvent* event) {
    QSlider::focusOutEvent(event);
    commitHeldChange();
}

void FloatSlider::mousePressEvent(QMouseEvent* event) {
    held_ = true;
    QSlider::mousePressEvent(event);
}

void FloatSlider::mouseReleaseEvent(QMouseEvent* event) {
    QSlider::mouseReleaseEvent(event);
    commitHeldChange();
}

}  // namespace lumaweave
