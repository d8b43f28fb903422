// SPDX-License-Identifier: GPL-3.0-or-later
#include "align/AlignSettings.h"

#include "platform/Threads.h"

namespace lumaweave {

int gAA_GridSize = 5;
int gAA_NumControlPoints = 8;
bool gAA_AssumeFullFrameFisheye = false;
bool gAA_OptimizeFOV = false;

AlignSettings currentAlignSettings() {
    AlignSettings settings;
    performOnMainThread(
        [&settings] {
            settings = {gAA_GridSize, gAA_NumControlPoints, gAA_AssumeFullFrameFisheye,
                        gAA_OptimizeFOV};
        },
        Wait::yes);
    return settings;
}

}  // namespace lumaweave
