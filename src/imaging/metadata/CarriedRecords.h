// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "imaging/metadata/ExivLibrary.h"

namespace lumaweave {

// What of a photograph's records another picture of its scene can be given (see Metadata). For the
// reader: libraries that a hostile file may harm read them, and put them into their new form, in
// the process that calls.

// Without what describes the source's own pixels, damaged and enormous records, and maker notes
// that would break. None when the file cannot be read; the reason is in the log.
[[nodiscard]] std::optional<ExivRecords> readCarriedRecords(const std::filesystem::path& path);

// Whether nobody has told the file anything.
[[nodiscard]] bool saysNothing(const ExivRecords& records);

// All of it in one line for the log, long values shortened.
[[nodiscard]] std::string descriptionOf(const ExivRecords& records);

// As a TIFF file with one page that has no picture; its values begin at that byte or later. Empty
// when it cannot be put into that form, even without the maker note.
[[nodiscard]] std::vector<std::byte> asTiff(const ExivRecords& records, bool bigEndian,
                                            std::size_t firstByte);

}  // namespace lumaweave
