#include "imaging/ExivLibrary.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <exiv2/webpimage.hpp>
#include <mutex>
#include <string>

#include "imaging/HeifMetadata.h"
#include "platform/FileDescriptor.h"
#include "platform/Log.h"
#include "platform/WorkingFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

std::mutex xmpMutex;

void lockXmp(void* mutex, bool lock) {
    if (lock) {
        static_cast<std::mutex*>(mutex)->lock();
    } else {
        static_cast<std::mutex*>(mutex)->unlock();
    }
}

void logMessage(int, const char* message) {
    std::string line(message);
    while (!line.empty() && line.back() == '\n')
        line.pop_back();
    Log(line);
}

bool isPhotograph(int type) {
    using namespace Exiv2::ImageType;
    constexpr std::array types = {jpeg, tiff, png, webp, bmff, cr2, crw, raf, orf,
                                  rw2,  mrw,  dng, nef,  pef,  arw, sr2, srw};
    return std::find(types.begin(), types.end(), type) != types.end();
}

// A copy of the file in the working folder while the library reads it: the library maps the files
// of some formats, and a user's file that shrinks under its map would end the program.
class ScratchCopy {
  public:
    explicit ScratchCopy(const fs::path& path) : scratch_(newScratchPath(".metadata")) {
        const FileDescriptor source = FileDescriptor::ofRegularFile(path);
        if (!source.isOpen()) return;
        constexpr mode_t ownerOnly = 0600;
        const FileDescriptor copy(
            open(scratch_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, ownerOnly));
        complete_ = copy.isOpen() && copy.copyFrom(source, source.size(), 0);
    }
    ~ScratchCopy() {
        std::error_code ignored;
        fs::remove(scratch_, ignored);
    }
    ScratchCopy(const ScratchCopy&) = delete;
    ScratchCopy& operator=(const ScratchCopy&) = delete;

    [[nodiscard]] bool isComplete() const { return complete_; }
    [[nodiscard]] const fs::path& path() const { return scratch_; }

  private:
    fs::path scratch_;
    bool complete_ = false;
};

ExivRecords recordsOf(const HeifMetadata& heif) {
    ExivRecords records;
    if (!heif.exif.empty()) {
        Exiv2::ExifParser::decode(records.exif, heif.exif.data(),
                                  static_cast<std::uint32_t>(heif.exif.size()));
    }
    if (!heif.xmp.empty()) Exiv2::XmpParser::decode(records.xmp, heif.xmp);
    return records;
}

// Throws when the file is damaged beyond reading.
ExivRecords readRecords(const fs::path& path) {
    if (const auto heif = readHeifMetadata(path)) return recordsOf(*heif);
    const auto image = Exiv2::ImageFactory::open(path.native());
    if (!isPhotograph(image->imageType())) return {};
    image->readMetadata();
    return {image->exifData(), image->iptcData(), image->xmpData()};
}

}  // namespace

void startExiv() {
    static std::once_flag once;
    std::call_once(once, [] {
        // Its XMP part is one toolkit for the whole process.
        Exiv2::XmpParser::initialize(lockXmp, &xmpMutex);
        Exiv2::enableBMFF(true);  // HEIC and its relatives
        // Unknown tags and odd values are every camera's habit.
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::error);
        Exiv2::LogMsg::setHandler(logMessage);
    });
}

std::optional<ExivRecords> readExivRecords(const fs::path& path) {
    startExiv();
    const ScratchCopy copy(path);
    if (!copy.isComplete()) {
        Log("Cannot read " + path.native());
        return std::nullopt;
    }
    try {
        return readRecords(copy.path());
    } catch (const std::exception& error) {
        Log(path.native() + ": " + error.what());
        return std::nullopt;
    }
}

}  // namespace lumaweave
