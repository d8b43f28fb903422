// SPDX-License-Identifier: GPL-3.0-or-later
#include "ScratchFolder.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <system_error>

namespace lumaweave::fuzz {

namespace fs = std::filesystem;

namespace {

class Folder {
  public:
    Folder() {
        const fs::path memory = "/dev/shm";
        std::string place =
            ((fs::is_directory(memory) ? memory : fs::temp_directory_path()) / "fuzz-XXXXXX")
                .native();
        if (mkdtemp(place.data()) == nullptr) std::abort();
        path_ = place;
    }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    [[nodiscard]] const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

}  // namespace

const fs::path& scratchFolder() {
    static const Folder folder;
    return folder.path();
}

fs::path writeScratch(const char* name, Bytes bytes) {
    fs::path path = scratchFolder() / name;
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return path;
}

}  // namespace lumaweave::fuzz
