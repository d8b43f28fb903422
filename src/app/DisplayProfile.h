// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>

struct xcb_connection_t;

namespace lumaweave {

// The ICC profile that an X display names for its first monitor, as colour managers do; empty when
// it names none. (Windows on other monitors use it too.) Any thread that may use the connection.
[[nodiscard]] QByteArray displayProfile(xcb_connection_t* connection);

// That of the display that the program shows its windows on; empty on other platforms. Main thread,
// with a QGuiApplication.
[[nodiscard]] QByteArray displayProfile();

}  // namespace lumaweave
