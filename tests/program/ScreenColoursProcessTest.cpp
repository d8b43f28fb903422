// SPDX-License-Identifier: GPL-3.0-or-later

// The program on displays that name a colour profile.

#include <gtest/gtest.h>

#include <cmath>

#include "support/FormatFixtures.h"
#include "support/Pictures.h"
#include "support/PixelFormats.h"
#include "support/Program.h"
#include "support/TestFolder.h"
#include "support/VirtualDisplay.h"
#include "support/Waiting.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;

namespace {

// How many pixels of the screen are of this colour, or next to it.
int pixelsOf(const std::array<double, 3>& colour, const QImage& screen) {
    const auto isNear = [](int value, double wanted) {
        return std::abs(value - wanted * 255) <= 1.5;
    };
    int found = 0;
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x) {
            const QRgb pixel = screen.pixel(x, y);
            found += isNear(qRed(pixel), colour[0]) && isNear(qGreen(pixel), colour[1]) &&
                     isNear(qBlue(pixel), colour[2]);
        }
    }
    return found;
}

}  // namespace

class ScreenColours : public testing::Test {
  protected:
    // Starts the program on two shots of one colour, which is an everyday one in both spaces.
    void expectOnScreen(const std::array<double, 3>& shown) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DISPLAY", QString::fromStdString(display.name()));
        std::vector<fs::path> shots;
        for (const char* name : {"a.tif", "b.tif"}) {
            saveImage(plainPicture(300, 200, inSrgbItself, rgb16), folder / name);
            shots.push_back(folder / name);
        }
        Program program(shots, environment);
        // In two cells, the fused preview and the detail.
        constexpr int manyPixels = 10'000;
        EXPECT_TRUE(waitUntil([&] { return pixelsOf(shown, display.screenshot()) > manyPixels; }))
            << program.output();
        const auto& other = shown == inAdobe ? inSrgbItself : inAdobe;
        EXPECT_EQ(pixelsOf(other, display.screenshot()), 0);
    }

    const std::array<double, 3> inAdobe = {0.6, 0.5, 0.4};
    const std::array<double, 3> inSrgbItself = inSrgb(adobeRgbSpace, inAdobe);
    TestFolder folder;
    VirtualDisplay display;
};

TEST_F(ScreenColours, AreThoseOfTheProfileThatTheDisplayNames) {
    display.setProperty("_ICC_PROFILE", profileOf(adobeRgbSpace));
    expectOnScreen(inAdobe);
}

TEST_F(ScreenColours, AreSrgbOnADisplayThatNamesNone) {
    expectOnScreen(inSrgbItself);
}

TEST_F(ScreenColours, AreSrgbOnADisplayWhoseProfileCannotBeUsed) {
    display.setProperty("_ICC_PROFILE", profileOf(adobeRgbSpace).left(300));
    expectOnScreen(inSrgbItself);
}

}  // namespace lumaweave
