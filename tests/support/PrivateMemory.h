// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace lumaweave::test {

// The private memory of this process in bytes, without maps of files.
[[nodiscard]] long long privateMemory();

// Sanitizers keep memory of their own, which hides what a picture takes.
inline constexpr bool sanitized =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    true;
#else
    false;
#endif

}  // namespace lumaweave::test
