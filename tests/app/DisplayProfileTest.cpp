// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/DisplayProfile.h"

#include <gtest/gtest.h>

#include <string>

#include "support/VirtualDisplay.h"

namespace lumaweave {

using test::VirtualDisplay;

TEST(DisplayProfile, IsTheOneThatTheDisplayNames) {
    VirtualDisplay display;
    EXPECT_TRUE(displayProfile(display.connection()).isEmpty()) << "a display that names none";
    const QByteArray bytes("any bytes\0of a profile\n", 23);
    display.setProperty("_ICC_PROFILE", bytes);
    EXPECT_EQ(displayProfile(display.connection()), bytes);
}

TEST(DisplayProfile, MayBeLarge) {
    VirtualDisplay display;
    QByteArray bytes(3'000'001, 'p');
    bytes.front() = 'f';
    bytes.back() = 'l';
    display.setProperty("_ICC_PROFILE", bytes);
    EXPECT_EQ(displayProfile(display.connection()), bytes);
}

TEST(DisplayProfile, IsNoneOfAnotherScreenOrOfOtherNumbersThanBytes) {
    VirtualDisplay display;
    display.setProperty("_ICC_PROFILE_1", "of the second screen");
    display.setProperty("_ICC_PROFILE", "four", 32);
    EXPECT_TRUE(displayProfile(display.connection()).isEmpty());
    display.setProperty("_ICC_PROFILE", {});
    EXPECT_TRUE(displayProfile(display.connection()).isEmpty());
}

}  // namespace lumaweave
