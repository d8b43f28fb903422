// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/HelperProgram.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <thread>

#include "platform/Resources.h"
#include "platform/Shell.h"
#include "support/TestFolder.h"
#include "support/Waiting.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using namespace std::chrono_literals;
using Kind = HelperEnd::Kind;

class HelperProgramTest : public testing::Test {
  protected:
    [[nodiscard]] HelperEnd run(const std::string& script,
                                const std::vector<std::string>& arguments = {},
                                std::chrono::milliseconds longest = 10min) const {
        writeScript(folder / "helper", script);
        return runHelper(folder / "helper", arguments, longest);
    }
    // Whether the process ends whose number the script has put there.
    [[nodiscard]] bool ends(const std::string& name) const {
        return waitUntilProcessEnds(std::stoi(readFile(folder / name)));
    }
    [[nodiscard]] std::string path(const std::string& name) const {
        return "'" + (folder / name).native() + "'";
    }

    TestFolder folder;
};

TEST_F(HelperProgramTest, GivesTheExitAndBothOutputs) {
    const HelperEnd end = run("echo one; echo two >&2; exit 7");
    EXPECT_EQ(end.kind, Kind::exited);
    EXPECT_EQ(end.number, 7);
    EXPECT_EQ(end.output, "one\ntwo\n");
}

TEST_F(HelperProgramTest, HandsOverArgumentsAsTheyAre) {
    const HelperEnd end =
        run("for word; do echo \"[$word]\"; done", {"", "two words", "$HOME `id` \"'\\\n*"});
    EXPECT_EQ(end.output, "[]\n[two words]\n[$HOME `id` \"'\\\n*]\n");
}

TEST_F(HelperProgramTest, TellsTheSignalThatKilledIt) {
    const HelperEnd end = run("kill -SEGV $$");
    EXPECT_EQ(end.kind, Kind::killed);
    EXPECT_EQ(end.number, SIGSEGV);
}

TEST_F(HelperProgramTest, OneThatTakesTooLongIsEndedWithAllThatItHasStarted) {
    const HelperEnd end = run("trap '' TERM\nsleep 1000 & echo $! > " + path("child") +
                                  "\necho $$ > " + path("helper-pid") + "\nsleep 1000",
                              {}, 1s);
    EXPECT_EQ(end.kind, Kind::tookTooLong);
    EXPECT_TRUE(ends("child"));
    EXPECT_TRUE(ends("helper-pid"));
}

TEST_F(HelperProgramTest, OneThatHasClosedItsOutputsIsWaitedForAsWell) {
    EXPECT_EQ(run("exec >&- 2>&-; sleep 0.2; exit 3").number, 3);
    EXPECT_EQ(run("exec >&- 2>&-; sleep 1000", {}, 500ms).kind, Kind::tookTooLong);
}

TEST_F(HelperProgramTest, WhatItLeavesRunningIsEndedAndNotWaitedFor) {
    const HelperEnd end = run("sleep 1000 & echo $! > " + path("child"));
    EXPECT_EQ(end.kind, Kind::exited);
    EXPECT_TRUE(ends("child"));
}

TEST_F(HelperProgramTest, OutputWithoutEndIsReadAndNotKept) {
    const HelperEnd end = run("head -c 10000000 /dev/zero; exit 2");
    EXPECT_EQ(end.number, 2);
    EXPECT_EQ(end.output.size(), 65536U);
}

TEST_F(HelperProgramTest, WhatCannotBeStarted) {
    EXPECT_EQ(runHelper(folder / "not there", {}, 1s).kind, Kind::notStarted);
    EXPECT_EQ(runHelper(folder.write("words", "words"), {}, 1s).kind, Kind::notStarted);
    EXPECT_EQ(runHelper(folder.path(), {}, 1s).kind, Kind::notStarted);
}

TEST_F(HelperProgramTest, ManyAtTheSameTime) {
    writeScript(folder / "helper", "echo $1; exit $1");
    std::vector<std::thread> threads;
    std::vector<HelperEnd> ends(12);
    for (std::size_t i = 0; i < ends.size(); ++i) {
        threads.emplace_back([this, i, &ends] {
            ends[i] = runHelper(folder / "helper", {std::to_string(i)}, 10min);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t i = 0; i < ends.size(); ++i) {
        EXPECT_EQ(ends[i].number, static_cast<int>(i));
        EXPECT_EQ(ends[i].output, std::to_string(i) + "\n");
    }
}

TEST_F(HelperProgramTest, QuittingEndsThoseThatRunAndStartsNoMore) {
    HelperEnd end;
    std::thread thread([&] {
        end = run("echo $$ > " + path("part") + "; mv " + path("part") + " " + path("pid") +
                  "; exec sleep 1000");
    });
    EXPECT_TRUE(waitUntil([this] { return fs::exists(folder / "pid"); }));
    endRunningShellLines();
    thread.join();
    EXPECT_EQ(end.kind, Kind::killed);
    EXPECT_EQ(end.number, SIGTERM);
    refuseShellLines();
    EXPECT_EQ(run("exit 0").kind, Kind::notStarted);
}

TEST_F(HelperProgramTest, HelpersLieBesideTheProgramUnlessToldOtherwise) {
    EXPECT_EQ(pathForHelper("lumaweave-reader"), fs::path(LUMAWEAVE_HELPERS) / "lumaweave-reader");
    EXPECT_EQ(pathForHelper("no-such-helper"), std::nullopt);
    setHelperFolder(folder.path());
    EXPECT_EQ(pathForHelper("lumaweave-reader"), std::nullopt);
    folder.write("lumaweave-reader", "");
    EXPECT_EQ(pathForHelper("lumaweave-reader"), std::nullopt) << "it cannot be run";
    writeScript(folder / "lumaweave-reader", "");
    EXPECT_EQ(pathForHelper("lumaweave-reader"), folder / "lumaweave-reader");
    setHelperFolder(LUMAWEAVE_HELPERS);
}

}  // namespace lumaweave
