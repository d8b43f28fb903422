// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/tiff/TiffLibrary.h"

#include <unistd.h>

#include <cstdarg>

#include "platform/FileDescriptor.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

struct OptionsCloser {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
using Options = std::unique_ptr<TIFFOpenOptions, OptionsCloser>;

// Unknown tags are every camera's habit, and a damaged file has a message for each row.
int dropMessage(TIFF*, void*, const char*, const char*, va_list) {
    return 1;  // the handler for all files is not asked
}

Options silently() {
    Options options(TIFFOpenOptionsAlloc());
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), dropMessage, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), dropMessage, nullptr);
    return options;
}

}  // namespace

OpenTiff openTiff(const FileDescriptor& file, const fs::path& path, const char* mode) {
    FileDescriptor own = file.duplicate();
    if (!own.isOpen() || lseek(own.number(), 0, SEEK_SET) != 0) return nullptr;
    OpenTiff tiff(TIFFFdOpenExt(own.number(), path.c_str(), mode, silently().get()));
    if (tiff) static_cast<void>(own.release());  // libtiff closes it
    return tiff;
}

}  // namespace lumaweave
