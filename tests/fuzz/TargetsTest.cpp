// SPDX-License-Identifier: GPL-3.0-or-later

// The fuzzers' targets on their seeds and on everything that they have found.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "Targets.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

constexpr auto fuzzFolder = LUMAWEAVE_SOURCE_FOLDER "/fuzz";

// Tries every file of the folder, whole and half; gives their number.
int feed(const char* folder, const std::function<void(fuzz::Bytes)>& target) {
    int files = 0;
    for (const auto& entry : fs::directory_iterator(fs::path(fuzzFolder) / folder)) {
        SCOPED_TRACE(entry.path().native());
        const std::string bytes = test::readFile(entry.path());
        const fuzz::Bytes whole = std::as_bytes(std::span(bytes));
        target(whole);
        target(whole.first(whole.size() / 2));
        ++files;
    }
    return files;
}

}  // namespace

TEST(FuzzTargets, DecodePicture) {
    EXPECT_GE(feed("seeds/pictures", fuzz::decodePicture), 30);
    EXPECT_GE(feed("seeds/metadata", fuzz::decodePicture), 20);
    EXPECT_GE(feed("seeds/formats", fuzz::decodePicture), 10);
    EXPECT_GE(feed("finds", fuzz::decodePicture), 1);
}

TEST(FuzzTargets, CarryMetadata) {
    EXPECT_GE(feed("seeds/metadata", fuzz::carryMetadata), 20);
    EXPECT_GE(feed("finds", fuzz::carryMetadata), 1);
}

TEST(FuzzTargets, WalkStructures) {
    EXPECT_GE(feed("seeds/pictures", fuzz::walkStructures), 30);
    EXPECT_GE(feed("seeds/metadata", fuzz::walkStructures), 20);
    EXPECT_GE(feed("finds", fuzz::walkStructures), 1);
}

TEST(FuzzTargets, NoBytesAtAll) {
    for (const auto target : {fuzz::decodePicture, fuzz::carryMetadata, fuzz::walkStructures})
        target({});
}

}  // namespace lumaweave
