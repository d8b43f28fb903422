// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Shell.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <string>
#include <thread>

#include "platform/ShellQuoting.h"
#include "support/TestFolder.h"
#include "support/Waiting.h"

namespace lumaweave {

using test::readFile;
using test::TestFolder;
using test::waitUntil;

namespace {

// A named pipe that shell lines write to, read without waiting.
class NamedPipe {
  public:
    explicit NamedPipe(const std::filesystem::path& path) : path_(path) {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        descriptor_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }
    ~NamedPipe() { close(descriptor_); }
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;

    [[nodiscard]] std::string quotedPath() const { return '"' + path_.native() + '"'; }
    // 1 when a byte came, 0 when nobody has the pipe open for writing, -1 when nothing came yet.
    [[nodiscard]] ssize_t readByte() const {
        char byte = 0;
        return read(descriptor_, &byte, 1);
    }

  private:
    std::filesystem::path path_;
    int descriptor_ = -1;
};

}  // namespace

TEST(Shell, ALineIsRunByThePosixShell) {
    const TestFolder folder;
    const std::string file = (folder / "a b").native();
    const int status =
        runShellLine("for i in 1 2 3; do printf %s \"$i\"; done > \"" + file + "\" && exit 0");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readFile(file), "123");
}

TEST(Shell, TheExitStatusComesBack) {
    EXPECT_EQ(runShellLine("true"), 0);
    const int failed = runShellLine("exit 42");
    EXPECT_TRUE(WIFEXITED(failed));
    EXPECT_EQ(WEXITSTATUS(failed), 42);
    EXPECT_EQ(WEXITSTATUS(runShellLine("no-such-command-anywhere 2>/dev/null")), 127);
    const int killed = runShellLine("kill -9 $$");
    EXPECT_TRUE(WIFSIGNALED(killed));
    EXPECT_EQ(WTERMSIG(killed), SIGKILL);
}

TEST(Shell, ACallReturnsOnlyWhenItsLineHasEnded) {
    const TestFolder folder;
    const NamedPipe started(folder / "started");
    ASSERT_EQ(mkfifo((folder / "go").c_str(), 0600), 0);
    std::atomic<bool> returned = false;
    std::thread caller([&] {
        runShellLine("echo > " + started.quotedPath() + "; read word < \"" +
                     (folder / "go").native() + "\"; echo $word > \"" +
                     (folder / "result").native() + '"');
        returned = true;
    });
    EXPECT_TRUE(waitUntil([&] { return started.readByte() == 1; }));
    EXPECT_FALSE(returned);
    (void)folder.write("go", "word\n");
    caller.join();
    EXPECT_EQ(readFile(folder / "result"), "word\n");
}

TEST(Shell, AFloodOfOutputPassesThroughWhole) {
    testing::internal::CaptureStdout();
    const int status = runShellLine("head -c 10000000 /dev/zero | tr '\\0' x");
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(output.size(), 10'000'000U);
    EXPECT_EQ(output.find_first_not_of('x'), std::string::npos);
}

TEST(Shell, TwoLinesRunAtTheSameTime) {
    const TestFolder folder;
    ASSERT_EQ(mkfifo((folder / "meeting").c_str(), 0600), 0);
    const std::string meeting = '"' + (folder / "meeting").native() + '"';
    const std::string heard = '"' + (folder / "heard").native() + '"';
    // Each opens its end of the pipe only when the other opens the other end.
    int readerStatus = -1;
    std::thread reader([&] { readerStatus = runShellLine("cat " + meeting + " > " + heard); });
    const int writerStatus = runShellLine("echo hello > " + meeting);
    reader.join();
    EXPECT_EQ(writerStatus, 0);
    EXPECT_EQ(readerStatus, 0);
    EXPECT_EQ(readFile(folder / "heard"), "hello\n");
}

TEST(Shell, EndingTheRunningLinesEndsTheirGrandchildrenToo) {
    const TestFolder folder;
    const NamedPipe alive(folder / "alive");
    int firstStatus = 0;
    int secondStatus = 0;
    const std::string line =
        "sh -c 'echo started; sleep 1000; echo ended' > " + alive.quotedPath() + "; echo outlived";
    std::thread first([&] { firstStatus = runShellLine(line); });
    std::thread second([&] { secondStatus = runShellLine(line); });
    int bytes = 0;
    constexpr int bytesOfBoth = 16;
    EXPECT_TRUE(waitUntil([&] {
        while (alive.readByte() == 1)
            ++bytes;
        return bytes == bytesOfBoth;
    }));
    endRunningShellLines();
    first.join();
    second.join();
    EXPECT_TRUE(WIFSIGNALED(firstStatus));
    EXPECT_EQ(WTERMSIG(firstStatus), SIGTERM);
    EXPECT_TRUE(WIFSIGNALED(secondStatus));
    // The pipe ends when the last process that could write to it has gone.
    EXPECT_TRUE(waitUntil([&] { return alive.readByte() == 0; }));
}

TEST(Shell, EndingTheRunningLinesWithoutAnyDoesNothing) {
    endRunningShellLines();
    EXPECT_EQ(runShellLine("true"), 0);
}

TEST(Shell, EachCharacterThatActsBetweenDoubleQuotesIsFound) {
    for (const char active : {'"', '$', '`', '\\', '\n', '\r'}) {
        const std::string name = std::string("/pictures/a") + active + "b.tif";
        EXPECT_EQ(shellActiveCharacter(name), active) << name;
        EXPECT_EQ(shellActiveCharacter(std::string(1, active)), active) << name;
    }
    EXPECT_EQ(shellActiveCharacter("/a`b$c"), '`');
}

TEST(Shell, CharactersThatDoNotActBetweenDoubleQuotesReachATool) {
    EXPECT_EQ(shellActiveCharacter(""), '\0');
    const TestFolder folder;
    for (const std::string name :
         {"a b", "100%d", "it's", "\xC3\xA4\xC3\xB6", "\xFF\xFE", "a;b", "a&b", "a|b", "a*b?", "~",
          "#a", "a<b>c", "(a)", "[a]", "{a,b}", "!a", "a\tb", "-a", "=a"}) {
        EXPECT_EQ(shellActiveCharacter(name), '\0') << name;
        const std::string file = (folder / "passed").native();
        EXPECT_EQ(runShellLine("printf %s \"" + name + "\" > \"" + file + '"'), 0);
        EXPECT_EQ(readFile(file), name);
    }
}

}  // namespace lumaweave
