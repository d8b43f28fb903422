// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/FileUrls.h"

#include <gmock/gmock.h>

namespace lumaweave {

namespace fs = std::filesystem;

TEST(PathFromUrl, GivesTheBytesOfALocalPath) {
    EXPECT_EQ(pathFromUrl(QUrl("file:///tmp/a%20b%25.tif")), fs::path("/tmp/a b%.tif"));
    EXPECT_EQ(pathFromUrl(QUrl("file:///tmp/%ff%fe.jpg")), fs::path("/tmp/\xff\xfe.jpg"));
    EXPECT_EQ(pathFromUrl(QUrl("file://localhost/tmp/x.jpg")), fs::path("/tmp/x.jpg"));
    EXPECT_EQ(pathFromUrl(QUrl("http://localhost/x.jpg")), std::nullopt);
    EXPECT_EQ(pathFromUrl(QUrl("file://elsewhere/tmp/x.jpg")), std::nullopt);
}

TEST(PathFromUrl, UndoesUrlFromPath) {
    for (const fs::path path :
         {"/tmp/a b.tif", "/tmp/100%.tif", "/tmp/#?&;.tif", "/tmp/\xff.tif"}) {
        EXPECT_EQ(pathFromUrl(urlFromPath(path)), path);
    }
}

}  // namespace lumaweave
