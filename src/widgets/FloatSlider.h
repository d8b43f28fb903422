// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QSlider>

namespace lumaweave {

// A horizontal slider for fractional values. It keeps a value set from code exactly, also between
// two steps; the user moves it in whole steps. Main thread.
class FloatSlider : public QSlider {
    Q_OBJECT

  public:
    explicit FloatSlider(QWidget* parent = nullptr);

    // Lowest and highest value, and the step that keys, the wheel and dragging move in.
    void setFloatRange(float lowest, float highest, float step);
    // Fires no signal but shownValueChanged. Brings values outside the range inside.
    void setFloatValue(float value);
    [[nodiscard]] float floatValue() const { return value_; }
    // The value's integer part, as the fusion tool's integer options take it.
    [[nodiscard]] int intValue() const { return static_cast<int>(value_); }

  Q_SIGNALS:
    // What the slider points at, also while it is being dragged or set from code.
    void shownValueChanged(float value);
    // The user has set a value: let the handle or the groove go, pressed a key, or turned the
    // wheel. A held key or groove counts once, when the user lets go.
    void valueCommitted();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    [[nodiscard]] float valueAt(int position) const;
    void positionSettled(int position);
    void commitHeldChange();

    float lowest_ = 0.0F;
    float step_ = 1.0F;
    float value_ = 0.0F;
    bool settingFromCode_ = false;
    bool held_ = false;
    bool changedWhileHeld_ = false;
};

}  // namespace lumaweave
