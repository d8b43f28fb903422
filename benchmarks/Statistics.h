// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace lumaweave::bench {

// The value in the middle of the sorted values; between the two in the middle when their count is
// even. There must be values.
[[nodiscard]] double median(std::vector<double> values);

// Half the distance between the quartiles.
[[nodiscard]] double spread(const std::vector<double>& values);

[[nodiscard]] std::vector<double> differences(const std::vector<double>& left,
                                              const std::vector<double>& right);
[[nodiscard]] std::vector<double> ratios(const std::vector<double>& left,
                                         const std::vector<double>& right);

// "1.234" with so many decimals.
[[nodiscard]] std::string fixed(double value, int decimals);

// "median ± spread unit", each value times `scale`.
[[nodiscard]] std::string summary(const std::vector<double>& values, double scale, int decimals,
                                  const std::string& unit);

}  // namespace lumaweave::bench
