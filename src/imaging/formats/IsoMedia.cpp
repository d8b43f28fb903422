// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/IsoMedia.h"

#include <algorithm>
#include <array>

#include "imaging/formats/PhotoFormat.h"

namespace lumaweave {

IsoMedia isoMediaOf(std::string_view head) {
    using namespace std::string_view_literals;
    constexpr std::array heifBrands = {"heic"sv, "heix"sv, "heim"sv, "heis"sv,
                                       "mif1"sv, "avif"sv, "avis"sv, "miaf"sv};
    if (!hasAt(head, 4, "ftyp")) return IsoMedia::other;
    // Length of the box, its name, the main brand, a version, further brands.
    constexpr std::size_t brandBytes = 4;
    constexpr std::size_t mainBrand = 8;
    for (std::size_t at = mainBrand; at + brandBytes <= head.size(); at += brandBytes) {
        const std::string_view brand = head.substr(at, brandBytes);
        if (brand == "crx ") return IsoMedia::raw;
        if (std::ranges::find(heifBrands, brand) != heifBrands.end()) return IsoMedia::heif;
        if (at == mainBrand) at += brandBytes;  // the version
    }
    return IsoMedia::other;
}

}  // namespace lumaweave
