// SPDX-License-Identifier: GPL-3.0-or-later

// libFuzzer's entry; LUMAWEAVE_FUZZ_TARGET is one of Targets.h's functions.

#include <cstdint>

#include "Targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    lumaweave::fuzz::LUMAWEAVE_FUZZ_TARGET({reinterpret_cast<const std::byte*>(data), size});
    return 0;
}
