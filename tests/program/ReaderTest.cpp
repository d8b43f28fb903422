// SPDX-License-Identifier: GPL-3.0-or-later

// Hostile files and the reader as the user meets them: one alert, and the program goes on.

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <optional>

#include "imaging/metadata/Metadata.h"
#include "imaging/metadata/MetadataWriter.h"
#include "imaging/reader/ReaderJobs.h"
#include "platform/WorkingFolder.h"
#include "sources/SourceCellViewController.h"
#include "stack/SharedState.h"
#include "support/AlertTexts.h"
#include "support/ExifTool.h"
#include "support/HostileFiles.h"
#include "support/Program.h"
#include "support/ProgramFixture.h"
#include "support/ReaderReplacement.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class ReaderTest : public ProgramTest {
  protected:
    void expectRefused(const fs::path& bad, const std::string& reason) {
        auto files = makeBracket(folder.path(), 60, 40, 2);
        files.insert(files.begin() + 1, bad);
        dropAndWait(files);
        EXPECT_THAT(alerts.texts(), ElementsAre(unrecognizedFile));
        EXPECT_THAT(log.lines(), Contains(HasSubstr(reason)));
        EXPECT_FALSE(cell(1).theImage().isNull());
        EXPECT_TRUE(cell(2).theImage().isNull());
    }
};

TEST_F(ReaderTest, AFileThatCrashesTheReaderIsAnUnreadableImageAmongReadableOnes) {
    const ReaderReplacement reader("kill -SEGV $$");
    expectRefused(folder.write("hostile.png", interlacedPngThatClaims(8000, 8000)),
                  "the reader crashed");
}

TEST_F(ReaderTest, AFileThatTakesMoreMemoryThanThereMayBeIsAnUnreadableImage) {
    expectRefused(folder.write("hostile.png", interlacedPngThatClaims(23000, 23000)),
                  isReaderMemoryLimited ? "memory" : "hostile.png");
}

TEST_F(ReaderTest, WithoutAReaderAShotIsFusedWithoutItsMetadata) {
    const auto files = makeBracket(folder.path(), 60, 40, 2);
    for (const fs::path& file : files)
        ASSERT_TRUE(writeTags(file, {"-EXIF:Artist=A. Person"}));
    copyWithTool();
    dropAndWait(files);
    fuseFullSize(folder / "with.tif");
    EXPECT_EQ(exifToolTags(folder / "with.tif").at("IFD0:Artist"), "A. Person");
    const ReaderReplacement none("");
    fuseFullSize(folder / "without.tif");
    EXPECT_EQ(exifToolTags(folder / "without.tif").count("IFD0:Artist"), 0U);
    EXPECT_THAT(alerts.texts(), testing::IsEmpty());
    EXPECT_THAT(log.lines(), Contains(HasSubstr("lumaweave-reader is missing")));
}

namespace {

// The numbers of the processes whose command line holds this.
std::vector<pid_t> processesWith(const std::string& words) {
    std::vector<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::ifstream file(entry.path() / "cmdline");
        // By getline: the process may end while we read.
        std::string line;
        std::getline(file, line);
        if (line.find("lumaweave-reader") != std::string::npos &&
            line.find(words) != std::string::npos) {
            found.push_back(std::stoi(name));
        }
    }
    return found;
}

// Hundredths of a second that the process has worked; none when it is gone.
std::optional<long> workOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    if (!std::getline(file, line) || line.find(')') == std::string::npos) return std::nullopt;
    std::istringstream fields(line.substr(line.find(')') + 1));
    std::string skipped;
    for (int i = 0; i < 11; ++i)
        fields >> skipped;
    long user = 0;
    long system = 0;
    fields >> user >> system;
    return user + system;
}

}  // namespace

// The picture keeps the reader busy until its time is up.
class ReaderOfProgramTest : public testing::Test {
  protected:
    ReaderOfProgramTest() : program({busy}) {}
    // The reader, once it is seen at work.
    pid_t reader() {
        pid_t process = 0;
        EXPECT_TRUE(waitUntil([&] {
            const auto found = processesWith(busy.native());
            process = found.empty() ? 0 : found.front();
            return process != 0 && workOf(process).value_or(0) > 20;
        }));
        return process;
    }
    // Well before its time is up.
    static void expectToGoAtOnce(pid_t process) {
        long work = 0;
        EXPECT_TRUE(waitUntil([&] {
            const auto now = workOf(process);
            work = now.value_or(work);
            return !now || !fs::exists("/proc/" + std::to_string(process) + "/exe");
        }));
        EXPECT_LT(work, 600);
    }

    TestFolder folder;
    // A little more than the program itself decodes.
    const fs::path busy = folder.write("busy.jpg", jpegOfManyScans(9000, 9000));
    Program program;
};

TEST_F(ReaderOfProgramTest, EndsWithAProgramThatIsKilled) {
    const pid_t process = reader();
    ASSERT_NE(process, 0);
    program.process().kill();
    expectToGoAtOnce(process);
}

TEST_F(ReaderOfProgramTest, EndsWithAProgramThatIsAskedToEnd) {
    const pid_t process = reader();
    ASSERT_NE(process, 0);
    program.process().terminate();
    expectToGoAtOnce(process);
    EXPECT_TRUE(program.waitForEnd());
}

}  // namespace lumaweave
