// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/SharedState.h"

#include <gmock/gmock.h>

#include "stack/Turns.h"

namespace lumaweave {

TEST(SharedState, EverythingHasItsFirstValue) {
    EXPECT_EQ(gSourcesWindow, nullptr);
    EXPECT_EQ(gPreviewWindow, nullptr);
    EXPECT_EQ(gEnfuseSettingsPanel, nullptr);
    EXPECT_EQ(gSourceCells.size(), 16U);
    EXPECT_THAT(gSourceCells, testing::Each(nullptr));
    EXPECT_EQ(gNumSourceImages, 0);
    EXPECT_EQ(gImageWidth, 0.0F);
    EXPECT_EQ(gImageHeight, 0.0F);
    EXPECT_EQ(gImageAspectRatio, 1.0F);
    EXPECT_FALSE(gEnfusingPreview);
    EXPECT_FALSE(gEnfusingFull);
    EXPECT_TRUE(gEnfuseSavePath.empty());
    EXPECT_FALSE(gDoingBatch);
    EXPECT_EQ(gBestMessageNum, 0);
}

}  // namespace lumaweave
