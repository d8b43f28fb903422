// SPDX-License-Identifier: GPL-3.0-or-later
#include "stack/Shot.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "support/Pictures.h"

namespace lumaweave {

using namespace test;

namespace {

Image picture(double exposure = 1) {
    return makeImage(6, 4, {}, sceneAt(exposure));
}

}  // namespace

TEST(Shot, IsEmptyAtFirst) {
    const Shot shot;
    EXPECT_TRUE(shot.isEmpty());
    EXPECT_FALSE(shot.isEnabled());
    EXPECT_TRUE(shot.image().isNull());
    EXPECT_TRUE(shot.fileName().empty());
}

TEST(Shot, AFilledShotNamesItsFileAndHasNoCopiesYet) {
    Shot shot;
    const Image image = picture();
    shot.fill("/photos/a b.jpg", image, {});
    EXPECT_FALSE(shot.isEmpty());
    EXPECT_EQ(shot.originalFile(), "/photos/a b.jpg");
    EXPECT_EQ(shot.imageFile(), "/photos/a b.jpg");
    EXPECT_EQ(shot.fileName(), "a b.jpg");
    EXPECT_TRUE(shot.image().sharesPixelsWith(image));
    EXPECT_TRUE(shot.scaledFile().empty());
}

TEST(Shot, AClearedShotForgetsAllButItsSwitch) {
    Shot shot;
    const Image image = picture();
    shot.setEnabled(true);
    shot.fill("/a.jpg", image, {});
    shot.setDetailFile("/d.tif");
    shot.noteScaledFile(image, "/s.tif", {3, 2});
    EXPECT_TRUE(shot.clear().sharesPixelsWith(image));
    EXPECT_TRUE(shot.isEmpty());
    EXPECT_TRUE(shot.isEnabled());
    EXPECT_TRUE(shot.scaledFile().empty());
    EXPECT_TRUE(shot.detailFile().empty());
    EXPECT_TRUE(shot.clear().isNull()) << "nothing is left";
}

TEST(Shot, AScaledFileOfAnotherImageIsNotItsOwn) {
    Shot shot;
    const Image first = picture();
    shot.fill("/a.jpg", first, {});
    shot.fill("/b.jpg", picture(), {});
    shot.noteScaledFile(first, "/s.tif", {3, 2});
    EXPECT_TRUE(shot.scaledFile().empty());
    EXPECT_TRUE(shot.content().scaledSize.isEmpty());
}

TEST(Shot, WhatATaskHoldsIsReplacedOnlyWhereTheShotStillHoldsIt) {
    Shot shot;
    shot.fill("/a.jpg", picture(), {});
    Shot::Holding held = shot.holding();
    EXPECT_TRUE(shot.replaceImageFile(held, "/aligned.tif"));
    EXPECT_EQ(shot.imageFile(), "/aligned.tif");
    const Image aligned = picture(2);
    EXPECT_TRUE(shot.replaceImage(held, aligned));
    EXPECT_TRUE(shot.image().sharesPixelsWith(aligned));
    shot.fill("/other.jpg", picture(), {});
    EXPECT_FALSE(shot.replaceImageFile(held, "/late.tif"));
    EXPECT_FALSE(shot.replaceImage(held, picture()));
    EXPECT_EQ(shot.imageFile(), "/other.jpg");
}

TEST(Shot, AHoldingIsOfOneMoment) {
    Shot shot;
    const Image even = picture();
    const Image odd = picture(2);
    shot.fill("/even.jpg", even, {});
    std::atomic<bool> stop = false;
    std::thread filler([&] {
        for (int i = 0; !stop; ++i) {
            if (i % 2 == 0) {
                shot.fill("/even.jpg", even, {});
            } else {
                shot.fill("/odd.jpg", odd, {});
            }
        }
    });
    for (int i = 0; i < 5000; ++i) {
        const Shot::Holding held = shot.holding();
        EXPECT_TRUE(held.image.sharesPixelsWith(held.imageFile == "/even.jpg" ? even : odd));
    }
    stop = true;
    filler.join();
}

TEST(Shots, AreThoseThatTheCellsHaveSet) {
    EXPECT_TRUE(shots().empty());
    Shot first;
    Shot second;
    setShots({&first, &second});
    EXPECT_THAT(shots(), testing::ElementsAre(&first, &second));
    setShots({});
    EXPECT_TRUE(shots().empty());
}

}  // namespace lumaweave
