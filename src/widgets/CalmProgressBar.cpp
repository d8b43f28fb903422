// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/CalmProgressBar.h"

#include <QEvent>

namespace lumaweave {

namespace {
constexpr int millisecondsBetweenSteps = 250;
}

bool CalmProgressBar::event(QEvent* event) {
    if (event->type() != QEvent::StyleAnimationUpdate) return QProgressBar::event(event);
    // An update that is not accepted ends the animation.
    if (sinceDrawn_.isValid() && !sinceDrawn_.hasExpired(millisecondsBetweenSteps)) {
        event->accept();
        return true;
    }
    sinceDrawn_.start();
    return QProgressBar::event(event);
}

}  // namespace lumaweave
