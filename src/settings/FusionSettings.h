// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace lumaweave {

// The settings panel's controls at one moment, as the fusion tool's command line takes them. A
// plain value: a worker takes one and reads no control.
struct FusionSettings {
    float exposureSigma = 0.2F;
    float exposureMu = 0.5F;
    // Menu positions: 0 leaves the weight to the tool, i asks for the weight (i - 1) / 10.
    int exposureWeight = 0;
    int saturationWeight = 0;
    int contrastWeight = 0;
    int entropyWeight = 0;
    // Menu positions: 0 leaves the option out, otherwise the position is the option's value.
    int contrastWindowSize = 0;
    int imageCacheSize = 0;
    bool hardMask = false;
    bool blend180 = false;
    bool ciecam02 = false;
    int contrastMinCurvature = 0;
    int entropyWindowSize = 3;
    int blendingPyramid = 0;
    // 0: 8 bit, 1: 16 bit, 2: 32-bit float.
    int outputDepthRow = 0;
};

// The settings panel's values now, in one hand-off to the main thread. No lock may be held. Any
// thread; the panel must exist.
[[nodiscard]] FusionSettings currentFusionSettings();

}  // namespace lumaweave
