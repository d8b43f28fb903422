// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Log.h"

#include <gmock/gmock.h>

#include "support/LogRecorder.h"

namespace lumaweave {

TEST(Log, FormatWithoutArgumentsPrintsDoublePercentAsOne) {
    EXPECT_EQ(formatWithoutArguments("100%% done"), "100% done");
    EXPECT_EQ(formatWithoutArguments("%%%%"), "%%");
}

TEST(Log, FormatWithoutArgumentsLeavesConversionsAsTheyStand) {
    EXPECT_EQ(formatWithoutArguments("%n %s %@ %1$*2$d %"), "%n %s %@ %1$*2$d %");
    EXPECT_EQ(formatWithoutArguments("%%s"), "%s");
    EXPECT_EQ(formatWithoutArguments("%%%"), "%%");
    EXPECT_EQ(formatWithoutArguments(""), "");
}

TEST(Log, LinesReachTheSinkAndStandardError) {
    testing::internal::CaptureStderr();
    test::LogRecorder recorder;
    logLine("a line with 100% of %n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a line with 100% of %n\n");
    EXPECT_EQ(recorder.count("a line with 100% of %n"), 1);
}

TEST(Log, PrintLineGoesToStandardOutput) {
    testing::internal::CaptureStdout();
    printLine("50%%");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "50%%\n");
}

}  // namespace lumaweave
