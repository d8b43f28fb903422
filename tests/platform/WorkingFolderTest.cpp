// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WorkingFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/EnvironmentVariable.h"
#include "support/LogRecorder.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using test::LogRecorder;
using test::TestFolder;
using testing::StartsWith;

namespace {

// Starts the working folder anew, as the next run of the program would.
class WorkingFolderTest : public testing::Test {
  protected:
    WorkingFolderTest() { removeWorkingFolder(); }
    ~WorkingFolderTest() override {
        removeWorkingFolder();
        temporaryFolder.restore();
        EXPECT_TRUE(createWorkingFolder());
    }

    bool startIn(const std::string& path) const {
        removeWorkingFolder();
        temporaryFolder.set(path);
        return createWorkingFolder();
    }
    bool start() const { return startIn(parent.path()); }

    // What another run of the program has left: a folder with its lock file and some content.
    fs::path makeLeftover(const std::string& name) {
        const fs::path leftover = parent / name;
        fs::create_directories(leftover / "inner");
        (void)parent.write(name + "/.lock", "");
        (void)parent.write(name + "/inner/shot.tif", "pixels");
        return leftover;
    }

    TestFolder parent;
    test::EnvironmentVariable temporaryFolder{"TMPDIR"};
};

// A second process: runs `begin`, answers with the line that this gives, and lives until it is told
// to end or killed.
class OtherProgram {
  public:
    explicit OtherProgram(
        const std::function<std::string()>& begin, const std::function<void()>& atEnd = [] {}) {
        int answer[2];
        int command[2];
        EXPECT_EQ(pipe(answer), 0);
        EXPECT_EQ(pipe(command), 0);
        id_ = fork();
        if (id_ == 0) {
            close(command[1]);
            const std::string line = begin() + '\n';
            [[maybe_unused]] auto count = write(answer[1], line.data(), line.size());
            char end = 0;
            count = read(command[0], &end, 1);
            atEnd();
            _exit(0);
        }
        close(answer[1]);
        close(command[0]);
        command_ = command[1];
        answer_ = answer[0];
    }
    ~OtherProgram() { end(); }
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;

    // Waits for its line.
    [[nodiscard]] const std::string& said() {
        for (char c = 0; !heard_ && read(answer_, &c, 1) == 1;) {
            heard_ = c == '\n';
            if (!heard_) said_ += c;
        }
        return said_;
    }
    void kill() {
        ::kill(id_, SIGKILL);
        waitForIt();
    }
    void end() {
        if (id_ < 0) return;
        // A byte: programs started later still hold this pipe open.
        EXPECT_EQ(write(command_, "e", 1), 1);
        waitForIt();
    }

  private:
    void waitForIt() {
        waitpid(id_, nullptr, 0);
        close(command_);
        close(answer_);
        id_ = -1;
    }

    pid_t id_ = -1;
    int command_ = -1;
    int answer_ = -1;
    bool heard_ = false;
    std::string said_;
};

std::string lockFile(const fs::path& file) {
    const int descriptor = open(file.c_str(), O_RDWR);
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 ? "locked" : "not locked";
}

}  // namespace

TEST_F(WorkingFolderTest, ItIsMadeInTheTemporaryFolderForTheUserAlone) {
    ASSERT_TRUE(start());
    EXPECT_EQ(workingFolder().parent_path(), parent.path());
    EXPECT_THAT(workingFolder().filename().native(), StartsWith("lumaweave-"));
    struct stat status {};
    ASSERT_EQ(lstat(workingFolder().c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    EXPECT_EQ(status.st_uid, geteuid());
}

TEST_F(WorkingFolderTest, ItGoesWithAllInIt) {
    ASSERT_TRUE(start());
    const fs::path folder = workingFolder();
    fs::create_directories(folder / "inner");
    (void)parent.write(folder.filename().native() + "/inner/file", "content");
    removeWorkingFolder();
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_TRUE(fs::is_empty(parent.path()));
}

TEST_F(WorkingFolderTest, ATemporaryFolderWithABlankIsFine) {
    const std::string path = (parent / "a b").native();
    fs::create_directories(path);
    EXPECT_TRUE(startIn(path));
    EXPECT_EQ(workingFolder().parent_path(), path);
}

TEST_F(WorkingFolderTest, TrailingSlashesDoNotCount) {
    EXPECT_TRUE(startIn(parent.path().native() + "///"));
    EXPECT_EQ(workingFolder().parent_path(), parent.path());
}

TEST_F(WorkingFolderTest, ATemporaryFolderThatCannotStandInACommandLineIsNotUsed) {
    for (const std::string name : {"a$b", "a\"b", "a'b", "a`b", "a\\b", "a\nb", "\xC3\xA4", "\xFF",
                                   "a;b", "a&b", "a*b", "a%b"}) {
        const std::string path = (parent / name).native();
        fs::create_directories(path);
        EXPECT_TRUE(startIn(path)) << name;
        EXPECT_EQ(workingFolder().parent_path(), "/var/tmp") << name;
        EXPECT_TRUE(fs::is_empty(path)) << name;
    }
}

TEST_F(WorkingFolderTest, ALongTemporaryFolderIsNotUsed) {
    // Sixteen quoted inputs in this folder still fit into a command line; one character more is too
    // much.
    constexpr std::size_t longest = 40;
    std::string path = parent.path().native() + '/';
    path.resize(longest, 'x');
    fs::create_directories(path);
    EXPECT_TRUE(startIn(path));
    EXPECT_EQ(workingFolder().parent_path(), path);
    path += 'x';
    fs::create_directories(path);
    EXPECT_TRUE(startIn(path));
    EXPECT_EQ(workingFolder().parent_path(), "/var/tmp");
}

TEST_F(WorkingFolderTest, ARelativeEmptyOrUnsetTemporaryFolderIsNotUsed) {
    const fs::path before = fs::current_path();
    fs::create_directories(parent / "relative");
    fs::current_path(parent.path());
    EXPECT_TRUE(startIn("relative"));
    EXPECT_EQ(workingFolder().parent_path(), "/var/tmp");
    fs::current_path(before);
    EXPECT_TRUE(startIn(""));
    EXPECT_EQ(workingFolder().parent_path(), "/var/tmp");
    removeWorkingFolder();
    unsetenv("TMPDIR");
    EXPECT_TRUE(createWorkingFolder());
    EXPECT_EQ(workingFolder().parent_path(), "/var/tmp");
}

TEST_F(WorkingFolderTest, WhenItCannotBeMadeInTheTemporaryFolderVarTmpIsUsed) {
    const LogRecorder log;
    const std::string missing = (parent / "missing").native();
    EXPECT_TRUE(startIn(missing));
    EXPECT_EQ(log.count("The working folder cannot be made in " + missing), 1);
    EXPECT_EQ(workingFolder().parent_path(), "/var/tmp");
    EXPECT_TRUE(fs::is_directory(workingFolder()));
    EXPECT_EQ(newScratchPath(".tif").parent_path(), workingFolder());
}

TEST_F(WorkingFolderTest, NoScratchPathIsGivenTwice) {
    ASSERT_TRUE(start());
    constexpr std::size_t pathsEach = 2000;
    std::vector<std::vector<fs::path>> given(8);
    std::vector<std::thread> threads;
    for (auto& paths : given) {
        threads.emplace_back([&paths] {
            while (paths.size() < pathsEach)
                paths.push_back(newScratchPath(".tif"));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::set<fs::path> different;
    for (const auto& paths : given)
        different.insert(paths.begin(), paths.end());
    EXPECT_EQ(different.size(), given.size() * pathsEach);
    EXPECT_TRUE(std::all_of(different.begin(), different.end(), [](const fs::path& path) {
        return path.parent_path() == workingFolder() && path.extension() == ".tif" &&
               !fs::exists(path);
    }));
}

TEST_F(WorkingFolderTest, WhatAProgramThatNoLongerRunsHasLeftIsRemoved) {
    const fs::path first = makeLeftover("lumaweave-AbC123");
    const fs::path second = makeLeftover("lumaweave-zzzzzz");
    ASSERT_TRUE(start());
    EXPECT_FALSE(fs::exists(first));
    EXPECT_FALSE(fs::exists(second));
    EXPECT_TRUE(fs::exists(workingFolder()));
}

TEST_F(WorkingFolderTest, TheFolderOfAProgramThatRunsStaysUntilItHasEnded) {
    const fs::path folder = makeLeftover("lumaweave-AbC123");
    OtherProgram other([&] { return lockFile(folder / ".lock"); });
    EXPECT_EQ(other.said(), "locked");
    ASSERT_TRUE(start());
    EXPECT_EQ(test::readFile(folder / "inner/shot.tif"), "pixels");
    // However it ends, its lock falls.
    other.kill();
    ASSERT_TRUE(start());
    EXPECT_FALSE(fs::exists(folder));
}

TEST_F(WorkingFolderTest, AFolderWithoutALockStaysWhileItsProgramMayBeStarting) {
    const fs::path folder = parent / "lumaweave-AbC123";
    fs::create_directories(folder);
    ASSERT_TRUE(start());
    EXPECT_TRUE(fs::exists(folder));
    fs::last_write_time(folder, fs::file_time_type::clock::now() - std::chrono::hours(1));
    ASSERT_TRUE(start());
    EXPECT_FALSE(fs::exists(folder));
}

TEST_F(WorkingFolderTest, AFolderWithoutALockThatHoldsSomethingIsThePersonsOwn) {
    const fs::path folder = parent / "lumaweave-photos";
    const fs::path sixLetters = parent / "lumaweave-photo1";
    for (const fs::path& own : {folder, sixLetters}) {
        fs::create_directories(own);
        (void)parent.write(own.filename().native() + "/picture.tif", "precious");
        fs::last_write_time(own, fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    ASSERT_TRUE(start());
    EXPECT_EQ(test::readFile(folder / "picture.tif"), "precious");
    EXPECT_EQ(test::readFile(sixLetters / "picture.tif"), "precious");
    EXPECT_FALSE(fs::exists(sixLetters / ".lock"));
}

TEST_F(WorkingFolderTest, WhatHasAnotherNameOrIsNoFolderStays) {
    const std::vector<fs::path> foreign = {
        makeLeftover("lumaweave"),          makeLeftover("other-AbC123"),
        makeLeftover("lumaweave-results"),  makeLeftover("lumaweave-AbC-23"),
        makeLeftover("a lumaweave-AbC123"), parent.write("lumaweave-notes", "not a folder")};
    ASSERT_TRUE(start());
    for (const fs::path& path : foreign)
        EXPECT_TRUE(fs::exists(path)) << path;
    EXPECT_EQ(test::readFile(foreign.front() / "inner/shot.tif"), "pixels");
}

TEST_F(WorkingFolderTest, ALinkIsNotFollowed) {
    const TestFolder elsewhere;
    (void)elsewhere.write("valuable", "content");
    (void)elsewhere.write(".lock", "");
    fs::create_directory_symlink(elsewhere.path(), parent / "lumaweave-x");
    const fs::path withLinkedLock = makeLeftover("lumaweave-AbC123");
    fs::remove(withLinkedLock / ".lock");
    fs::create_symlink(elsewhere / "valuable", withLinkedLock / ".lock");
    ASSERT_TRUE(start());
    EXPECT_TRUE(fs::is_symlink(parent / "lumaweave-x"));
    EXPECT_EQ(test::readFile(elsewhere / "valuable"), "content");
    EXPECT_TRUE(fs::exists(elsewhere / ".lock"));
}

TEST_F(WorkingFolderTest, TwoProgramsAtOnceHaveFoldersOfTheirOwn) {
    ASSERT_TRUE(start());
    const fs::path mine = workingFolder();
    (void)parent.write(mine.filename().native() + "/shot.tif", "pixels");
    OtherProgram other(
        [] {
            createWorkingFolder();
            return workingFolder().native();
        },
        [] { removeWorkingFolder(); });
    const fs::path theirs = other.said();
    EXPECT_NE(theirs, mine);
    EXPECT_EQ(theirs.parent_path(), parent.path());
    EXPECT_TRUE(fs::is_directory(theirs));
    EXPECT_EQ(test::readFile(mine / "shot.tif"), "pixels");
    other.end();
    EXPECT_FALSE(fs::exists(theirs));
    EXPECT_EQ(test::readFile(mine / "shot.tif"), "pixels");
}

TEST_F(WorkingFolderTest, ManyProgramsThatStartTogetherEachKeepTheirs) {
    temporaryFolder.set(parent.path());
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    std::vector<std::unique_ptr<OtherProgram>> programs;
    for (int i = 0; i < 16; ++i) {
        programs.push_back(std::make_unique<OtherProgram>(
            [&gate] {
                close(gate[1]);
                char open = 0;
                [[maybe_unused]] const auto count = read(gate[0], &open, 1);
                return createWorkingFolder() ? workingFolder().native() : std::string("none");
            },
            [] { removeWorkingFolder(); }));
    }
    close(gate[1]);
    close(gate[0]);
    std::set<fs::path> folders;
    for (const auto& program : programs)
        folders.insert(program->said());
    EXPECT_EQ(folders.size(), programs.size());
    for (const fs::path& folder : folders)
        EXPECT_TRUE(fs::exists(folder / ".lock")) << folder;
    for (const auto& program : programs)
        program->end();
    for (const fs::path& folder : folders)
        EXPECT_FALSE(fs::exists(folder)) << folder;
}

}  // namespace lumaweave
