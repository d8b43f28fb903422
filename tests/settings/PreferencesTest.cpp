// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/Preferences.h"

#include <sys/stat.h>

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QSettings>
#include <QTest>
#include <bit>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <sstream>

#include "align/AlignSettings.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "support/SettingsFile.h"
#include "support/WindowsFixture.h"
#include "widgets/FloatSlider.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;

class PreferencesTest : public WindowsTest {
  protected:
    PreferencesTest() : panel(*windows->settingsPanel()) {}
    ~PreferencesTest() override {
        gBestMessageNum = 0;
        gAA_GridSize = 5;
        gAA_NumControlPoints = 8;
        gAA_AssumeFullFrameFisheye = gAA_OptimizeFOV = false;
    }

    // One row of the key table: where its value lives, as a number.
    struct Row {
        std::string key;
        std::function<double()> get;
        std::function<void(double)> set;
        double first;   // without a stored value
        double stored;  // another one, that the control can hold
        bool loaded = true;
    };

    static Row number(const std::string& key, int& global, int first) {
        return {key, [&global] { return global; },
                [&global](double value) { global = static_cast<int>(value); },
                static_cast<double>(first), 37};
    }
    static Row truth(const std::string& key, bool& global, bool loaded) {
        return {key,
                [&global] { return global ? 1 : 0; },
                [&global](double value) { global = value != 0; },
                0,
                1,
                loaded};
    }
    static Row slider(const std::string& key, FloatSlider* control, float first, float stored) {
        return {key, [control] { return static_cast<double>(control->floatValue()); },
                [control](double value) { control->setFloatValue(static_cast<float>(value)); },
                static_cast<double>(first), static_cast<double>(stored)};
    }
    static Row menu(const std::string& key, QComboBox* control, bool loaded = true) {
        return {key,
                [control] { return control->currentIndex(); },
                [control](double value) { control->setCurrentIndex(static_cast<int>(value)); },
                0,
                7,
                loaded};
    }
    static Row box(const std::string& key, QCheckBox* control, bool first, bool loaded = true) {
        return {key,
                [control] { return control->isChecked() ? 1 : 0; },
                [control](double value) { control->setChecked(value != 0); },
                first ? 1.0 : 0.0,
                first ? 0.0 : 1.0,
                loaded};
    }

    [[nodiscard]] std::vector<Row> table() const {
        return {
            number("gBestMessageNum", gBestMessageNum, 0),
            number("gAA_GridSize", gAA_GridSize, 5),
            number("gAA_NumControlPoints", gAA_NumControlPoints, 8),
            truth("gAA_AssumeFullFrameFisheye", gAA_AssumeFullFrameFisheye, true),
            truth("gAA_OptimizeFOV", gAA_OptimizeFOV, false),
            slider("exposureSigma", panel.exposureSigma(), 0.2F, 0.37F),
            slider("exposureMu", panel.exposureMu(), 0.5F, 0.61F),
            menu("exposureWeightMenu", panel.exposureWeightMenu()),
            menu("saturationWeightMenu", panel.saturationWeightMenu()),
            menu("entropyWeightMenu", panel.entropyWeightMenu()),
            menu("contrastWeightMenu", panel.contrastWeightMenu()),
            menu("contrastWindowSizeMenu", panel.contrastWindowSizeMenu(), false),
            menu("imageCacheSizeMenu", panel.imageCacheSizeMenu()),
            box("hardMaskButton", panel.hardMaskButton(), false),
            box("blend180Button", panel.blend180Button(), false),
            box("CIECAM02Button", panel.CIECAM02Button(), false),
            box("preserveEXIFCheckBox", panel.preserveEXIFCheckBox(), true),
            slider("contrastMinCurvatureSlider", panel.contrastMinCurvatureSlider(), 0, 17),
            slider("entropyWindowSizeSlider", panel.entropyWindowSizeSlider(), 3, 9),
            slider("blendingPyramidSlider", panel.blendingPyramidSlider(), 0, 4),
            box("ensureValidTIFFFilesCheckBox",
                windows->sourcesWindow()->ensureValidTIFFFilesCheckBox(), true, false),
        };
    }

    [[nodiscard]] std::map<std::string, double> values() const {
        std::map<std::string, double> all;
        for (const Row& row : table())
            all[row.key] = row.get();
        return all;
    }
    [[nodiscard]] std::map<std::string, double> firstValues() const {
        std::map<std::string, double> all;
        for (const Row& row : table())
            all[row.key] = row.first;
        return all;
    }
    void setAll(bool stored) {
        for (const Row& row : table())
            row.set(stored ? row.stored : row.first);
    }

    // A settings file of this content in a folder of its own, so that no QSettings has read it yet.
    fs::path useFile(const std::string& content) {
        const fs::path config = folder / ("config" + std::to_string(++files_));
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                           QString::fromStdString(config.native()));
        const fs::path file = settingsFile();
        fs::create_directories(file.parent_path());
        return folder.write(fs::relative(file, folder.path()).native(), content);
    }
    // Sets every control and global to its first value, then loads a file of this content.
    fs::path load(const std::string& content) {
        setAll(false);
        fs::path file = useFile(content);
        LoadPrefs();
        return file;
    }
    // What the file has at this key, as it is written there.
    static std::string writtenValue(const std::string& key) {
        for (const std::string& line : linesStartingWith(readFile(settingsFile()), key + "="))
            return line.substr(key.size() + 1);
        return "(absent)";
    }

    EnfuseSettingsWindow& panel;

  private:
    int files_ = 0;
};

TEST_F(PreferencesTest, AFirstRunLeavesEveryControlAtItsDefaultAndTheAlignmentAt5And8) {
    EXPECT_FALSE(fs::exists(settingsFile()));
    EXPECT_EQ(values(), firstValues());
    LoadPrefs();
    EXPECT_EQ(values(), firstValues());
    EXPECT_EQ(gAA_GridSize, 5);
    EXPECT_EQ(gAA_NumControlPoints, 8);
    EXPECT_FALSE(fs::exists(settingsFile())) << "loading writes nothing";
}

TEST_F(PreferencesTest, EveryKeyIsSavedInAFormThatCanBeRead) {
    setAll(true);
    useFile("");
    EXPECT_TRUE(SavePrefs());
    EXPECT_EQ(readFile(settingsFile()),
              "[General]\n"
              "CIECAM02Button=1\n"
              "blend180Button=1\n"
              "blendingPyramidSlider=4\n"
              "contrastMinCurvatureSlider=17\n"
              "contrastWeightMenu=7\n"
              "contrastWindowSizeMenu=7\n"
              "ensureValidTIFFFilesCheckBox=0\n"
              "entropyWeightMenu=7\n"
              "entropyWindowSizeSlider=9\n"
              "exposureMu=0.61\n"
              "exposureSigma=0.37\n"
              "exposureWeightMenu=7\n"
              "gAA_AssumeFullFrameFisheye=true\n"
              "gAA_GridSize=37\n"
              "gAA_NumControlPoints=37\n"
              "gAA_OptimizeFOV=true\n"
              "gBestMessageNum=37\n"
              "hardMaskButton=1\n"
              "imageCacheSizeMenu=7\n"
              "preserveEXIFCheckBox=0\n"
              "saturationWeightMenu=7\n");
}

TEST_F(PreferencesTest, EveryKeyIsSavedByItself) {
    for (const Row& row : table()) {
        setAll(false);
        useFile("");
        ASSERT_TRUE(SavePrefs());
        const std::string before = writtenValue(row.key);
        row.set(row.stored);
        ASSERT_TRUE(SavePrefs());
        EXPECT_NE(writtenValue(row.key), before) << row.key;
        row.set(row.first);
        const std::string after = readFile(settingsFile());
        ASSERT_TRUE(SavePrefs());
        int differing = 0;
        std::istringstream was(after);
        std::istringstream is(readFile(settingsFile()));
        for (std::string a, b; std::getline(was, a) && std::getline(is, b);)
            differing += a != b ? 1 : 0;
        EXPECT_EQ(differing, 1) << row.key;
    }
}

TEST_F(PreferencesTest, EveryKeyIsLoadedByItselfButForTheThreeThatAreNot) {
    setAll(true);
    useFile("");
    ASSERT_TRUE(SavePrefs());
    for (const Row& row : table()) {
        const std::string line = row.key + "=" + writtenValue(row.key) + "\n";
        const std::string all = readFile(settingsFile());
        load("[General]\n" + line);
        std::map<std::string, double> expected = firstValues();
        if (row.loaded) expected[row.key] = row.stored;
        EXPECT_EQ(values(), expected) << line;
        useFile(all);
    }
}

TEST_F(PreferencesTest, FieldOfViewOptimisationStartsEveryRunOffAlthoughTheKeyIsTrue) {
    gAA_OptimizeFOV = true;
    gAA_AssumeFullFrameFisheye = true;
    ASSERT_TRUE(SavePrefs());
    gAA_OptimizeFOV = gAA_AssumeFullFrameFisheye = false;
    LoadPrefs();
    EXPECT_FALSE(gAA_OptimizeFOV);
    EXPECT_TRUE(gAA_AssumeFullFrameFisheye);
    EXPECT_EQ(writtenValue("gAA_OptimizeFOV"), "true");
}

TEST_F(PreferencesTest, TheContrastWindowIsSavedButStartsEveryRunAtItsDefault) {
    panel.contrastWindowSizeMenu()->setCurrentIndex(9);
    ASSERT_TRUE(SavePrefs());
    EXPECT_EQ(writtenValue("contrastWindowSizeMenu"), "9");
    const EnfuseSettingsWindow next;
    EXPECT_EQ(next.contrastWindowSizeMenu()->currentIndex(), 0);
    gEnfuseSettingsPanel = &panel;
}

TEST_F(PreferencesTest, TheOutputDepthIsNeitherSavedNorLoaded) {
    ASSERT_TRUE(SavePrefs());
    const std::string before = readFile(settingsFile());
    panel.outputDepthMatrix()->button(2)->click();
    ASSERT_TRUE(SavePrefs());
    EXPECT_EQ(readFile(settingsFile()), before);
    load("[General]\noutputDepthMatrix=0\noutputDepth=0\n");
    EXPECT_EQ(panel.outputDepthMatrix()->checkedId(), 2);
}

TEST_F(PreferencesTest, TheSourcesWindowReadsItsSwitchItself) {
    useFile("[General]\nensureValidTIFFFilesCheckBox=0\n");
    EXPECT_EQ(savedEnsureValidTIFFState(), 0);
    windows.reset();
    windows = std::make_unique<TestFrame>();
    EXPECT_FALSE(windows->sourcesWindow()->ensureValidTIFFFilesCheckBox()->isChecked());
    useFile("");
    EXPECT_EQ(savedEnsureValidTIFFState(), std::nullopt);
    windows.reset();
    windows = std::make_unique<TestFrame>();
    EXPECT_TRUE(windows->sourcesWindow()->ensureValidTIFFFilesCheckBox()->isChecked());
}

TEST_F(PreferencesTest, AnAlignmentNumberOf0LoadsAs5Or8AndAnyOtherAsItIs) {
    load("[General]\ngAA_GridSize=0\ngAA_NumControlPoints=0\ngBestMessageNum=0\n");
    EXPECT_EQ(gAA_GridSize, 5);
    EXPECT_EQ(gAA_NumControlPoints, 8);
    EXPECT_EQ(gBestMessageNum, 0);
    load("[General]\ngAA_GridSize=3\ngAA_NumControlPoints=3\n");
    EXPECT_EQ(gAA_GridSize, 3);
    EXPECT_EQ(gAA_NumControlPoints, 3);
    load("[General]\ngAA_GridSize=-2\ngAA_NumControlPoints=0.9\n");
    EXPECT_EQ(gAA_GridSize, -2);
    EXPECT_EQ(gAA_NumControlPoints, 8) << "converted, it is 0";
}

TEST_F(PreferencesTest, AKeyThatIsNotThereKeepsTheCurrentValue) {
    setAll(true);
    const auto before = values();
    useFile("[General]\n");
    LoadPrefs();
    EXPECT_EQ(values(), before);
}

TEST_F(PreferencesTest, LoadingFiresNoActionAndSavesNothing) {
    dropAndWait(makeBracket(folder.path(), 90, 60, 2));
    copyWithTool();
    setAll(true);
    useFile("");
    ASSERT_TRUE(SavePrefs());
    const std::string bytes = readFile(settingsFile()) + "unknown=kept\n";
    setAll(false);
    const fs::path file = useFile(bytes);
    struct stat before {};
    ASSERT_EQ(stat(file.c_str(), &before), 0);
    testing::internal::CaptureStdout();
    LoadPrefs();
    EXPECT_TRUE(waitForBackgroundTasks());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "no fusion was started";
    EXPECT_EQ(panel.exposureMu()->floatValue(), 0.61F);
    struct stat after {};
    ASSERT_EQ(stat(file.c_str(), &after), 0);
    EXPECT_EQ(readFile(file), bytes);
    EXPECT_EQ(after.st_ino, before.st_ino) << "the same file, not one written anew";
}

TEST_F(PreferencesTest, AChangeByThePersonSavesEveryKey) {
    useFile("");
    QTest::keyClick(panel.exposureMu(), Qt::Key_Right);
    EXPECT_EQ(writtenValue("exposureMu"), "0.51");
    for (const Row& row : table())
        EXPECT_NE(writtenValue(row.key), "(absent)") << row.key;
}

TEST_F(PreferencesTest, OtherKeysOfTheFileStay) {
    useFile("[General]\nlater=1\n\n[arrangement]\ndocks=2\n");
    ASSERT_TRUE(SavePrefs());
    EXPECT_EQ(writtenValue("later"), "1");
    EXPECT_EQ(writtenValue("docks"), "2");
}

// Bit by bit, through the bytes of the file.
TEST_F(PreferencesTest, FractionsComeBackExactly) {
    std::mt19937 random(7);
    const auto anyFloat = [&random](float lowest, float highest) {
        return std::bit_cast<float>(std::uniform_int_distribution<std::uint32_t>(
            std::bit_cast<std::uint32_t>(lowest), std::bit_cast<std::uint32_t>(highest))(random));
    };
    std::vector<float> fractions = {0.01F,
                                    std::nextafter(0.01F, 1.0F),
                                    1.0F,
                                    std::nextafter(1.0F, 0.0F),
                                    1.0F / 3.0F,
                                    0.1F,
                                    std::nextafter(0.1F, 1.0F),
                                    16777215.0F / 16777216.0F};
    for (int i = 0; i < 120; ++i)
        fractions.push_back(anyFloat(0.01F, 1.0F));
    for (const float fraction : fractions) {
        const float tiny = anyFloat(0.0F, 1.0F);  // mostly far below the first step
        panel.exposureSigma()->setFloatValue(fraction);
        panel.exposureMu()->setFloatValue(tiny);
        panel.contrastMinCurvatureSlider()->setFloatValue(50 * fraction);
        useFile("");
        ASSERT_TRUE(SavePrefs());
        load(readFile(settingsFile()));
        ASSERT_EQ(std::bit_cast<std::uint32_t>(panel.exposureSigma()->floatValue()),
                  std::bit_cast<std::uint32_t>(fraction));
        ASSERT_EQ(std::bit_cast<std::uint32_t>(panel.exposureMu()->floatValue()),
                  std::bit_cast<std::uint32_t>(tiny));
        ASSERT_EQ(std::bit_cast<std::uint32_t>(panel.contrastMinCurvatureSlider()->floatValue()),
                  std::bit_cast<std::uint32_t>(50 * fraction));
    }
}

TEST_F(PreferencesTest, EveryStepOfTheSlidersComesBackExactlyAndIsWrittenShort) {
    for (int hundredths = 1; hundredths <= 100; ++hundredths) {
        const float value = static_cast<float>(hundredths / 100.0);
        panel.exposureSigma()->setFloatValue(value);
        useFile("");
        ASSERT_TRUE(SavePrefs());
        EXPECT_LE(writtenValue("exposureSigma").size(), 4U);
        load(readFile(settingsFile()));
        EXPECT_EQ(panel.exposureSigma()->floatValue(), value);
    }
}

TEST_F(PreferencesTest, FractionsWrittenAsDoublesOrAsBinaryAreRead) {
    load(
        "[General]\nexposureSigma=0.37000000476837158\nexposureMu=5e-1\n"
        "blendingPyramidSlider=@Variant(\\0\\0\\0\\x6@\\x10\\0\\0\\0\\0\\0\\0)\n");
    EXPECT_EQ(panel.exposureSigma()->floatValue(), 0.37F);
    EXPECT_EQ(panel.exposureMu()->floatValue(), 0.5F);
    EXPECT_EQ(panel.blendingPyramidSlider()->floatValue(), 4.0F);
}

TEST_F(PreferencesTest, AValueOfAnotherKindIsConverted) {
    load(
        "[General]\ngAA_GridSize=7.9\ngAA_NumControlPoints=true\ngAA_AssumeFullFrameFisheye=2\n"
        "exposureWeightMenu=3.7\nsaturationWeightMenu=true\nhardMaskButton=true\n"
        "blend180Button=0.5\nCIECAM02Button=-1\npreserveEXIFCheckBox=false\n"
        "blendingPyramidSlider=3\nentropyWindowSizeSlider=\"5\"\n"
        "contrastMinCurvatureSlider=true\n");
    EXPECT_EQ(gAA_GridSize, 7);
    EXPECT_EQ(gAA_NumControlPoints, 1);
    EXPECT_TRUE(gAA_AssumeFullFrameFisheye);
    EXPECT_EQ(panel.exposureWeightMenu()->currentIndex(), 3);
    EXPECT_EQ(panel.saturationWeightMenu()->currentIndex(), 1);
    EXPECT_TRUE(panel.hardMaskButton()->isChecked());
    EXPECT_FALSE(panel.blend180Button()->isChecked()) << "as an int it is 0";
    EXPECT_TRUE(panel.CIECAM02Button()->isChecked());
    EXPECT_FALSE(panel.preserveEXIFCheckBox()->isChecked());
    EXPECT_EQ(panel.blendingPyramidSlider()->floatValue(), 3);
    EXPECT_EQ(panel.entropyWindowSizeSlider()->floatValue(), 5);
    EXPECT_EQ(panel.contrastMinCurvatureSlider()->floatValue(), 1);
}

TEST_F(PreferencesTest, ANumberBeyondTheIntsBecomesTheNearest) {
    load("[General]\ngAA_GridSize=99999999999\ngBestMessageNum=-99999999999\n");
    EXPECT_EQ(gAA_GridSize, std::numeric_limits<int>::max());
    EXPECT_EQ(gBestMessageNum, std::numeric_limits<int>::min());
}

TEST_F(PreferencesTest, AValueThatIsNoNumberCountsAsAbsent) {
    const auto first = firstValues();
    for (const char* value :
         {"words", "", "nan", "inf", "-inf", "1e999", "0,5", "5px", "@Invalid()", "@Size(3 4)",
          "@ByteArray(\\x1\\x2)", "@Variant(\\0\\0\\0\\xff\\xff\\xff)", "@Variant()", "1 2", "--1",
          "0x10", "\\xzz"}) {
        std::string file = "[General]\n";
        for (const Row& row : table())
            file += row.key + "=" + value + "\n";
        load(file);
        EXPECT_EQ(values(), first) << value;
    }
}

TEST_F(PreferencesTest, AValueOutsideItsControlIsBroughtInsideOrLeftOut) {
    load(
        "[General]\nexposureSigma=0\nexposureMu=7\nblendingPyramidSlider=-3\n"
        "exposureWeightMenu=99\nsaturationWeightMenu=-1\n");
    EXPECT_EQ(panel.exposureSigma()->floatValue(), 0.01F);
    EXPECT_EQ(panel.exposureMu()->floatValue(), 1.0F);
    EXPECT_EQ(panel.blendingPyramidSlider()->floatValue(), 0.0F);
    EXPECT_EQ(panel.exposureWeightMenu()->currentIndex(), 0);
    EXPECT_EQ(panel.saturationWeightMenu()->currentIndex(), 0);
}

TEST_F(PreferencesTest, OneDamagedKeyLosesNoOther) {
    setAll(true);
    useFile("");
    ASSERT_TRUE(SavePrefs());
    const std::string whole = readFile(settingsFile());
    for (const Row& damaged : table()) {
        for (const char* value : {"\x01\xff\x02", "words", "\"open", "@Variant(", "words\\"}) {
            std::string file = whole;
            const std::string line = damaged.key + "=" + writtenValue(damaged.key);
            file.replace(file.find("\n" + line + "\n") + 1, line.size(), damaged.key + "=" + value);
            load(file);
            std::map<std::string, double> expected = firstValues();
            for (const Row& row : table()) {
                if (row.loaded && row.key != damaged.key) expected[row.key] = row.stored;
            }
            EXPECT_EQ(values(), expected) << damaged.key << '=' << value;
            useFile(whole);
        }
    }
}

TEST_F(PreferencesTest, AHalfWrittenFileLosesNoKeyBeforeItsEnd) {
    setAll(true);
    useFile("");
    ASSERT_TRUE(SavePrefs());
    const std::string whole = readFile(settingsFile());
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        load(whole.substr(0, length));
        const auto now = values();
        for (const Row& row : table()) {
            const std::size_t line = whole.find("\n" + row.key + "=") + 1;
            const std::size_t end = whole.find('\n', line);
            if (row.loaded && end <= length) {
                EXPECT_EQ(now.at(row.key), row.stored) << row.key << " of " << length << " bytes";
            } else if (line + row.key.size() + 1 > length) {
                EXPECT_EQ(now.at(row.key), row.first) << row.key << " of " << length << " bytes";
            }
        }
    }
}

TEST_F(PreferencesTest, AFileThatIsNoSettingsFileIsReplacedByTheNextSave) {
    std::mt19937 random(3);
    std::string noise(200'000, '\0');
    for (char& byte : noise)
        byte = static_cast<char>(random());
    for (const std::string& content :
         {noise, std::string(4096, '\0'),
          std::string("\x7f"
                      "ELF\x02\x01\x01"),
          std::string("[[[[\n====\n]]]]\n"), std::string("[General"), std::string(500'000, '='),
          std::string("\xff\xfe[\0G\0", 6)}) {
        load(content);
        EXPECT_EQ(values(), firstValues());
        setAll(true);
        EXPECT_TRUE(SavePrefs());
        load(readFile(settingsFile()));
        EXPECT_EQ(panel.exposureMu()->floatValue(), 0.61F);
        EXPECT_EQ(gAA_GridSize, 37);
    }
    EXPECT_TRUE(alerts.texts().empty());
}

TEST_F(PreferencesTest, AFileWithLinesOfAnotherSystemIsRead) {
    load("[General]\r\nexposureMu=0.61\r\nhardMaskButton=1\r\n");
    EXPECT_EQ(panel.exposureMu()->floatValue(), 0.61F);
    EXPECT_TRUE(panel.hardMaskButton()->isChecked());
}

// A folder in the file's place, and a file in the folder's: not even root can write either.
TEST_F(PreferencesTest, WhatCannotBeWrittenStopsNothingAndShowsNothing) {
    const fs::path file = useFile("");
    fs::remove(file);
    fs::create_directories(file / "full");
    LoadPrefs();
    EXPECT_EQ(values(), firstValues());
    QTest::mouseClick(panel.hardMaskButton(), Qt::LeftButton, {}, {8, 8});
    EXPECT_TRUE(panel.hardMaskButton()->isChecked());
    EXPECT_FALSE(SavePrefs());
    EXPECT_TRUE(fs::is_directory(file));

    const fs::path second = useFile("");
    fs::remove_all(second.parent_path());
    folder.write(fs::relative(second.parent_path(), folder.path()).native(), "a file");
    LoadPrefs();
    EXPECT_FALSE(SavePrefs());
    EXPECT_TRUE(panel.hardMaskButton()->isChecked()) << "the controls keep what they show";
    EXPECT_EQ(readFile(second.parent_path()), "a file");
    EXPECT_TRUE(alerts.texts().empty());
}

TEST_F(PreferencesTest, SavingLeavesNoHalfWrittenFileBehind) {
    useFile("");
    ASSERT_TRUE(SavePrefs());
    EXPECT_THAT(namesIn(settingsFile().parent_path()),
                testing::ElementsAre(settingsFile().filename().native()));
    struct stat before {};
    ASSERT_EQ(stat(settingsFile().c_str(), &before), 0);
    panel.hardMaskButton()->click();
    struct stat after {};
    ASSERT_EQ(stat(settingsFile().c_str(), &after), 0);
    EXPECT_NE(after.st_ino, before.st_ino) << "a whole new file takes the old one's place";
}

}  // namespace lumaweave
