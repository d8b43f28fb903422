// SPDX-License-Identifier: GPL-3.0-or-later

// The rooms' own state before any window exists.

#include <gmock/gmock.h>

#include "align/AlignSettings.h"
#include "app/AppDelegate.h"
#include "batch/BatchState.h"
#include "fusion/ExifCarryOver.h"
#include "imaging/metadata/Metadata.h"
#include "panorama/MyOpenGLView.h"
#include "preview/PreviewWindow.h"
#include "sources/SourceCellViewController.h"

namespace lumaweave {

TEST(FirstValues, OfTheRoomsOwnState) {
    EXPECT_EQ(gAppDelegate, nullptr);
    EXPECT_EQ(gBlankCellBackground, nullptr);
    EXPECT_EQ(gSourceImageEXIF, nullptr);
    EXPECT_EQ(gDetailCoord, QPointF(0, 0));
    EXPECT_TRUE(gBatchFolderPath.empty());
    EXPECT_EQ(gNumFilesInBatchFolder, 0);
    EXPECT_FALSE(gBatchList.has_value());
    EXPECT_FALSE(gCancelBatch);
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
