// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Colours.h"

namespace lumaweave::test {

QColor middleOf(const QImage& picture) {
    return picture.pixelColor(picture.rect().center());
}

std::array<double, 3> levelsOf(const std::array<double, 3>& colour) {
    return {colour[0] * 255, colour[1] * 255, colour[2] * 255};
}

testing::Matcher<const QColor&> isNear(const std::array<double, 3>& colour, double tolerance) {
    using testing::Property;
    const auto within = [tolerance](double value) {
        return testing::AllOf(testing::Ge(value - tolerance), testing::Le(value + tolerance));
    };
    return testing::AllOf(Property("red", &QColor::red, within(colour[0])),
                          Property("green", &QColor::green, within(colour[1])),
                          Property("blue", &QColor::blue, within(colour[2])));
}

}  // namespace lumaweave::test
