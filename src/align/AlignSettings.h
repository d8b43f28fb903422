// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace lumaweave {

// The settings of an alignment: how evenly over the picture and how many points are compared,
// whether the lens is a fisheye, and whether the shots may differ in magnification. The main thread
// reads and writes them; a worker asks currentAlignSettings.
extern int gAA_GridSize;
extern int gAA_NumControlPoints;
extern bool gAA_AssumeFullFrameFisheye;
extern bool gAA_OptimizeFOV;

// The same as a value.
struct AlignSettings {
    int gridSize = 5;
    int numControlPoints = 8;
    bool assumeFullFrameFisheye = false;
    bool optimizeFOV = false;
};

// The present values, taken in one hand-off to the main thread. Any thread; no lock may be held.
[[nodiscard]] AlignSettings currentAlignSettings();

}  // namespace lumaweave
