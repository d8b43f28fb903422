// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QImage>
#include <QProcess>
#include <string>

struct xcb_connection_t;

namespace lumaweave::test {

// An X display of the test's own, for tests that would change the shared one.
class VirtualDisplay {
  public:
    // Returns with the display up, or throws.
    VirtualDisplay();
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    // As in $DISPLAY.
    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] xcb_connection_t* connection() const { return connection_; }

    // Sets a property of the first screen, of units of 8, 16 or 32 bits.
    void setProperty(const std::string& property, const QByteArray& value, int bits = 8);
    // What the first screen shows.
    [[nodiscard]] QImage screenshot() const;

  private:
    QProcess server_;
    std::string name_;
    xcb_connection_t* connection_ = nullptr;
};

}  // namespace lumaweave::test
