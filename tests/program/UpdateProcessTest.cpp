// SPDX-License-Identifier: GPL-3.0-or-later

// The update check as the user meets it: the real program, started anew each time.

#include <gmock/gmock.h>

#include <QSettings>
#include <filesystem>

#include "support/FeedServer.h"
#include "support/Pictures.h"
#include "support/Program.h"
#include "support/TestFolder.h"
#include "support/Waiting.h"

namespace lumaweave {

namespace fs = std::filesystem;
using namespace test;
using testing::HasSubstr;
using testing::Not;

namespace {
constexpr auto offer = "alert \"A new version of Lumaweave is available\" \"99.1\"";
}  // namespace

class UpdateProcessTest : public testing::Test {
  protected:
    void neverAnswer() {
        server.answer = [](QTcpSocket&, const QByteArray&) {};
    }
    // Waits until the program asks the server.
    bool waitForRequest() {
        return waitUntil([this] { return !server.requests().empty(); });
    }

    const TestFolder folder;
    FeedServer server;
};

TEST_F(UpdateProcessTest, AMessageIsShownOnceOverTwoStarts) {
    server.serve(updateFeed("", "6", "News of today"));
    {
        Program first({}, environmentWithPerson());
        ASSERT_TRUE(first.waitForOutput("alert \"News of today\""));
        first.tell("press OK");
        ASSERT_TRUE(first.waitForOutput("\nNews of today\n")) << "the line in the log";
        first.tell("close");
        EXPECT_TRUE(first.waitForEnd());
    }
    EXPECT_EQ(QSettings().value("gBestMessageNum").toInt(), 6);
    // The offer says when the second start has read its feed: a message would come before it.
    server.serve(updateFeed("99.1", "6", "News of today"));
    {
        Program second({}, environmentWithPerson());
        ASSERT_TRUE(second.waitForOutput(offer));
        EXPECT_THAT(second.output(), Not(HasSubstr("News of today")));
        second.tell("press OK");
        second.tell("close");
        EXPECT_TRUE(second.waitForEnd());
        EXPECT_THAT(second.output(), Not(HasSubstr("News of today")));
    }
    server.serve(updateFeed("", "7", "News of tomorrow"));
    Program third({}, environmentWithPerson());
    EXPECT_TRUE(third.waitForOutput("alert \"News of tomorrow\""));
}

TEST_F(UpdateProcessTest, GetNewVersionOpensTheProductPageInTheBrowser) {
    writeScript(folder / "xdg-open", "echo \"$1\" > '" + (folder / "page").native() +
                                         ".part'\nmv '" + (folder / "page").native() + ".part' '" +
                                         (folder / "page").native() + "'\n");
    QProcessEnvironment environment = environmentWithPerson();
    putOnPath(environment, folder.path());
    server.serve(updateFeed("99.1", "", ""));
    Program program({}, environment);
    ASSERT_TRUE(program.waitForOutput(offer));
    program.tell("press Get New Version");
    ASSERT_TRUE(waitUntil([this] { return fs::exists(folder / "page"); }));
    EXPECT_EQ(readFile(folder / "page"),
              "http://" + server.host().toStdString() + "/pano/lumaweave\n");
    program.tell("close");
    EXPECT_TRUE(program.waitForEnd());
}

TEST_F(UpdateProcessTest, TheWindowsArePaintedBeforeTheServerIsAsked) {
    neverAnswer();
    Program program({}, environmentWithPerson());
    ASSERT_TRUE(waitForRequest());
    EXPECT_THAT(program.output(), HasSubstr(windowPainted));
    // Only the program's own bound ends the wait.
    ASSERT_TRUE(program.waitForOutput(failedCheckLine));
    program.tell("close");
    EXPECT_TRUE(program.waitForEnd());
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_THAT(program.output(), Not(HasSubstr("alert")));
}

TEST_F(UpdateProcessTest, FilesOnTheCommandLineAreOpenedWhateverTheServerDoes) {
    neverAnswer();
    Program program(makeBracket(folder.path(), 120, 80, 2), environmentWithPerson());
    EXPECT_TRUE(program.waitForOutput("Creating Detail Images..."));
    EXPECT_TRUE(program.waitForOutput(failedCheckLine));
}

// An unreadable file's alert is shown although the check has not ended.
TEST_F(UpdateProcessTest, AlertsAboutFilesOnTheCommandLineAreShownDuringTheWait) {
    neverAnswer();
    Program program({folder.write("words.jpg", "words")}, environmentWithPerson());
    EXPECT_TRUE(program.waitForOutput("person: alert"));
}

TEST_F(UpdateProcessTest, ClosingTheWindowDuringTheWaitEndsTheProgram) {
    neverAnswer();
    Program program({}, environmentWithPerson());
    ASSERT_TRUE(waitForRequest());
    program.tell("close");
    EXPECT_TRUE(program.waitForEnd());
}

TEST_F(UpdateProcessTest, BeingAskedToEndDuringTheWaitEndsTheProgram) {
    neverAnswer();
    Program program({}, environmentWithPerson());
    ASSERT_TRUE(waitForRequest());
    program.process().terminate();
    EXPECT_TRUE(program.waitForEnd());
}

TEST_F(UpdateProcessTest, BeingAskedToEndWhileTheOfferIsUpEndsTheProgramAndOpensNothing) {
    server.serve(updateFeed("99.1", "", ""));
    Program program({}, environmentWithPerson());
    ASSERT_TRUE(program.waitForOutput(offer));
    program.process().terminate();
    EXPECT_TRUE(program.waitForEnd());
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(UpdateProcessTest, BeingAskedToEndWhileBothAlertsAreUpEndsTheProgram) {
    server.serve(updateFeed("99.1", "6", "News of today"));
    Program program({}, environmentWithPerson());
    ASSERT_TRUE(program.waitForOutput(offer));
    ASSERT_TRUE(program.waitForOutput("alert \"News of today\""));
    program.process().terminate();
    EXPECT_TRUE(program.waitForEnd());
}

TEST_F(UpdateProcessTest, WithoutAHostTheProgramAsksNobody) {
    QProcessEnvironment environment = environmentWithPerson();
    environment.insert("LUMAWEAVE_WEB_HOST", "");
    Program program(makeBracket(folder.path(), 120, 80, 2), environment);
    EXPECT_TRUE(program.waitForOutput("Creating Detail Images..."));
    EXPECT_TRUE(server.requests().empty());
    EXPECT_THAT(program.output(), Not(HasSubstr(failedCheckLine)));
}

}  // namespace lumaweave
