// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "imaging/decoding/ImageDecoder.h"
#include "imaging/tiff/TiffWriter.h"
#include "support/EnvironmentVariable.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

// The scripts of the resource folder "Enfuse" that stand between the program and the installed
// tools.

namespace lumaweave {

namespace fs = std::filesystem;
using test::EnvironmentVariable;
using test::makeImage;
using test::readFile;
using test::sceneAt;
using test::TestFolder;
using test::writeScript;
using testing::ElementsAre;

namespace {

using Arguments = std::vector<std::string>;

// Runs a program with exactly these arguments, and gives its exit status.
int runProgram(const fs::path& program, const Arguments& arguments) {
    Arguments words = arguments;
    words.insert(words.begin(), program.native());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    pid_t child = -1;
    EXPECT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, pointers.data(), environ), 0);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Puts recorders in the places of the installed tools.
class AdaptersTest : public testing::Test {
  protected:
    AdaptersTest() {
        fs::create_directories(folder / "bin");
        installRecorder("enfuse");
        installRecorder("align_image_stack");
        setPath((folder / "bin").native() + ':' + path_.before().value_or(""));
        unsetenv("OMP_WAIT_POLICY");
    }

    void setPath(const std::string& path) const { path_.set(path); }
    void useInstalledTools() const { path_.restore(); }
    void setToolStatus(int wanted) { (void)folder.write("status", std::to_string(wanted) + '\n'); }

    [[nodiscard]] static fs::path adapter(const std::string& name) {
        return fs::path(LUMAWEAVE_RESOURCES) / "Enfuse" / name;
    }
    // What the tool gets when the test gives its adapter these arguments.
    Arguments toolArguments(const std::string& adapterName, const Arguments& given) {
        fs::remove(recordFile());
        status = runProgram(adapter(adapterName), given);
        return recordedArguments();
    }
    Arguments enfuse(const Arguments& given) { return toolArguments("enfuse-openmp", given); }
    Arguments align(const Arguments& given) { return toolArguments("align_image_stack", given); }
    [[nodiscard]] bool toolWasRun() const { return fs::exists(recordFile()); }
    [[nodiscard]] std::string waitPolicy() const { return readFile(folder / "policy"); }

    TestFolder folder;
    int status = -1;

  private:
    [[nodiscard]] fs::path recordFile() const { return folder / "arguments"; }
    void installRecorder(const std::string& tool) {
        const std::string place = folder.path().native();
        writeScript(folder / ("bin/" + tool),
                    "for argument in \"$@\"; do printf '%s\\0' \"$argument\"; "
                    "done > \"" +
                        place +
                        "/arguments\"\n"
                        "printf %s \"${OMP_WAIT_POLICY-unset}\" > \"" +
                        place +
                        "/policy\"\n"
                        "[ -f \"" +
                        place +
                        "/status\" ] || exit 0\n"
                        "read status < \"" +
                        place +
                        "/status\"\n"
                        "exit \"$status\"\n");
    }
    [[nodiscard]] Arguments recordedArguments() const {
        Arguments arguments;
        std::string argument;
        for (const char c : readFile(recordFile())) {
            if (c == '\0') {
                arguments.push_back(argument);
                argument.clear();
            } else {
                argument += c;
            }
        }
        return arguments;
    }

    EnvironmentVariable path_{"PATH"};
};

const std::string identity = "--blend-colorspace=IDENTITY";

// Words that a careless script would split, expand or take for something else.
const Arguments oddWords = {"a b", "  ",     "it's",     "\"quoted\"", "$HOME", "`id`", "\\n",
                            "*",   "a\nb\n", "%s",       "-",          "--",    "-n",   "-e",
                            "~",   "#",      "\xC3\xA4", "\xFF",       "a;b",   "",     "!"};

}  // namespace

TEST_F(AdaptersTest, EnfuseGetsItsArgumentsInOrder) {
    EXPECT_THAT(
        enfuse({"--exposure-weight=1.000000", "-l", "29", "-o", "out.tif", "a.tif", "b.tif"}),
        ElementsAre(identity, "--exposure-weight=1.000000", "-l", "29", "-o", "out.tif", "a.tif",
                    "b.tif"));
    EXPECT_EQ(status, 0);
}

TEST_F(AdaptersTest, EnfuseWithoutArgumentsGetsOnlyTheBlendColourSpace) {
    EXPECT_THAT(enfuse({}), ElementsAre(identity));
}

TEST_F(AdaptersTest, EnfuseDoesNotGetTheCacheSize) {
    EXPECT_THAT(enfuse({"-m", "1024", "-o", "out.tif", "a.tif"}),
                ElementsAre(identity, "-o", "out.tif", "a.tif"));
    EXPECT_THAT(enfuse({"-o", "out.tif", "-m", "1", "a.tif"}),
                ElementsAre(identity, "-o", "out.tif", "a.tif"));
    EXPECT_THAT(enfuse({"a.tif", "-m", "1"}), ElementsAre(identity, "a.tif"));
    EXPECT_THAT(enfuse({"-m", "1", "-m", "2", "a.tif"}), ElementsAre(identity, "a.tif"));
    EXPECT_THAT(enfuse({"a.tif", "-m"}), ElementsAre(identity, "a.tif"));
    EXPECT_THAT(enfuse({"-m"}), ElementsAre(identity));
}

TEST_F(AdaptersTest, EnfuseMakesFloatsOfFloatsWhateverDepthItIsAskedFor) {
    const EnvironmentVariable floats("LUMAWEAVE_FLOATS", "yes");
    for (const char* depth : {"--depth=8", "--depth=16", "--depth=r32"}) {
        EXPECT_THAT(
            enfuse({"-o", "--depth=8", depth, "in.tif"}),
            ElementsAre("--blend-colorspace=IDENTITY", "-o", "--depth=8", "--depth=r32", "in.tif"));
    }
    floats.restore();
    EXPECT_THAT(enfuse({"--depth=8", "in.tif"}),
                ElementsAre("--blend-colorspace=IDENTITY", "--depth=8", "in.tif"));
}

TEST_F(AdaptersTest, AnOutputFileMayBeNamedLikeAnOption) {
    EXPECT_THAT(enfuse({"-o", "-m", "a.tif", "b.tif"}),
                ElementsAre(identity, "-o", "-m", "a.tif", "b.tif"));
    EXPECT_THAT(enfuse({"-m", "5", "-o", "-m"}), ElementsAre(identity, "-o", "-m"));
    EXPECT_THAT(enfuse({"-o", "-c", "a.tif"}), ElementsAre(identity, "-o", "-c", "a.tif"));
    EXPECT_THAT(enfuse({"a.tif", "-o"}), ElementsAre(identity, "a.tif", "-o"));
}

TEST_F(AdaptersTest, EnfuseKeepsTheColourAppearanceModelItIsAskedFor) {
    EXPECT_THAT(enfuse({"-c", "-o", "out.tif", "a.tif"}),
                ElementsAre("-c", "-o", "out.tif", "a.tif"));
    EXPECT_THAT(enfuse({"-o", "out.tif", "-m", "1", "-c", "a.tif"}),
                ElementsAre("-o", "out.tif", "-c", "a.tif"));
    // Only the option itself counts.
    EXPECT_THAT(enfuse({"-cc", "c", "a-c"}), ElementsAre(identity, "-cc", "c", "a-c"));
}

TEST_F(AdaptersTest, EnfusesThreadsWaitWithoutSpinning) {
    (void)enfuse({"a.tif"});
    EXPECT_EQ(waitPolicy(), "passive");
    setenv("OMP_WAIT_POLICY", "active", 1);
    (void)enfuse({"a.tif"});
    EXPECT_EQ(waitPolicy(), "passive");
}

TEST_F(AdaptersTest, OddArgumentsReachEnfuseUntouched) {
    Arguments expected = oddWords;
    expected.insert(expected.begin(), identity);
    EXPECT_EQ(enfuse(oddWords), expected);
}

TEST_F(AdaptersTest, EnfusesExitStatusComesBack) {
    setToolStatus(7);
    (void)enfuse({"a.tif"});
    EXPECT_EQ(status, 7);
}

TEST_F(AdaptersTest, TheInstalledEnfuseTakesWhatItGets) {
    useInstalledTools();
    const std::string dark = (folder / "dark shot.tif").native();
    const std::string light = (folder / "light shot.tif").native();
    const std::string result = (folder / "result.tif").native();
    test::saveImage(makeImage(64, 48, {}, sceneAt(0.5)), dark);
    test::saveImage(makeImage(64, 48, {}, sceneAt(2)), light);
    EXPECT_EQ(runProgram(adapter("enfuse-openmp"), {"-m", "1", "-o", result, dark, light}), 0);
    EXPECT_FALSE(toolWasRun());
    const Image fused = decodeImage(result);
    EXPECT_EQ(fused.pixelsWide(), 64);
    EXPECT_EQ(fused.pixelsHigh(), 48);
}

TEST_F(AdaptersTest, TheAlignerKeepsTheOrderOfItsInputs) {
    EXPECT_THAT(
        align({"-v", "-a", "/t/aligned", "-e", "-m", "-c", "8", "-g", "5", "a.tif", "b.tif"}),
        ElementsAre("--use-given-order", "-v", "-a", "/t/aligned", "-e", "-m", "-c", "8", "-g", "5",
                    "a.tif", "b.tif"));
    EXPECT_EQ(status, 0);
    setToolStatus(3);
    (void)align({"-a", "p", "a.tif", "b.tif"});
    EXPECT_EQ(status, 3);
}

TEST_F(AdaptersTest, TheInstalledAlignerKeepsTheOrderOfItsInputs) {
    useInstalledTools();
    const std::string dark = (folder / "dark shot.tif").native();
    const std::string light = (folder / "light shot.tif").native();
    ASSERT_TRUE(writeTiff(decodeImage(test::sampleShot(3)).scaled(400, 267), dark, Write::plain));
    ASSERT_TRUE(writeTiff(decodeImage(test::sampleShot(4)).scaled(400, 267), light, Write::plain));
    const auto mean = [](const fs::path& path) {
        const std::vector<double> values = test::samplesOf(decodeImage(path));
        return std::accumulate(values.begin(), values.end(), 0.0) /
               static_cast<double>(values.size());
    };
    const std::string prefix = (folder / "aligned shot").native();
    const auto alignAndGiveMeans = [&](const std::string& first, const std::string& second) {
        EXPECT_EQ(runProgram(adapter("align_image_stack"),
                             {"-v", "-a", prefix, "-e", "-m", "-c", "8", "-g", "5", first, second}),
                  0);
        return std::pair(mean(prefix + "0000.tif"), mean(prefix + "0001.tif"));
    };
    const auto darkFirst = alignAndGiveMeans(dark, light);
    EXPECT_LT(darkFirst.first, darkFirst.second);
    const auto lightFirst = alignAndGiveMeans(light, dark);
    EXPECT_GT(lightFirst.first, lightFirst.second);
    EXPECT_FALSE(toolWasRun());
}

TEST_F(AdaptersTest, OddArgumentsReachTheAlignerUntouched) {
    Arguments expected = oddWords;
    expected.insert(expected.begin(), "--use-given-order");
    EXPECT_EQ(align(oddWords), expected);
}

TEST_F(AdaptersTest, ASingleInputIsCopiedInsteadOfAligned) {
    const std::string input = folder.write("only one.tif", "the pixels").native();
    const std::string prefix = (folder / "aligned files").native();
    (void)align({"-v", "-a", prefix, "-e", "-m", "-c", "8", "-g", "5", input});
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(toolWasRun());
    EXPECT_EQ(readFile(prefix + "0000.tif"), "the pixels");
    EXPECT_EQ(readFile(input), "the pixels");
}

// Aligning an aligned input once more does this.
TEST_F(AdaptersTest, ASingleInputMayBeItsOwnOutputAndIsWrittenAnew) {
    const std::string prefix = (folder / "aligned").native();
    const fs::path file = folder.write("aligned0000.tif", "the pixels");
    struct stat before {};
    ASSERT_EQ(stat(file.c_str(), &before), 0);
    (void)align({"-v", "-a", prefix, "-c", "8", "-g", "5", file.native()});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readFile(file), "the pixels");
    struct stat after {};
    ASSERT_EQ(stat(file.c_str(), &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_FALSE(fs::exists(prefix + "0000.tif.part"));
}

TEST_F(AdaptersTest, TheAlignerIsToldTheFieldOfViewInTheFileBesideThePrefix) {
    const std::string prefix = (folder / "aligned shot").native();
    (void)folder.write("aligned shot.hfov", "73.740\n");
    EXPECT_THAT(align({"-v", "-a", prefix, "-c", "8", "-g", "5", "a.tif", "b.tif"}),
                ElementsAre("--use-given-order", "-f", "73.740", "-v", "-a", prefix, "-c", "8",
                            "-g", "5", "a.tif", "b.tif"));
    EXPECT_EQ(status, 0);
}

TEST_F(AdaptersTest, AFieldOfViewThatIsNoNumberIsPassedOver) {
    const std::string prefix = (folder / "aligned").native();
    for (const char* text : {"", "\n", "wide\n", "-4\n", "50 -o x\n", "$(id)\n", "5e1\n"}) {
        (void)folder.write("aligned.hfov", text);
        EXPECT_THAT(align({"-a", prefix, "a.tif", "b.tif"}),
                    ElementsAre("--use-given-order", "-a", prefix, "a.tif", "b.tif"))
            << text;
    }
}

TEST_F(AdaptersTest, ASingleInputThatIsMissingIsAFailure) {
    const std::string prefix = (folder / "aligned").native();
    (void)align({"-a", prefix, (folder / "missing.tif").native()});
    EXPECT_NE(status, 0);
    EXPECT_FALSE(fs::exists(prefix + "0000.tif"));
    EXPECT_FALSE(fs::exists(prefix + "0000.tif.part"));
}

TEST_F(AdaptersTest, WithoutInputsTheAlignerIsRun) {
    EXPECT_THAT(align({"-v", "-a", "/t/aligned", "-c", "8"}),
                ElementsAre("--use-given-order", "-v", "-a", "/t/aligned", "-c", "8"));
    EXPECT_TRUE(toolWasRun());
}

TEST_F(AdaptersTest, WithItsOwnFolderOnThePathTheAlignerDoesNotCallItself) {
    setPath((fs::path(LUMAWEAVE_RESOURCES) / "Enfuse").native() + ':' + std::getenv("PATH"));
    EXPECT_THAT(align({"-a", "p", "a.tif", "b.tif"}),
                ElementsAre("--use-given-order", "-a", "p", "a.tif", "b.tif"));
}

TEST_F(AdaptersTest, WithoutTheInstalledAlignerThatIsSaid) {
    fs::create_directories(folder / "few");
    for (const char* tool : {"sh", "dirname"}) {
        fs::create_symlink(fs::path("/usr/bin") / tool, folder / "few" / tool);
    }
    setPath((folder / "few").native());
    testing::internal::CaptureStderr();
    (void)align({"-a", "p", "a.tif", "b.tif"});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "align_image_stack is not installed\n");
    EXPECT_EQ(status, 127);
}

}  // namespace lumaweave
