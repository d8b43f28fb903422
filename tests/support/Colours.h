// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gmock/gmock.h>

#include <QColor>
#include <QImage>
#include <array>

namespace lumaweave::test {

// The colour of the pixel in the middle.
[[nodiscard]] QColor middleOf(const QImage& picture);

// A colour of 0 to 1 each, as numbers of 0 to 255.
[[nodiscard]] std::array<double, 3> levelsOf(const std::array<double, 3>& colour);

// Matches a colour whose red, green and blue (0 to 255) each differ from these by no more than the
// tolerance.
[[nodiscard]] testing::Matcher<const QColor&> isNear(const std::array<double, 3>& colour,
                                                     double tolerance);

}  // namespace lumaweave::test
