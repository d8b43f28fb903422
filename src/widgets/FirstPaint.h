// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

class QWidget;

namespace lumaweave {

// Runs the action once, from the event loop, when the window's first picture stands on the screen;
// after two seconds at the latest, for a window that starts minimised and paints nothing. Does
// nothing when the window goes before that. Main thread.
void afterFirstPaint(QWidget* window, const std::function<void()>& action);

}  // namespace lumaweave
