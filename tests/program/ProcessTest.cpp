// SPDX-License-Identifier: GPL-3.0-or-later

// The program as a process of its own, as the user starts it.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "platform/WorkingFolder.h"
#include "support/Pictures.h"
#include "support/Program.h"
#include "support/TestFolder.h"
#include "support/Waiting.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;

namespace {

std::set<fs::path> workingFolders() {
    std::set<fs::path> folders;
    for (const auto& entry : fs::directory_iterator(fs::temp_directory_path())) {
        if (entry.path().filename().native().starts_with("lumaweave-"))
            folders.insert(entry.path());
    }
    return folders;
}

int imagesIn(const fs::path& folder) {
    return static_cast<int>(std::count_if(
        fs::directory_iterator(folder), fs::directory_iterator(), [](const auto& entry) {
            return entry.path().filename().native().starts_with("ConvertedToTIFF");
        }));
}

}  // namespace

TEST(Process, FilesNamedOnTheCommandLineAreLoadedAndFused) {
    const TestFolder folder;
    Program program(makeBracket(folder.path(), 120, 80, 3));
    EXPECT_TRUE(program.waitForOutput("collapsing Laplacian pyramid"));
    EXPECT_TRUE(program.waitForOutput("Creating Detail Images..."));
    EXPECT_EQ(workingFolders().size(), 2U) << "its own and this test's";
}

// Half of Europe writes 0,2: the tool's command line never does.
TEST(Process, ACommaLocaleChangesNoCommandLine) {
    const TestFolder folder;
    ASSERT_EQ(std::system(("localedef --no-archive -i de_DE -f UTF-8 '" +
                           (folder / "de_DE.UTF-8").native() + "'")
                              .c_str()),
              0);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LOCPATH", QString::fromStdString(folder.path().native()));
    environment.insert("LC_ALL", "de_DE.UTF-8");
    Program program(makeBracket(folder.path(), 120, 80, 2), environment);
    EXPECT_TRUE(program.waitForOutput(" --exposure-sigma=0.200000 --exposure-mu=0.500000"));
}

// A tool that would run for minutes.
TEST(Process, BeingAskedToEndEndsTheToolAndRemovesTheWorkingFolder) {
    const TestFolder folder;
    writeScript(folder / "enfuse",
                "echo $$ > '" + (folder / "pid").native() + "'\necho started\nexec sleep 1000\n");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    putOnPath(environment, folder.path());
    const std::set<fs::path> before = workingFolders();
    Program program(makeBracket(folder.path(), 120, 80, 2), environment);
    ASSERT_TRUE(program.waitForOutput("started"));
    EXPECT_EQ(workingFolders().size(), before.size() + 1);
    program.process().terminate();
    EXPECT_TRUE(program.waitForEnd());
    EXPECT_EQ(workingFolders(), before);
    EXPECT_TRUE(waitUntilProcessEnds(std::stoi(readFile(folder / "pid")))) << "the tool has ended";
}

TEST(Process, BeingAskedToEndWhileASheetIsUpEndsTheProgram) {
    const TestFolder folder;
    Program program({folder.write("words.jpg", "words")});
    // The alert about it is up, and the sheet below it.
    ASSERT_TRUE(program.waitForOutput("Assign file to cell..."));
    program.process().terminate();
    EXPECT_TRUE(program.waitForEnd());
}

TEST(Process, TwoProgramsDoNotTouchEachOthersWorkingFiles) {
    const TestFolder folder;
    const auto shots = makeBracket(folder.path(), 120, 80, 5);
    Program first({shots[0], shots[1]});
    Program second({shots[2], shots[3], shots[4]});
    EXPECT_TRUE(first.waitForOutput("Creating Detail Images..."));
    EXPECT_TRUE(second.waitForOutput("Creating Detail Images..."));
    std::vector<int> counts;
    for (const fs::path& working : workingFolders()) {
        if (working != workingFolder()) counts.push_back(imagesIn(working));
    }
    EXPECT_THAT(counts, testing::UnorderedElementsAre(2, 3));
}

TEST(Process, AProgramThatStartsRemovesWhatAKilledOneHasLeftAndNothingOfTheLivingOnes) {
    const TestFolder folder;
    const auto shots = makeBracket(folder.path(), 120, 80, 2);
    const std::set<fs::path> before = workingFolders();
    {
        Program killed({shots[0]});
        EXPECT_TRUE(killed.waitForOutput("Creating scaled source for Preview..."));
    }
    ASSERT_EQ(workingFolders().size(), before.size() + 1);
    Program next(shots);
    EXPECT_TRUE(next.waitForOutput("Creating Detail Images..."));
    EXPECT_EQ(workingFolders().size(), before.size() + 1);
    EXPECT_TRUE(fs::exists(workingFolder())) << "this test's own program still runs";
}

}  // namespace lumaweave
