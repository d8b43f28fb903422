#include "platform/Log.h"

#include <gmock/gmock.h>

#include "support/Recorders.h"

namespace lumaweave {

TEST(Log, FormatWithoutArgumentsPrintsDoublePercentAsOne) {
    EXPECT_EQ(FormatWithoutArguments("100%% done"), "100% done");
    EXPECT_EQ(FormatWithoutArguments("%%%%"), "%%");
}

TEST(Log, FormatWithoutArgumentsLeavesConversionsAsTheyStand) {
    EXPECT_EQ(FormatWithoutArguments("%n %s %@ %1$*2$d %"), "%n %s %@ %1$*2$d %");
    EXPECT_EQ(FormatWithoutArguments("%%s"), "%s");
    EXPECT_EQ(FormatWithoutArguments("%%%"), "%%");
    EXPECT_EQ(FormatWithoutArguments(""), "");
}

TEST(Log, LinesReachTheSinkAndStandardError) {
    testing::internal::CaptureStderr();
    test::LogRecorder recorder;
    Log("a line with 100% of %n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a line with 100% of %n\n");
    EXPECT_EQ(recorder.count("a line with 100% of %n"), 1);
}

TEST(Log, PrintLineGoesToStandardOutput) {
    testing::internal::CaptureStdout();
    PrintLine("50%%");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "50%%\n");
}

}  // namespace lumaweave
