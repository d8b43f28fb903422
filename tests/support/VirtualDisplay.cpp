// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/VirtualDisplay.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace lumaweave::test {

namespace {

struct Freer {
    void operator()(void* reply) const { std::free(reply); }
};

const xcb_screen_t& firstScreen(xcb_connection_t* connection) {
    return *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
}

}  // namespace

VirtualDisplay::VirtualDisplay() {
    // The server takes a free number, and tells it.
    server_.start("Xvfb", {"-displayfd", "1", "-screen", "0", "1280x900x24", "-noreset"});
    constexpr int longest = 60'000;
    while (!server_.canReadLine()) {
        if (!server_.waitForReadyRead(longest)) throw std::runtime_error("no virtual display");
    }
    name_ = ":" + server_.readLine().trimmed().toStdString();
    connection_ = xcb_connect(name_.c_str(), nullptr);
    if (xcb_connection_has_error(connection_) != 0) {
        xcb_disconnect(connection_);
        throw std::runtime_error("no connection to the virtual display");
    }
}

VirtualDisplay::~VirtualDisplay() {
    xcb_disconnect(connection_);
    server_.terminate();
    server_.waitForFinished();
}

void VirtualDisplay::setProperty(const std::string& property, const QByteArray& value, int bits) {
    const std::unique_ptr<xcb_intern_atom_reply_t, Freer> atom(xcb_intern_atom_reply(
        connection_,
        xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(property.size()),
                        property.data()),
        nullptr));
    const xcb_window_t root = firstScreen(connection_).root;
    const int unit = bits / 8;
    // In pieces: a request holds no more than some hundred thousand bytes.
    constexpr qsizetype most = 100'000;
    std::uint8_t mode = XCB_PROP_MODE_REPLACE;
    qsizetype done = 0;
    do {
        const qsizetype count = std::min(most, value.size() - done);
        xcb_change_property(connection_, mode, root, atom->atom, XCB_ATOM_CARDINAL,
                            static_cast<std::uint8_t>(bits),
                            static_cast<std::uint32_t>(count / unit), value.constData() + done);
        mode = XCB_PROP_MODE_APPEND;
        done += count;
    } while (done < value.size());
    // The answer comes after all before it.
    std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

QImage VirtualDisplay::screenshot() const {
    const xcb_screen_t& screen = firstScreen(connection_);
    const std::unique_ptr<xcb_get_image_reply_t, Freer> reply(
        xcb_get_image_reply(connection_,
                            xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, screen.root, 0, 0,
                                          screen.width_in_pixels, screen.height_in_pixels, ~0U),
                            nullptr));
    if (!reply) throw std::runtime_error("the virtual display gives no picture");
    return QImage(xcb_get_image_data(reply.get()), screen.width_in_pixels, screen.height_in_pixels,
                  QImage::Format_RGB32)
        .copy();
}

}  // namespace lumaweave::test
