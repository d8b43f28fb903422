// SPDX-License-Identifier: GPL-3.0-or-later
#include "Statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <utility>

namespace lumaweave::bench {

namespace {

// Interpolated between the two nearest of the sorted values.
double quantile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    const double position = share * static_cast<double>(values.size() - 1);
    const auto below = static_cast<std::size_t>(position);
    const std::size_t above = std::min(below + 1, values.size() - 1);
    return std::lerp(values[below], values[above], position - static_cast<double>(below));
}

template <typename Operation>
std::vector<double> combined(const std::vector<double>& left, const std::vector<double>& right,
                             Operation operation) {
    std::vector<double> result;
    std::transform(left.begin(), left.end(), right.begin(), std::back_inserter(result), operation);
    return result;
}

}  // namespace

double median(std::vector<double> values) {
    return quantile(std::move(values), 0.5);
}

double spread(const std::vector<double>& values) {
    return (quantile(values, 0.75) - quantile(values, 0.25)) / 2;
}

std::vector<double> differences(const std::vector<double>& left, const std::vector<double>& right) {
    return combined(left, right, [](double a, double b) { return a - b; });
}

std::vector<double> ratios(const std::vector<double>& left, const std::vector<double>& right) {
    return combined(left, right, [](double a, double b) { return a / b; });
}

std::string fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string summary(const std::vector<double>& values, double scale, int decimals,
                    const std::string& unit) {
    return fixed(median(values) * scale, decimals) + " ± " +
           fixed(spread(values) * scale, decimals) + " " + unit;
}

}  // namespace lumaweave::bench
