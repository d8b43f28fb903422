// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/AtomicFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/FileSizeLimit.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;

namespace {

bool put(const AtomicFile& file, const std::string& text) {
    return file.file().writeAt(0, text.data(), text.size());
}

long filesIn(const fs::path& folder) {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

}  // namespace

TEST(AtomicFile, TakesTheOldFilesPlaceOnlyWhenCommitted) {
    const TestFolder folder;
    const fs::path target = folder.write("a.txt", "old");
    AtomicFile file(target);
    ASSERT_TRUE(file.isOpen());
    ASSERT_TRUE(put(file, "new text"));
    EXPECT_EQ(readFile(target), "old");
    EXPECT_EQ(filesIn(folder.path()), 1) << "the new file has no name yet";
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(readFile(target), "new text");
    EXPECT_EQ(filesIn(folder.path()), 1);
}

TEST(AtomicFile, WithoutACommitNothingIsLeft) {
    const TestFolder folder;
    const fs::path target = folder.write("a.txt", "old");
    {
        const AtomicFile file(target);
        ASSERT_TRUE(put(file, "new"));
    }
    EXPECT_EQ(readFile(target), "old");
    EXPECT_EQ(filesIn(folder.path()), 1);
}

TEST(AtomicFile, ANewNameWorksAsWell) {
    const TestFolder folder;
    AtomicFile file(folder / "a.txt");
    ASSERT_TRUE(put(file, "new"));
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(readFile(folder / "a.txt"), "new");
}

TEST(AtomicFile, KeepsTheOldFilesPermissions) {
    const TestFolder folder;
    const fs::path target = folder.write("a.txt", "old");
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    AtomicFile file(target);
    ASSERT_TRUE(put(file, "new"));
    ASSERT_TRUE(file.commit());
    struct stat status {};
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST(AtomicFile, FollowsALink) {
    const TestFolder folder;
    const fs::path target = folder.write("a.txt", "old");
    fs::create_symlink(target, folder / "link.txt");
    AtomicFile file(folder / "link.txt");
    ASSERT_TRUE(put(file, "new"));
    ASSERT_TRUE(file.commit());
    EXPECT_TRUE(fs::is_symlink(folder / "link.txt"));
    EXPECT_EQ(readFile(target), "new");
}

TEST(AtomicFile, ReplacesALinkWhenAsked) {
    const TestFolder folder;
    const fs::path target = folder.write("a.txt", "old");
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    fs::create_symlink(target, folder / "link.txt");
    AtomicFile file(folder / "link.txt", AtomicFile::Existing::replace);
    ASSERT_TRUE(put(file, "new"));
    ASSERT_TRUE(file.commit(AtomicFile::WaitForDisk::no));
    EXPECT_FALSE(fs::is_symlink(folder / "link.txt"));
    EXPECT_EQ(readFile(folder / "link.txt"), "new");
    EXPECT_EQ(readFile(target), "old");
    EXPECT_EQ(filesIn(folder.path()), 2);
}

TEST(AtomicFile, AReplacedFilePassesOnNoPermissions) {
    const TestFolder folder;
    const fs::path target = folder.write("a.txt", "old");
    struct stat fresh {};
    ASSERT_EQ(stat(target.c_str(), &fresh), 0);
    ASSERT_EQ(chmod(target.c_str(), 0400), 0);
    AtomicFile file(target, AtomicFile::Existing::replace);
    ASSERT_TRUE(put(file, "new"));
    ASSERT_TRUE(file.commit(AtomicFile::WaitForDisk::no));
    struct stat status {};
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, fresh.st_mode);
}

TEST(AtomicFile, AReplacedFileStaysWholeForWhoeverHasItOpen) {
    const TestFolder folder;
    const fs::path target = folder.write("a.txt", "old");
    const FileDescriptor before = FileDescriptor::ofRegularFile(target);
    AtomicFile file(target, AtomicFile::Existing::replace);
    ASSERT_TRUE(put(file, "new text"));
    ASSERT_TRUE(file.commit(AtomicFile::WaitForDisk::no));
    char text[3] = {};
    EXPECT_EQ(before.size(), 3U);
    EXPECT_TRUE(before.readAt(0, text, 3));
    EXPECT_EQ(std::string(text, 3), "old");
    EXPECT_EQ(readFile(target), "new text");
}

TEST(AtomicFile, WritersOfOneNameDoNotDisturbEachOther) {
    const TestFolder folder;
    const fs::path target = folder / "a.txt";
    const std::size_t size = 100000;
    std::atomic<int> failures = 0;
    {
        std::vector<std::jthread> writers;
        for (char letter = 'a'; letter < 'e'; ++letter) {
            writers.emplace_back([&, letter] {
                for (int i = 0; i < 50; ++i) {
                    AtomicFile file(target, AtomicFile::Existing::replace);
                    if (!put(file, std::string(size, letter)) ||
                        !file.commit(AtomicFile::WaitForDisk::no)) {
                        ++failures;
                    }
                    const std::string text = readFile(target);
                    if (text != std::string(size, text.front())) ++failures;
                }
            });
        }
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(filesIn(folder.path()), 1);
}

TEST(AtomicFile, ANameInTheFolderOfTheProcessNeedsNoPath) {
    const TestFolder folder;
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const auto existing : {AtomicFile::Existing::inherit, AtomicFile::Existing::replace}) {
        AtomicFile file("a.txt", existing);
        ASSERT_TRUE(put(file, "new"));
        ASSERT_TRUE(file.commit(AtomicFile::WaitForDisk::no));
        EXPECT_EQ(readFile(folder / "a.txt"), "new");
    }
}

TEST(AtomicFile, TakesTheLongestName) {
    const TestFolder folder;
    const fs::path target = folder / std::string(255, 'n');
    AtomicFile file(target);
    ASSERT_TRUE(put(file, "new"));
    EXPECT_TRUE(file.commit()) << std::strerror(errno);
    EXPECT_EQ(readFile(target), "new");
}

TEST(AtomicFile, AFolderThatIsNotThereCannotBeWrittenTo) {
    const TestFolder folder;
    const AtomicFile file(folder / "missing" / "a.txt");
    EXPECT_FALSE(file.isOpen());
}

TEST(AtomicFile, AFolderInTheTargetsPlaceStays) {
    const TestFolder folder;
    fs::create_directory(folder / "a.txt");
    AtomicFile file(folder / "a.txt");
    ASSERT_TRUE(put(file, "new"));
    EXPECT_FALSE(file.commit());
    EXPECT_TRUE(fs::is_directory(folder / "a.txt"));
}

// Writes fail on a full disk as they do at a limit on the size of files.
TEST(AtomicFile, AFullDiskLeavesTheOldFile) {
    const TestFolder folder;
    const fs::path target = folder.write("a.txt", "old");
    {
        const test::FileSizeLimit limit(1000);
        const AtomicFile file(target);
        EXPECT_FALSE(put(file, std::string(2000, 'x')));
        EXPECT_EQ(errno, EFBIG);
    }
    EXPECT_EQ(readFile(target), "old");
    EXPECT_EQ(filesIn(folder.path()), 1);
}

// One process rewrites a file over and over and is killed at some moment; what is there is always
// one of the texts, whole.
TEST(AtomicFile, AKillAtAnyMomentLeavesAWholeFile) {
    const TestFolder folder;
    const std::size_t size = 300000;
    const fs::path target = folder.write("a.txt", std::string(size, 'a'));
    for (int round = 0; round < 40; ++round) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (char letter = 'a';; letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1)) {
                AtomicFile file(target);
                if (!put(file, std::string(size, letter)) || !file.commit()) _exit(1);
            }
        }
        // Another file each time that it changes: some rounds are killed early, some late.
        struct stat first {};
        struct stat now {};
        ASSERT_EQ(stat(target.c_str(), &first), 0);
        for (int changes = 0; changes < round % 4;) {
            ASSERT_EQ(stat(target.c_str(), &now), 0);
            if (now.st_ino != first.st_ino) {
                ++changes;
                first = now;
            }
        }
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        const std::string text = readFile(target);
        ASSERT_EQ(text.size(), size);
        ASSERT_EQ(text, std::string(size, text.front()));
    }
}

TEST(FileDescriptor, OnlyRegularFilesAreOpened) {
    const TestFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(FileDescriptor::ofRegularFile(folder / "pipe").isOpen());
    EXPECT_FALSE(FileDescriptor::ofRegularFile(folder.path()).isOpen());
    EXPECT_FALSE(FileDescriptor::ofRegularFile(folder / "missing").isOpen());
    EXPECT_TRUE(FileDescriptor::ofRegularFile(folder.write("file", "text")).isOpen());
}

TEST(FileDescriptor, ReadingPastTheEndFails) {
    const TestFolder folder;
    const FileDescriptor file = FileDescriptor::ofRegularFile(folder.write("file", "text"));
    EXPECT_EQ(file.size(), 4U);
    char bytes[4] = {};
    EXPECT_TRUE(file.readAt(0, bytes, 4));
    EXPECT_EQ(std::string(bytes, 4), "text");
    EXPECT_FALSE(file.readAt(1, bytes, 4));
    EXPECT_FALSE(file.readAt(100, bytes, 1));
}

TEST(FileDescriptor, ADuplicateOutlivesTheFirst) {
    const TestFolder folder;
    FileDescriptor first = FileDescriptor::ofRegularFile(folder.write("file", "text"));
    const FileDescriptor second = first.duplicate();
    first = FileDescriptor();
    char bytes[4] = {};
    EXPECT_TRUE(second.readAt(0, bytes, 4));
    EXPECT_EQ(std::string(bytes, 4), "text");
}

TEST(FileDescriptor, BytesOfAFileAndOfMemoryAreReadWithinTheirEnds) {
    const TestFolder folder;
    const std::string text = "text";
    const FileDescriptor file = FileDescriptor::ofRegularFile(folder.write("file", text));
    for (const ReadBytes& read : {readBytesOf(file), readBytesOf(std::as_bytes(std::span(text)))}) {
        char bytes[3] = {};
        EXPECT_TRUE(read(1, bytes, 3));
        EXPECT_EQ(std::string(bytes, 3), "ext");
        EXPECT_TRUE(read(4, bytes, 0));
        EXPECT_FALSE(read(2, bytes, 3));
        EXPECT_FALSE(read(~std::uint64_t{0}, bytes, 2));
    }
}

TEST(FileDescriptor, CopiesToAnOffset) {
    const TestFolder folder;
    const std::string text(3 << 20, 'x');
    const FileDescriptor from = FileDescriptor::ofRegularFile(folder.write("from", text));
    AtomicFile to(folder / "to");
    ASSERT_TRUE(put(to, "head"));
    EXPECT_TRUE(to.file().copyFrom(from, text.size(), 4));
    ASSERT_TRUE(to.commit());
    EXPECT_EQ(readFile(folder / "to"), "head" + text);
}

TEST(FileDescriptor, CopyingMoreThanThereIsFails) {
    const TestFolder folder;
    const FileDescriptor from = FileDescriptor::ofRegularFile(folder.write("from", "text"));
    const AtomicFile to(folder / "to");
    EXPECT_FALSE(to.file().copyFrom(from, 5, 0));
}

}  // namespace lumaweave
