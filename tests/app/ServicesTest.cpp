#include "app/Services.h"

#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QUrl>
#include <atomic>
#include <filesystem>
#include <thread>

#include "app/AppDelegate.h"
#include "app/SharedState.h"
#include "platform/Threads.h"
#include "support/Recorders.h"
#include "support/TestFolder.h"
#include "support/Waiting.h"

namespace lumaweave {

namespace fs = std::filesystem;

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
                AppendQuotedPath(command, path);
                if (command != "x \"" + path + '"') ++wrong;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(CanBeQuoted, RefusesWhatTheShellActsOnAndWhatIsTooLong) {
    EXPECT_TRUE(CanBeQuoted("/tmp/a b 'c' % ; & | (ä).tif"));
    for (const char* path : {"a\"b", "a$b", "a`b", "a\\b", "a\nb", "a\rb"}) {
        EXPECT_FALSE(CanBeQuoted(path)) << path;
    }
    EXPECT_TRUE(CanBeQuoted(std::string(longestQuotablePath, 'x')));
    EXPECT_FALSE(CanBeQuoted(std::string(longestQuotablePath + 1, 'x')));
}

TEST(Swizzle, ReversesTheFourBytes) {
    const std::uint32_t value = 0x11223344;
    EXPECT_EQ(SwizzleUInt32Long(&value), 0x44332211U);
}

TEST(PathFromUrl, GivesTheBytesOfALocalPath) {
    EXPECT_EQ(PathFromUrl(QUrl("file:///tmp/a%20b%25.tif")), fs::path("/tmp/a b%.tif"));
    EXPECT_EQ(PathFromUrl(QUrl("file:///tmp/%ff%fe.jpg")), fs::path("/tmp/\xff\xfe.jpg"));
    EXPECT_EQ(PathFromUrl(QUrl("file://localhost/tmp/x.jpg")), fs::path("/tmp/x.jpg"));
    EXPECT_EQ(PathFromUrl(QUrl("http://localhost/x.jpg")), std::nullopt);
    EXPECT_EQ(PathFromUrl(QUrl("file://elsewhere/tmp/x.jpg")), std::nullopt);
}

TEST(PathFromUrl, UndoesUrlFromPath) {
    for (const fs::path path :
         {"/tmp/a b.tif", "/tmp/100%.tif", "/tmp/#?&;.tif", "/tmp/\xff.tif"}) {
        EXPECT_EQ(PathFromUrl(UrlFromPath(path)), path);
    }
}

class AlertTest : public testing::Test {
  protected:
    AlertTest() { delegate.applicationDidFinishLaunching(); }
    ~AlertTest() override { SetSaveFilenameChooser({}); }

    AppDelegate delegate;
    test::AlertAnswerer alerts;
    test::LogRecorder log;
    test::TestFolder folder;
};

TEST_F(AlertTest, ShowsAtOnceOnTheMainThreadWithOneButton) {
    int buttons = 0;
    Qt::TextFormat format = Qt::AutoText;
    alerts.answer = [&](QMessageBox* box) {
        buttons = static_cast<int>(box->buttons().size());
        format = box->textFormat();
        EXPECT_TRUE(box->isModal());
        box->button(QMessageBox::Ok)->click();
    };
    DoAlert("<b>plain</b>");
    EXPECT_THAT(alerts.texts(), testing::ElementsAre("<b>plain</b>"));
    EXPECT_EQ(buttons, 1);
    EXPECT_EQ(format, Qt::PlainText);
}

TEST_F(AlertTest, AWorkerWaitsUntilTheAlertIsClosed) {
    std::atomic<bool> returned = false;
    bool returnedWhileShown = true;
    alerts.answer = [&](QMessageBox* box) {
        returnedWhileShown = returned;
        box->button(QMessageBox::Ok)->click();
    };
    performInBackground([&returned] {
        DoAlert("from a worker");
        returned = true;
    });
    EXPECT_TRUE(test::waitForBackgroundTasks());
    EXPECT_TRUE(returned);
    EXPECT_FALSE(returnedWhileShown);
    EXPECT_EQ(alerts.count("from a worker"), 1);
}

TEST_F(AlertTest, TheLogTakesTheMessageAsAFormatWithoutArguments) {
    DoAlert("100%% of %n and %s");
    EXPECT_EQ(alerts.texts().front(), "100%% of %n and %s");
    EXPECT_EQ(log.count("100% of %n and %s"), 1);
}

TEST(DoAlert, WithoutARunningProgramTheMessageGoesToTheLog) {
    const test::LogRecorder log;
    DoAlert("nobody is there");
    EXPECT_EQ(log.count("nobody is there"), 1);
}

TEST_F(AlertTest, TheSavePanelAddsTheEnding) {
    const std::vector<std::pair<std::string, std::string>> names = {{"x", "x.tif"},
                                                                    {"shot.2024", "shot.2024.tif"},
                                                                    {"y.tif", "y.tif"},
                                                                    {"y.TIFF", "y.TIFF"},
                                                                    {"z.jpg", "z.jpg.tif"}};
    for (const auto& [typed, saved] : names) {
        SetSaveFilenameChooser([&, name = typed] { return folder / name; });
        EXPECT_EQ(AskForSaveFilename(), folder / saved);
    }
}

TEST_F(AlertTest, CancellingTheSavePanelGivesNoPath) {
    SetSaveFilenameChooser([] { return fs::path(); });
    EXPECT_TRUE(AskForSaveFilename().empty());
}

TEST_F(AlertTest, TheRealSavePanelTakesATypedName) {
    fs::current_path(folder.path());
    QString title;
    QMetaObject::invokeMethod(
        qApp,
        [&] {
            auto* panel = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            ASSERT_NE(panel, nullptr);
            title = panel->windowTitle();
            panel->findChild<QLineEdit*>()->setText("typed name");
            static_cast<QDialog*>(panel)->accept();
        },
        Qt::QueuedConnection);
    EXPECT_EQ(AskForSaveFilename(), folder / "typed name.tif");
    EXPECT_EQ(title, "Save Enfused File As...");
}

TEST_F(AlertTest, TheRealSavePanelCanBeCancelled) {
    QMetaObject::invokeMethod(
        qApp, [] { qobject_cast<QFileDialog*>(QApplication::activeModalWidget())->reject(); },
        Qt::QueuedConnection);
    EXPECT_TRUE(AskForSaveFilename().empty());
}

TEST_F(AlertTest, AnExistingFileIsOnlyTakenWhenThePersonAgrees) {
    folder.write("old.tif", "old");
    int asked = 0;
    alerts.answer = [&asked](QMessageBox* box) {
        box->button(++asked == 1 ? QMessageBox::No : QMessageBox::Yes)->click();
    };
    int chosen = 0;
    SetSaveFilenameChooser([&] {
        ++chosen;
        return folder / "old";
    });
    EXPECT_EQ(AskForSaveFilename(), folder / "old.tif");
    EXPECT_EQ(chosen, 2);
    EXPECT_THAT(alerts.texts(), testing::Each("\"old.tif\" already exists.  Replace it?"));
    EXPECT_EQ(test::readFile(folder / "old.tif"), "old");
}

TEST_F(AlertTest, ASavePathThatTheShellActsOnIsRefusedByNameAndAskedForAgain) {
    const std::vector<std::pair<std::string, std::string>> names = {
        {"$(touch x)", "a dollar sign ($)"},
        {"a\"b", "a double quote (\")"},
        {"a`id`b", "a back-quote (`)"},
        {"a\\b", "a backslash (\\)"},
        {"a\nb", "a line break"}};
    for (const auto& [name, character] : names) {
        alerts.forget();
        int calls = 0;
        SetSaveFilenameChooser(
            [&, bad = name] { return ++calls == 1 ? folder / bad : folder / "good"; });
        EXPECT_EQ(AskForSaveFilename(), folder / "good.tif");
        ASSERT_EQ(alerts.texts().size(), 1U);
        EXPECT_THAT(alerts.texts().front(), testing::HasSubstr(character));
    }
}

TEST_F(AlertTest, ASavePathThatIsTooLongToQuoteIsRefusedAndAskedForAgain) {
    int calls = 0;
    SetSaveFilenameChooser([&]() -> fs::path {
        return ++calls == 1 ? fs::path("/" + std::string(longestQuotablePath, 'x'))
                            : folder / "good";
    });
    EXPECT_EQ(AskForSaveFilename(), folder / "good.tif");
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_THAT(alerts.texts().front(), testing::HasSubstr("too long"));
}

}  // namespace lumaweave
