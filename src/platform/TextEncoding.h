// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lumaweave {

// The UTF-8 text in the Mac OS Roman encoding; none when the text is not UTF-8 or holds a character
// that the encoding does not have. Any thread may call.
[[nodiscard]] std::optional<std::string> toMacRoman(std::string_view utf8);

}  // namespace lumaweave
