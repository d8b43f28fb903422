#include "imaging/ColourProfile.h"

#include <cstring>

namespace lumaweave {

bool isProfileOf(const char* colourSpace, const void* profile, std::size_t size) {
    constexpr std::size_t headerSize = 128;
    constexpr std::size_t colourSpaceOffset = 16;
    constexpr std::size_t signatureOffset = 36;
    const auto* bytes = static_cast<const char*>(profile);
    return size >= headerSize && std::memcmp(bytes + signatureOffset, "acsp", 4) == 0 &&
           std::memcmp(bytes + colourSpaceOffset, colourSpace, 4) == 0;
}

}  // namespace lumaweave
