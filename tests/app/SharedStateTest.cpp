#include "app/SharedState.h"

#include <gmock/gmock.h>

namespace lumaweave {

// Its own process: nothing has written to the state yet.
TEST(SharedState, EverythingHasItsFirstValue) {
    EXPECT_EQ(gAppDelegate, nullptr);
    EXPECT_EQ(gSourcesWindow, nullptr);
    EXPECT_EQ(gPreviewWindow, nullptr);
    EXPECT_EQ(gEnfuseSettingsPanel, nullptr);
    EXPECT_EQ(gBlankCellBackground, nullptr);
    EXPECT_EQ(gSourceCells.size(), 16U);
    EXPECT_THAT(gSourceCells, testing::Each(nullptr));
    EXPECT_EQ(gNumSourceImages, 0);
    EXPECT_EQ(gImageWidth, 0.0F);
    EXPECT_EQ(gImageHeight, 0.0F);
    EXPECT_EQ(gImageAspectRatio, 1.0F);
    EXPECT_FALSE(gEnfusingPreview);
    EXPECT_FALSE(gEnfusingFull);
    EXPECT_TRUE(gEnfuseSavePath.empty());
    EXPECT_EQ(gSourceImageEXIF, nullptr);
    EXPECT_EQ(gDetailCoord, QPointF(0, 0));
    EXPECT_EQ(gBestMessageNum, 0);
    EXPECT_TRUE(gBatchFolderPath.empty());
    EXPECT_EQ(gNumFilesInBatchFolder, 0);
    EXPECT_FALSE(gBatchList.has_value());
    EXPECT_FALSE(gCancelBatch);
    EXPECT_FALSE(gDoingBatch);
    EXPECT_FALSE(gAutoAlignDuringBatch);
    EXPECT_EQ(gNumBatchSets, 0);
    EXPECT_EQ(gNumImagesInBatchSet, 0);
    EXPECT_EQ(gAA_GridSize, 5);
    EXPECT_EQ(gAA_NumControlPoints, 8);
    EXPECT_FALSE(gAA_AssumeFullFrameFisheye);
    EXPECT_FALSE(gAA_OptimizeFOV);
    EXPECT_EQ(gSphereRez, 12.0);
}

}  // namespace lumaweave
