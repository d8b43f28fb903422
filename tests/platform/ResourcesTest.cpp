// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Resources.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/EnvironmentVariable.h"
#include "support/TestFolder.h"

namespace lumaweave {

namespace fs = std::filesystem;
using test::TestFolder;

namespace {

// A resource folder with the adapter "tool-adapter", and a PATH on which its "tool" is installed.
class ResourcesTest : public testing::Test {
  protected:
    ResourcesTest() {
        fs::create_directories(folder / "Enfuse");
        fs::create_directories(folder / "bin");
        test::writeScript(folder / "Enfuse/tool-adapter", "");
        test::writeScript(folder / "bin/tool", "");
        setPath("/nowhere:" + (folder / "bin").native() + ":/usr/bin");
        setResourceFolder(folder.path());
    }
    ~ResourcesTest() override { setResourceFolder(LUMAWEAVE_RESOURCES); }

    static void makePlain(const fs::path& file) {
        fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    }
    void setPath(const std::string& path) const { path_.set(path); }

    TestFolder folder;

  private:
    test::EnvironmentVariable path_{"PATH"};
};

}  // namespace

TEST_F(ResourcesTest, WithoutAFolderOfItsOwnTheProgramLooksBesideItself) {
    setResourceFolder({});
    const fs::path program = fs::read_symlink("/proc/self/exe");
    EXPECT_EQ(resourceFolder(), program.parent_path().parent_path() / "share/lumaweave");
}

TEST_F(ResourcesTest, AResourceIsFoundByNameAndType) {
    const fs::path file = folder.write("picture one.png", "");
    EXPECT_EQ(pathForResource("picture one", "png"), file);
    EXPECT_EQ(pathForResource("picture one.png", ""), file);
}

TEST_F(ResourcesTest, AResourceIsFoundInItsSubfolderOnly) {
    fs::create_directories(folder / "layouts");
    const fs::path file = folder.write("layouts/Window.ui", "");
    EXPECT_EQ(pathForResource("Window", "ui", "layouts"), file);
    EXPECT_EQ(pathForResource("Window", "ui"), std::nullopt);
    EXPECT_EQ(pathForResource("Window", "ui", "other"), std::nullopt);
}

TEST_F(ResourcesTest, AMissingResourceAndAFolderAreNone) {
    EXPECT_EQ(pathForResource("nothing", "png"), std::nullopt);
    EXPECT_EQ(pathForResource("tool-adapter", "png", "Enfuse"), std::nullopt);
    EXPECT_EQ(pathForResource("Enfuse", ""), std::nullopt);
}

TEST_F(ResourcesTest, TheProgramsOwnResourcesAreThere) {
    setResourceFolder(LUMAWEAVE_RESOURCES);
    EXPECT_TRUE(pathForResource("blank", "png"));
    EXPECT_TRUE(pathForResource("lumaweave", "svg"));
    EXPECT_TRUE(pathForResource("enfuse-openmp", "", "Enfuse"));
    EXPECT_TRUE(pathForResource("align_image_stack", "", "Enfuse"));
}

TEST_F(ResourcesTest, AToolIsItsAdapter) {
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), folder / "Enfuse/tool-adapter");
}

TEST_F(ResourcesTest, WithoutItsAdapterThereIsNoTool) {
    fs::remove(folder / "Enfuse/tool-adapter");
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), std::nullopt);
    fs::create_directories(folder / "Enfuse/tool-adapter");
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), std::nullopt);
}

TEST_F(ResourcesTest, AnAdapterThatIsNotExecutableIsNoTool) {
    makePlain(folder / "Enfuse/tool-adapter");
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), std::nullopt);
}

TEST_F(ResourcesTest, AToolThatIsNotInstalledIsNone) {
    setPath("/nowhere");
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), std::nullopt);
    setPath("");
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), std::nullopt);
    setPath((folder / "bin").native());
    EXPECT_TRUE(pathForTool("tool-adapter", "tool"));
    makePlain(folder / "bin/tool");
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), std::nullopt);
    fs::remove(folder / "bin/tool");
    fs::create_directories(folder / "bin/tool");
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), std::nullopt);
}

TEST_F(ResourcesTest, WithoutAPathTheSystemsOwnFoldersAreSearched) {
    unsetenv("PATH");
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), std::nullopt);
    EXPECT_TRUE(pathForTool("tool-adapter", "sh"));
}

TEST_F(ResourcesTest, AnAdapterWhosePathAShellWouldChangeIsNoTool) {
    for (const std::string name : {"a$b", "a`b", "a\"b", "a\\b", "a\nb"}) {
        fs::create_directories(folder / name);
        fs::copy(folder / "Enfuse", folder / name / "Enfuse", fs::copy_options::recursive);
        setResourceFolder(folder / name);
        EXPECT_TRUE(pathForResource("tool-adapter", "", "Enfuse")) << name;
        EXPECT_EQ(pathForTool("tool-adapter", "tool"), std::nullopt) << name;
    }
}

TEST_F(ResourcesTest, BlanksAndQuotesInTheAdaptersPathDoNotMatter) {
    const fs::path odd = folder / "it's \xC3\xA4 100% odd; folder";
    fs::create_directories(odd);
    fs::copy(folder / "Enfuse", odd / "Enfuse", fs::copy_options::recursive);
    setResourceFolder(odd);
    EXPECT_EQ(pathForTool("tool-adapter", "tool"), odd / "Enfuse/tool-adapter");
}

}  // namespace lumaweave
