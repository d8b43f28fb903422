// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/MetadataBlocks.h"

#include <array>
#include <charconv>

namespace lumaweave {

namespace {

// A line with this and the three sizes in bytes; then the three, one behind the other.
constexpr std::string_view title = "metadata";

std::string_view asText(const std::vector<std::byte>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::vector<std::byte> asBytes(std::string_view text) {
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

// Takes " number" off the front.
std::optional<std::size_t> takeSize(std::string_view& line) {
    if (!line.starts_with(' ')) return std::nullopt;
    line.remove_prefix(1);
    std::size_t size = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), size);
    if (error != std::errc()) return std::nullopt;
    line.remove_prefix(static_cast<std::size_t>(end - line.data()));
    return size;
}

}  // namespace

std::string packMetadata(const MetadataBlocks& blocks) {
    std::string bytes(title);
    for (const std::size_t size :
         {blocks.description.size(), blocks.littleEndian.size(), blocks.bigEndian.size()}) {
        bytes += ' ' + std::to_string(size);
    }
    bytes += '\n';
    bytes += blocks.description;
    bytes += asText(blocks.littleEndian);
    bytes += asText(blocks.bigEndian);
    return bytes;
}

std::optional<MetadataBlocks> unpackMetadata(std::string_view bytes) {
    const std::size_t lineEnd = bytes.find('\n');
    if (!bytes.starts_with(title) || lineEnd == std::string_view::npos) return std::nullopt;
    std::string_view line = bytes.substr(title.size(), lineEnd - title.size());
    std::string_view rest = bytes.substr(lineEnd + 1);
    std::array<std::string_view, 3> parts;
    for (std::string_view& part : parts) {
        const auto size = takeSize(line);
        if (!size || *size > rest.size()) return std::nullopt;
        part = rest.substr(0, *size);
        rest.remove_prefix(*size);
    }
    if (!line.empty() || !rest.empty()) return std::nullopt;
    return MetadataBlocks{std::string(parts[0]), asBytes(parts[1]), asBytes(parts[2])};
}

}  // namespace lumaweave
