// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "app/AppDelegate.h"
#include "app/MainInterface.h"
#include "support/ShotsFixture.h"

namespace lumaweave::test {

// The whole program on the screen, as main() makes it.
class ProgramTest : public ShotsTest {
  protected:
    ProgramTest();
    ~ProgramTest() override;

    std::unique_ptr<MainInterface> windows;
    std::unique_ptr<AppDelegate> delegate;
};

}  // namespace lumaweave::test
