#pragma once

namespace lumaweave::test {

// The private memory of this process in bytes; maps of files are not in it.
[[nodiscard]] long long privateMemory();

// Sanitizers keep memory of their own: what a picture takes cannot be told from it.
inline constexpr bool sanitized =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    true;
#else
    false;
#endif

}  // namespace lumaweave::test
