// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/HeifOrientation.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "platform/ByteOrder.h"

namespace lumaweave {

namespace {

using Bytes = std::span<const unsigned char>;

// Takes numbers off the front. All are zero once the bytes have not sufficed.
class Fields {
  public:
    explicit Fields(Bytes bytes) : rest_(bytes) {}

    std::uint64_t number(std::size_t byteCount) {
        const Bytes bytes = take(byteCount);
        return readNumber(bytes.data(), bytes.size(), std::endian::big);
    }
    Bytes take(std::uint64_t byteCount) {
        if (byteCount > rest_.size()) {
            sufficed_ = false;
            rest_ = {};
            return {};
        }
        const Bytes taken = rest_.first(static_cast<std::size_t>(byteCount));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }
    [[nodiscard]] std::size_t left() const { return rest_.size(); }
    [[nodiscard]] bool sufficed() const { return sufficed_; }

  private:
    Bytes rest_;
    bool sufficed_ = true;
};

struct Box {
    std::string_view type;
    Bytes content;
};

// The boxes that lie one behind the other; up to the first that is damaged.
std::vector<Box> boxesIn(Bytes bytes) {
    std::vector<Box> boxes;
    Fields fields(bytes);
    while (fields.left() > 0) {
        constexpr std::uint64_t toTheEnd = 0;
        constexpr std::uint64_t inLongForm = 1;
        std::uint64_t size = fields.number(4);
        const Bytes type = fields.take(4);
        std::uint64_t headBytes = 8;
        if (size == inLongForm) {
            size = fields.number(8);
            headBytes = 16;
        } else if (size == toTheEnd) {
            size = headBytes + fields.left();
        }
        if (!fields.sufficed() || size < headBytes) break;
        const Bytes content = fields.take(size - headBytes);
        if (!fields.sufficed()) break;
        boxes.push_back({{reinterpret_cast<const char*>(type.data()), type.size()}, content});
    }
    return boxes;
}

// Empty when there is none.
Bytes contentOf(const std::vector<Box>& boxes, std::string_view type) {
    const auto box = std::ranges::find(boxes, type, &Box::type);
    return box == boxes.end() ? Bytes() : box->content;
}

// The properties of an item, by their place in the list, which counts from one.
std::vector<std::uint64_t> propertiesOf(std::uint64_t item, Bytes associations) {
    Fields fields(associations);
    const std::uint64_t version = fields.number(1);
    constexpr std::uint64_t longIndices = 1;
    const std::size_t indexBytes = (fields.number(3) & longIndices) != 0 ? 2 : 1;
    const std::uint64_t indexMask = indexBytes == 2 ? 0x7FFF : 0x7F;
    const std::uint64_t items = fields.number(4);
    for (std::uint64_t i = 0; i < items && fields.sufficed(); ++i) {
        const bool isIt = fields.number(version == 0 ? 2 : 4) == item;
        const std::uint64_t count = fields.number(1);
        std::vector<std::uint64_t> properties;
        for (std::uint64_t p = 0; p < count; ++p)
            properties.push_back(fields.number(indexBytes) & indexMask);
        if (isIt && fields.sufficed()) return properties;
    }
    return {};
}

// A turn about the picture's middle: where the pixel at (x, y) goes, x to the right, y down.
struct Turn {
    int xFromX, xFromY;
    int yFromX, yFromY;
    bool operator==(const Turn&) const = default;
};

Turn then(const Turn& first, const Turn& second) {
    return {second.xFromX * first.xFromX + second.xFromY * first.yFromX,
            second.xFromX * first.xFromY + second.xFromY * first.yFromY,
            second.yFromX * first.xFromX + second.yFromY * first.yFromX,
            second.yFromX * first.xFromY + second.yFromY * first.yFromY};
}

constexpr Turn leftRight = {-1, 0, 0, 1};
constexpr Turn topBottom = {1, 0, 0, -1};
constexpr Turn quarterAgainstTheClock = {0, 1, -1, 0};

// In the order of EXIF's numbers.
constexpr std::array<Turn, 8> orientations = {{{1, 0, 0, 1},
                                               leftRight,
                                               {-1, 0, 0, -1},
                                               topBottom,
                                               {0, 1, 1, 0},
                                               {0, -1, 1, 0},
                                               {0, -1, -1, 0},
                                               quarterAgainstTheClock}};

// What a file says of its pictures: the lists of properties, and which picture is the main one.
struct Meta {
    std::uint64_t mainItem = 0;
    std::vector<Box> properties;
    std::vector<Bytes> associations;
};

// None where the structure is damaged.
std::optional<Meta> metaOf(Bytes file) {
    Fields content(contentOf(boxesIn(file), "meta"));
    content.take(4);
    const std::vector<Box> parts = boxesIn(content.take(content.left()));
    Fields main(contentOf(parts, "pitm"));
    const std::uint64_t version = main.number(1);
    main.take(3);
    Meta meta;
    meta.mainItem = main.number(version == 0 ? 2 : 4);
    const std::vector<Box> lists = boxesIn(contentOf(parts, "iprp"));
    meta.properties = boxesIn(contentOf(lists, "ipco"));
    for (const Box& list : lists) {
        if (list.type == "ipma") meta.associations.push_back(list.content);
    }
    if (!main.sufficed() || meta.properties.empty()) return std::nullopt;
    return meta;
}

// The turn once the property has been applied to it as well. None where the picture is cropped, or
// the property is damaged.
std::optional<Turn> turnedBy(const Box& property, Turn turn) {
    const bool isMirror = property.type == "imir";
    const bool isRotation = property.type == "irot";
    if (property.type == "clap") return std::nullopt;
    if (!isMirror && !isRotation) return turn;
    Fields fields(property.content);
    const std::uint64_t value = fields.number(1);
    if (!fields.sufficed()) return std::nullopt;
    if (isMirror) return then(turn, (value & 1U) != 0 ? leftRight : topBottom);
    for (std::uint64_t i = 0; i < (value & 3U); ++i)
        turn = then(turn, quarterAgainstTheClock);
    return turn;
}

}  // namespace

std::optional<int> heifOrientation(std::span<const unsigned char> file,
                                   std::optional<std::uint32_t> wantedItem) {
    const auto meta = metaOf(file);
    if (!meta) return std::nullopt;
    const std::uint64_t item = wantedItem.value_or(meta->mainItem);
    std::optional<Turn> turn = orientations[0];
    for (const Bytes associations : meta->associations) {
        for (const std::uint64_t place : propertiesOf(item, associations)) {
            if (place < 1 || place > meta->properties.size()) continue;
            turn = turnedBy(meta->properties[static_cast<std::size_t>(place) - 1], *turn);
            if (!turn) return std::nullopt;
        }
    }
    const auto orientation = std::ranges::find(orientations, *turn);
    return static_cast<int>(orientation - orientations.begin()) + 1;
}

}  // namespace lumaweave
