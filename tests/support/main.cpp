#include <gmock/gmock.h>

#include <QApplication>
#include <memory>
#include <string_view>

#include "app/ProgramRun.h"
#include "platform/Resources.h"

// One QApplication and one program run serve all tests of the process. Listing the tests needs
// neither, so that they can be found without a display.
int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
    lumaweave::setResourceFolder(LUMAWEAVE_RESOURCES);
    lumaweave::setHelperFolder(LUMAWEAVE_HELPERS);
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const lumaweave::ProgramRun run;
    return RUN_ALL_TESTS();
}
