// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/DisplayProfile.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace lumaweave {

namespace {

struct Freer {
    void operator()(void* reply) const { std::free(reply); }
};

}  // namespace

QByteArray displayProfile(xcb_connection_t* connection) {
    constexpr std::string_view name = "_ICC_PROFILE";
    const std::unique_ptr<xcb_intern_atom_reply_t, Freer> atom(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 1, name.size(), name.data()), nullptr));
    if (!atom || atom->atom == XCB_ATOM_NONE) return {};
    const xcb_screen_iterator_t screen = xcb_setup_roots_iterator(xcb_get_setup(connection));
    if (screen.rem == 0) return {};
    // More than any screen's profile; in units of four bytes.
    constexpr std::uint32_t most = (16U << 20) / 4;
    const std::unique_ptr<xcb_get_property_reply_t, Freer> property(
        xcb_get_property_reply(connection,
                               xcb_get_property(connection, 0, screen.data->root, atom->atom,
                                                XCB_GET_PROPERTY_TYPE_ANY, 0, most),
                               nullptr));
    if (!property || property->format != 8 || property->bytes_after != 0) return {};
    return {static_cast<const char*>(xcb_get_property_value(property.get())),
            xcb_get_property_value_length(property.get())};
}

QByteArray displayProfile() {
    const auto* display = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return display == nullptr ? QByteArray() : displayProfile(display->connection());
}

}  // namespace lumaweave
