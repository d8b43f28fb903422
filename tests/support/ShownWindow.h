#pragma once

#include <QApplication>
#include <functional>

#include "support/Waiting.h"

namespace lumaweave::test {

// The window of that class that stands on the screen; null when there is none.
template <typename Window>
Window* shown() {
    for (QWidget* window : QApplication::topLevelWidgets()) {
        auto* found = qobject_cast<Window*>(window);
        if (found != nullptr && found->isVisible()) return found;
    }
    return nullptr;
}

// Does something in the window of that class once it stands on the screen.
template <typename Window>
void whenShown(const std::function<void(Window&)>& action) {
    whenTrue([] { return shown<Window>() != nullptr; }, [action] { action(*shown<Window>()); });
}

}  // namespace lumaweave::test
