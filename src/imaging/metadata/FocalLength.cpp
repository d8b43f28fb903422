// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/FocalLength.h"

#include <charconv>
#include <cmath>

#include "imaging/reader/ReaderJobs.h"
#include "imaging/reader/ReaderProcess.h"

namespace lumaweave {

std::optional<double> focalLengthIn35mm(const std::filesystem::path& photograph) {
    const ReaderBytes read = readInReader(reader_jobs::focalLength, photograph);
    double length = 0;
    const char* first = read.bytes.data();
    const auto [end, error] = std::from_chars(first, first + read.bytes.size(), length);
    if (error != std::errc() || !std::isfinite(length) || length <= 0) return std::nullopt;
    return length;
}

}  // namespace lumaweave
