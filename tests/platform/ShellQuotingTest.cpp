// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ShellQuoting.h"

#include <gmock/gmock.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace lumaweave {

TEST(QuotePath, WrapsThePathInDoubleQuotes) {
    EXPECT_STREQ(QuotePath("/tmp/a b.tif"), "\"/tmp/a b.tif\"");
}

TEST(QuotePath, AnEmptyPathGivesJustTwoQuotes) {
    EXPECT_STREQ(QuotePath(""), "\"\"");
}

TEST(QuotePath, EscapesNothing) {
    EXPECT_STREQ(QuotePath("a\"b$c`d\\e"), "\"a\"b$c`d\\e\"");
}

TEST(QuotePath, ASecondCallChangesTheTextThatTheFirstPointerShows) {
    const char* first = QuotePath("first");
    QuotePath("second");
    EXPECT_STREQ(first, "\"second\"");
}

TEST(QuotePath, TheLongestPathIsQuotedWhole) {
    const std::string path(longestQuotablePath, 'x');
    EXPECT_EQ(QuotePath(path.c_str()), '"' + path + '"');
}

TEST(QuotePathDeathTest, APathOfOneByteMoreEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const std::string path(longestQuotablePath + 1, 'x');
    EXPECT_DEATH(QuotePath(path.c_str()), "");
}

TEST(QuotePath, ManyThreadsAppendTheirOwnPaths) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &wrong] {
            const std::string path(static_cast<std::size_t>(100 + t), static_cast<char>('a' + t));
            for (int i = 0; i < 2000; ++i) {
                std::string command = "x ";
                appendQuotedPath(command, path);
                if (command != "x \"" + path + '"') ++wrong;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(CanBeQuoted, RefusesWhatTheShellActsOnAndWhatIsTooLong) {
    EXPECT_TRUE(canBeQuoted("/tmp/a b 'c' % ; & | (ä).tif"));
    for (const char* path : {"a\"b", "a$b", "a`b", "a\\b", "a\nb", "a\rb"}) {
        EXPECT_FALSE(canBeQuoted(path)) << path;
    }
    EXPECT_TRUE(canBeQuoted(std::string(longestQuotablePath, 'x')));
    EXPECT_FALSE(canBeQuoted(std::string(longestQuotablePath + 1, 'x')));
}

}  // namespace lumaweave
