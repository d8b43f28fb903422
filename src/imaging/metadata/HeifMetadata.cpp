// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/metadata/HeifMetadata.h"

#include <libheif/heif.h>

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/ByteOrder.h"
#include "platform/FileDescriptor.h"

namespace lumaweave {

namespace {

struct ContextCloser {
    void operator()(heif_context* context) const { heif_context_free(context); }
};
struct HandleCloser {
    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
};
using Context = std::unique_ptr<heif_context, ContextCloser>;
using Handle = std::unique_ptr<heif_image_handle, HandleCloser>;

bool isHeif(const std::filesystem::path& path) {
    std::uint8_t head[12] = {};
    const FileDescriptor file = FileDescriptor::ofRegularFile(path);
    if (!file.isOpen() || !file.readAt(0, head, sizeof head)) return false;
    const heif_filetype_result type = heif_check_filetype(head, sizeof head);
    return type == heif_filetype_yes_supported || type == heif_filetype_yes_unsupported;
}

std::vector<unsigned char> blockBytes(const heif_image_handle* handle, heif_item_id id) {
    std::vector<unsigned char> bytes(heif_image_handle_get_metadata_size(handle, id));
    if (bytes.empty()) return bytes;
    const heif_error error = heif_image_handle_get_metadata(handle, id, bytes.data());
    return error.code == heif_error_Ok ? bytes : std::vector<unsigned char>();
}

// Four bytes in front say how far behind them the TIFF structure begins.
std::vector<unsigned char> tiffIn(const std::vector<unsigned char>& block) {
    constexpr std::size_t fieldBytes = 4;
    if (block.size() < fieldBytes) return {};
    const std::size_t skipped = readNumber(block.data(), fieldBytes, std::endian::big);
    if (skipped > block.size() - fieldBytes) return {};
    return {block.begin() + static_cast<std::ptrdiff_t>(fieldBytes + skipped), block.end()};
}

}  // namespace

std::optional<HeifMetadata> readHeifMetadata(const std::filesystem::path& path) {
    if (!isHeif(path)) return std::nullopt;
    const Context context(heif_context_alloc());
    if (heif_context_read_from_file(context.get(), path.c_str(), nullptr).code != heif_error_Ok) {
        return std::nullopt;
    }
    heif_image_handle* opened = nullptr;
    if (heif_context_get_primary_image_handle(context.get(), &opened).code != heif_error_Ok) {
        return std::nullopt;
    }
    const Handle handle(opened);
    const int count = heif_image_handle_get_number_of_metadata_blocks(handle.get(), nullptr);
    std::vector<heif_item_id> ids(static_cast<std::size_t>(count));
    heif_image_handle_get_list_of_metadata_block_IDs(handle.get(), nullptr, ids.data(), count);
    HeifMetadata metadata;
    for (const heif_item_id id : ids) {
        const std::string_view type = heif_image_handle_get_metadata_type(handle.get(), id);
        const std::string_view content =
            heif_image_handle_get_metadata_content_type(handle.get(), id);
        const std::vector<unsigned char> bytes = blockBytes(handle.get(), id);
        if (type == "Exif" && metadata.exif.empty()) {
            metadata.exif = tiffIn(bytes);
        } else if (type == "mime" && content == "application/rdf+xml") {
            metadata.xmp.assign(bytes.begin(), bytes.end());
        }
    }
    return metadata;
}

}  // namespace lumaweave
