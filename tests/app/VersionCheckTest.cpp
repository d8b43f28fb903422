// SPDX-License-Identifier: GPL-3.0-or-later

// The update check of a running program against a real web server.

#include <sys/resource.h>

#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <atomic>

#include "app/AppDelegate.h"
#include "platform/Threads.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourceCellViewController.h"
#include "stack/SharedState.h"
#include "support/FeedServer.h"
#include "support/ProgramFixture.h"
#include "support/ShownWindow.h"
#include "support/UrlOpener.h"
#include "update/FeedDownload.h"

namespace lumaweave {

using namespace test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {
constexpr auto offer = "A new version of Lumaweave is available";
}  // namespace

class VersionCheckTest : public ProgramTest {
  protected:
    // One check, and everything that follows from it.
    void check() {
        delegate->doVersionCheck();
        EXPECT_TRUE(waitForBackgroundTasks());
    }
    void checkFeed(const QByteArray& feed) {
        server.serve(feed);
        check();
    }
    // A check of a server that does not behave ends with the line in the log and nothing else.
    void expectFailedCheck() {
        const int before = log.count(failedCheckLine);
        const auto requests = server.requests().size();
        check();
        EXPECT_EQ(log.count(failedCheckLine), before + 1);
        EXPECT_THAT(alerts.texts(), IsEmpty());
        EXPECT_GT(server.requests().size(), requests) << "the server was asked";
    }

    FeedServer server;
    UrlOpener browser{"http"};
};

TEST_F(VersionCheckTest, AsksForTheFeedOnceAtLaunch) {
    delegate->applicationDidFinishLaunching();
    EXPECT_THAT(server.requests(), ElementsAre("/pano/lumaweave/files/updatedata.xml"));
    EXPECT_EQ(log.count(failedCheckLine), 0);
}

TEST_F(VersionCheckTest, WithoutAHostNothingIsAsked) {
    qputenv("LUMAWEAVE_WEB_HOST", "");
    check();
    EXPECT_THAT(server.requests(), IsEmpty());
    EXPECT_EQ(log.count(failedCheckLine), 0);
}

TEST_F(VersionCheckTest, AHigherVersionIsOffered) {
    QString text;
    QStringList buttons;
    bool plain = true;
    alerts.answer = [&](QMessageBox* box) {
        text = box->informativeText();
        for (const QAbstractButton* button : box->buttons())
            buttons << button->text().remove('&');
        for (const QLabel* label : box->findChildren<QLabel*>())
            plain = plain && label->textFormat() == Qt::PlainText;
        EXPECT_TRUE(box->isModal());
        EXPECT_EQ(box->defaultButton(), box->button(QMessageBox::Ok));
        QTest::mouseClick(box->button(QMessageBox::Ok), Qt::LeftButton);
    };
    checkFeed(updateFeed("9.10.1", "", ""));
    EXPECT_THAT(alerts.texts(), ElementsAre(offer));
    EXPECT_EQ(text, "9.10.1");
    buttons.sort();
    EXPECT_EQ(buttons, QStringList({"Get New Version", "OK"}));
    EXPECT_TRUE(plain);
    EXPECT_THAT(browser.opened, IsEmpty()) << "OK does nothing";
}

TEST_F(VersionCheckTest, GetNewVersionOpensTheProductPage) {
    alerts.answer = [](QMessageBox* box) {
        for (QAbstractButton* button : box->buttons()) {
            if (button->text() == "Get New Version") QTest::mouseClick(button, Qt::LeftButton);
        }
    };
    checkFeed(updateFeed("9", "", ""));
    EXPECT_THAT(browser.opened, ElementsAre(QUrl("http://" + server.host() + "/pano/lumaweave")));
}

TEST_F(VersionCheckTest, EscapeClosesTheOffer) {
    alerts.answer = [](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); };
    checkFeed(updateFeed("9", "", ""));
    EXPECT_THAT(alerts.texts(), ElementsAre(offer));
    EXPECT_THAT(browser.opened, IsEmpty());
}

TEST_F(VersionCheckTest, AnEqualOrALowerVersionIsNot) {
    const QByteArray running = LUMAWEAVE_PROJECT_VERSION;
    for (const QByteArray& version : {running, running + ".0", QByteArray("0.0.9"), QByteArray("0"),
                                      QByteArray(" "), QByteArray("0.01.0")})
        checkFeed(updateFeed(version, "", ""));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(log.count(failedCheckLine), 0);
    checkFeed(updateFeed(running + ".1", "", ""));
    EXPECT_THAT(alerts.texts(), ElementsAre(offer));
}

TEST_F(VersionCheckTest, WithoutAVersionElementNothingIsOffered) {
    checkFeed("<update><version>9</version><latestVersion><b>9</b></latestVersion></update>");
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(VersionCheckTest, TheVersionIsTakenAsAFormatWithoutArguments) {
    QString text;
    alerts.answer = [&text](QMessageBox* box) {
        text = box->informativeText();
        box->button(QMessageBox::Ok)->click();
    };
    checkFeed(updateFeed("9.1%% %s %n", "", ""));
    EXPECT_EQ(text, "9.1% %s %n");
}

TEST_F(VersionCheckTest, AMessageWithTheNumberOfTheLastOneShowsNothing) {
    gBestMessageNum = 5;
    checkFeed(updateFeed("", "5", "News"));
    checkFeed(updateFeed("", "4", "News"));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(gBestMessageNum, 5);
    EXPECT_FALSE(QSettings().contains("gBestMessageNum")) << "nothing is saved";
}

TEST_F(VersionCheckTest, AMessageWithAHigherNumberIsShownOnceAndItsNumberStored) {
    gBestMessageNum = 5;
    int storedWhileShown = 0;
    alerts.answer = [&storedWhileShown](QMessageBox* box) {
        storedWhileShown = QSettings().value("gBestMessageNum").toInt();
        box->button(QMessageBox::Ok)->click();
    };
    checkFeed(updateFeed("", "6", "News of today"));
    EXPECT_THAT(alerts.texts(), ElementsAre("News of today"));
    EXPECT_EQ(gBestMessageNum, 6);
    EXPECT_EQ(storedWhileShown, 6);
    EXPECT_EQ(log.count("News of today"), 1);
    check();
    EXPECT_EQ(alerts.texts().size(), 1U);
}

TEST_F(VersionCheckTest, WithoutAMessageElementNothingIsShown) {
    checkFeed(updateFeed("", "6", ""));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(gBestMessageNum, 0);
}

TEST_F(VersionCheckTest, AMessageWithoutANumberHasTheLastOne) {
    checkFeed(updateFeed("", "", "News"));
    EXPECT_THAT(alerts.texts(), IsEmpty()) << "0 at first";
    checkFeed(updateFeed("", "3", ""));
    EXPECT_EQ(delegate->messageNum(), 3);
    checkFeed(updateFeed("", "", "News"));
    EXPECT_THAT(alerts.texts(), ElementsAre("News")) << "a new document keeps the number";
}

TEST_F(VersionCheckTest, AnEmptyMessageIsOne) {
    checkFeed("<update><messageNum>1</messageNum><message/></update>");
    EXPECT_THAT(alerts.texts(), ElementsAre(""));
}

TEST_F(VersionCheckTest, AMessageInsideAnIgnoredElementIsCollected) {
    checkFeed("<a><b>x<message>News</message>y</b><c><messageNum>1</messageNum></c></a>");
    EXPECT_THAT(alerts.texts(), ElementsAre("News"));
}

TEST_F(VersionCheckTest, AMessageThatContainsAnElementIsNone) {
    checkFeed("<a><messageNum>1</messageNum><message>Old <b>and</b> new</message></a>");
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(delegate->message(), std::nullopt);
    EXPECT_EQ(gBestMessageNum, 0);
}

TEST_F(VersionCheckTest, ANumberThatContainsAnElementIsZero) {
    checkFeed("<a><messageNum>1<b/></messageNum><message>News</message></a>");
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(delegate->messageNum(), 0);
}

TEST_F(VersionCheckTest, OfSeveralMessagesAndNumbersTheLastCount) {
    checkFeed(
        "<a><messageNum>9</messageNum><message>first</message><message>last</message>"
        "<messageNum>2</messageNum></a>");
    EXPECT_THAT(alerts.texts(), ElementsAre("last"));
    EXPECT_EQ(gBestMessageNum, 2);
}

TEST_F(VersionCheckTest, AMessageInsideAMessageLeavesNone) {
    checkFeed("<a><messageNum>1</messageNum><message>outer<message>inner</message></message></a>");
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(VersionCheckTest, LeadingDigitsAreTheNumberAndALargeOneStopsAtTheLargest) {
    checkFeed(updateFeed("", "5abc", "five"));
    EXPECT_EQ(gBestMessageNum, 5);
    checkFeed(updateFeed("", "99999999999999999999", "many"));
    EXPECT_EQ(gBestMessageNum, std::numeric_limits<int>::max());
    EXPECT_THAT(alerts.texts(), ElementsAre("five", "many"));
}

TEST_F(VersionCheckTest, HtmlIsShownAsPlainText) {
    Qt::TextFormat format = Qt::AutoText;
    alerts.answer = [&format](QMessageBox* box) {
        format = box->textFormat();
        box->button(QMessageBox::Ok)->click();
    };
    checkFeed(updateFeed("", "1", "&lt;a href='http://x/'&gt;News&lt;/a&gt; &lt;img src=x&gt;"));
    EXPECT_THAT(alerts.texts(), ElementsAre("<a href='http://x/'>News</a> <img src=x>"));
    EXPECT_EQ(format, Qt::PlainText);
}

TEST_F(VersionCheckTest, AMessageLargerThanTheScreenIsCut) {
    checkFeed(updateFeed("", "1", QByteArray("news\n").repeated(10'000)));
    ASSERT_EQ(alerts.texts().size(), 1U);
    EXPECT_LT(alerts.texts().front().size(), 500U);
}

TEST_F(VersionCheckTest, TheOfferDoesNotHoldUpTheMessage) {
    qsizetype together = 0;
    alerts.answer = [&](QMessageBox* box) {
        // Answers neither before both are on the screen.
        if (alerts.texts().size() < 2) return;
        together += shownWindows<QMessageBox>().size();
        box->button(QMessageBox::Ok)->click();
        auto* below = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (below != nullptr) below->button(QMessageBox::Ok)->click();
    };
    checkFeed(updateFeed("9", "1", "News"));
    EXPECT_THAT(alerts.texts(), testing::UnorderedElementsAre("News", offer));
    EXPECT_EQ(together, 2);
}

TEST_F(VersionCheckTest, TheOfferIsShownOnTheMainThreadAndItsThreadWaitsForThePerson) {
    std::atomic<bool> returned = false;
    bool returnedWhileShown = true;
    bool shownOnMainThread = false;
    alerts.answer = [&](QMessageBox* box) {
        returnedWhileShown = returned;
        shownOnMainThread = QThread::currentThread() == qApp->thread();
        box->button(QMessageBox::Ok)->click();
    };
    performInBackground([&] {
        delegate->doVersionNotificationOnMainThread("9");
        returned = true;
    });
    EXPECT_TRUE(waitForBackgroundTasks());
    EXPECT_TRUE(returned);
    EXPECT_FALSE(returnedWhileShown);
    EXPECT_TRUE(shownOnMainThread);
}

TEST_F(VersionCheckTest, NothingIsOfferedOnceTheProgramQuits) {
    AppDelegate::stopPresentingAlerts();
    checkFeed(updateFeed("9", "1", "News"));
    EXPECT_THAT(alerts.texts(), IsEmpty());
    EXPECT_EQ(log.count("News"), 1);
}

TEST_F(VersionCheckTest, ABrokenFeedShowsNothingWhateverStandsBeforeTheBreak) {
    for (const char* end : {"", "</message>", "<", "</update", "&bomb;</update>"}) {
        server.serve(
            "<update><latestVersion>9</latestVersion><messageNum>6</messageNum>"
            "<message>News</message>" +
            QByteArray(end));
        expectFailedCheck();
    }
    EXPECT_EQ(gBestMessageNum, 0);
}

TEST_F(VersionCheckTest, AnEntityBombIsAnError) {
    server.serve("<!DOCTYPE a [<!ENTITY b '" + QByteArray(4000, 'x') +
                 "'>]><update><messageNum>1</messageNum><message>" +
                 QByteArray("&b;").repeated(10'000) + "</message></update>");
    expectFailedCheck();
}

TEST_F(VersionCheckTest, WithoutAServerTheCheckIsOneLineInTheLog) {
    std::string nobody;
    {
        const FeedServer gone;
        nobody = gone.host().toStdString();
    }
    for (const std::string& host : {nobody, std::string("not a host"), std::string("host:99999")}) {
        const int before = log.count(failedCheckLine);
        qputenv("LUMAWEAVE_WEB_HOST", host.c_str());
        check();
        EXPECT_EQ(log.count(failedCheckLine), before + 1) << host;
    }
    EXPECT_THAT(alerts.texts(), IsEmpty());
}

TEST_F(VersionCheckTest, AnErrorPageIsNoFeed) {
    for (const char* status : {"404 Not Found", "500 Internal Server Error", "401 Unauthorized"}) {
        server.answer = [status](QTcpSocket& socket, const QByteArray&) {
            socket.write(httpAnswer(status, updateFeed("9", "1", "News")));
            socket.disconnectFromHost();
        };
        expectFailedCheck();
    }
}

TEST_F(VersionCheckTest, AServerThatHangsUpIsAnError) {
    server.answer = [](QTcpSocket& socket, const QByteArray&) { socket.disconnectFromHost(); };
    expectFailedCheck();
    server.answer = [](QTcpSocket& socket, const QByteArray&) {
        socket.write("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n<update>");
        socket.disconnectFromHost();
    };
    expectFailedCheck();
}

TEST_F(VersionCheckTest, TheWaitIsAFewSeconds) {
    EXPECT_GE(longestUpdateWait, 1s);
    EXPECT_LE(longestUpdateWait, 5s);
}

TEST_F(VersionCheckTest, AServerThatNeverAnswersIsGivenUpAndTheWindowsLiveMeanwhile) {
    server.answer = [](QTcpSocket&, const QByteArray&) {};
    delegate->setLongestUpdateWait(500ms);
    QCheckBox* box = windows->settingsPanel()->hardMaskButton();
    const bool before = box->isChecked();
    bool clicked = false;
    bool checking = true;
    whenTrue([this] { return !server.requests().empty(); },
             [&] {
                 EXPECT_TRUE(checking);
                 QTest::mouseClick(box, Qt::LeftButton, {}, {8, 8});
                 clicked = true;
             });
    expectFailedCheck();
    checking = false;
    EXPECT_TRUE(waitUntil([&clicked] { return clicked; }));
    EXPECT_NE(box->isChecked(), before);
}

// Each byte comes in time, but they never end.
TEST_F(VersionCheckTest, AServerThatTricklesIsGivenUp) {
    for (const char* start : {"", "HTTP/1.1 200 OK\r\n\r\n<update>"}) {
        server.answer = [start](QTcpSocket& socket, const QByteArray&) {
            socket.write(start);
            auto* trickle = new QTimer(&socket);
            QObject::connect(trickle, &QTimer::timeout, &socket, [&socket] { socket.write("x"); });
            trickle->start(10);
        };
        delegate->setLongestUpdateWait(500ms);
        expectFailedCheck();
    }
}

TEST_F(VersionCheckTest, ARedirectIsFollowed) {
    server.answer = [this](QTcpSocket& socket, const QByteArray& path) {
        socket.write(path == "/moved" ? httpAnswer("200 OK", updateFeed("", "1", "News"))
                                      : httpAnswer("302 Found", "",
                                                   "Location: http://" + server.host().toLatin1() +
                                                       "/moved\r\n"));
    };
    check();
    EXPECT_THAT(alerts.texts(), ElementsAre("News"));
}

TEST_F(VersionCheckTest, EndlessRedirectsAreGivenUp) {
    server.answer = [](QTcpSocket& socket, const QByteArray& path) {
        socket.write(httpAnswer("302 Found", "", "Location: " + path + "x\r\n"));
    };
    expectFailedCheck();
    EXPECT_LE(server.requests().size(), 10U);
}

TEST_F(VersionCheckTest, ARedirectToAFileIsNotFollowed) {
    const auto file = folder.write("feed.xml", updateFeed("9", "1", "from the disk").toStdString());
    server.answer = [&file](QTcpSocket& socket, const QByteArray&) {
        socket.write(
            httpAnswer("302 Found", "", "Location: file://" + QByteArray(file.c_str()) + "\r\n"));
    };
    expectFailedCheck();
}

TEST_F(VersionCheckTest, ARedirectMayLeadToASecureServerButNotToNowhere) {
    server.answer = [this](QTcpSocket& socket, const QByteArray&) {
        socket.write(httpAnswer("301 Moved Permanently", "",
                                "Location: https://" + server.host().toLatin1() + "/feed\r\n"));
    };
    delegate->setLongestUpdateWait(500ms);
    expectFailedCheck();
    EXPECT_EQ(server.callers(), 2) << "this one does not know the secure protocol";
    server.answer = [](QTcpSocket& socket, const QByteArray&) {
        socket.write(httpAnswer("302 Found", ""));
    };
    expectFailedCheck();
}

// Sends as much as the other side takes, up to 100 MB, and counts it.
class Flood {
  public:
    explicit Flood(QByteArray start) : start_(std::move(start)) {}

    void operator()(QTcpSocket& socket) {
        sent = 0;
        socket.write(start_);
        QObject::connect(&socket, &QTcpSocket::bytesWritten, &socket,
                         [this, &socket](qint64 count) {
                             sent += count;
                             if (sent < whole && socket.bytesToWrite() == 0) socket.write(chunk_);
                         });
    }

    static constexpr qint64 whole = 100'000'000;
    qint64 sent = 0;

  private:
    QByteArray start_;
    QByteArray chunk_ = QByteArray(256 * 1024, 'x');
};

long peakMemoryInMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

TEST_F(VersionCheckTest, AFeedOf100MegabytesIsNotTaken) {
    const long before = peakMemoryInMegabytes();
    for (const char* length : {"Content-Length: 100000000\r\n", "Connection: close\r\n"}) {
        Flood flood("HTTP/1.1 200 OK\r\n" + QByteArray(length) + "\r\n<update><message>");
        server.answer = [&flood](QTcpSocket& socket, const QByteArray&) { flood(socket); };
        expectFailedCheck();
        EXPECT_TRUE(waitUntil([this] { return server.connections() == 0; }));
        EXPECT_LT(flood.sent, Flood::whole / 4) << "what the system's socket buffers hold";
    }
    EXPECT_LT(peakMemoryInMegabytes() - before, 60);
}

TEST_F(VersionCheckTest, AFeedBeyondTheLimitIsNotTakenAndOneUpToItIs) {
    const QByteArray feed = updateFeed("", "1", "News");
    const auto padded = [&feed](qsizetype size) {
        return feed + QByteArray(size - feed.size(), ' ');
    };
    server.serve(padded(largestFeed + 1));
    expectFailedCheck();
    checkFeed(padded(largestFeed));
    EXPECT_THAT(alerts.texts(), ElementsAre("News"));
}

TEST_F(VersionCheckTest, HeadersWithoutEndAreGivenUp) {
    Flood flood("HTTP/1.1 200 OK\r\nX: ");
    server.answer = [&flood](QTcpSocket& socket, const QByteArray&) { flood(socket); };
    delegate->setLongestUpdateWait(1s);
    const long before = peakMemoryInMegabytes();
    expectFailedCheck();
    EXPECT_TRUE(waitUntil([this] { return server.connections() == 0; }));
    EXPECT_LT(flood.sent, Flood::whole / 4);
    EXPECT_LT(peakMemoryInMegabytes() - before, 60);
}

TEST_F(VersionCheckTest, AnAnswerWhoseLengthIsNoLengthIsNone) {
    for (const char* length : {"-1", "999999999999999999999", "1000"}) {
        server.answer = [length](QTcpSocket& socket, const QByteArray&) {
            socket.write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray(length) + "\r\n\r\n" +
                         updateFeed("", "1", "News"));
            socket.disconnectFromHost();
        };
        expectFailedCheck();
    }
}

TEST_F(VersionCheckTest, AnAnswerWithoutALengthEndsWithItsConnection) {
    server.answer = [](QTcpSocket& socket, const QByteArray&) {
        socket.write("HTTP/1.0 200 OK\r\n\r\n" + updateFeed("", "1", "News"));
        socket.disconnectFromHost();
    };
    check();
    EXPECT_THAT(alerts.texts(), ElementsAre("News"));
}

TEST_F(VersionCheckTest, AnAnswerWithALengthIsTakenAlthoughTheConnectionStaysOpen) {
    server.answer = [](QTcpSocket& socket, const QByteArray&) {
        socket.write(httpAnswer("200 OK", updateFeed("", "1", "News")) + "more");
    };
    check();
    EXPECT_THAT(alerts.texts(), ElementsAre("News"));
}

TEST_F(VersionCheckTest, WhatIsNoHttpIsAnError) {
    for (const char* words : {"SSH-2.0-OpenSSH_9\r\n\r\n", "\r\n\r\n", "HTTP/1.1\r\n\r\n",
                              "200 OK\r\n\r\n", "HTTP/1.1 2000 OK\r\n\r\n"}) {
        server.answer = [words](QTcpSocket& socket, const QByteArray&) {
            socket.write(words + updateFeed("9", "1", "News"));
            socket.disconnectFromHost();
        };
        expectFailedCheck();
    }
}

// A slow server keeps nobody from opening pictures.
TEST_F(VersionCheckTest, ShotsAreLoadedWhileTheServerIsWaitedFor) {
    QPointer<QTcpSocket> waiting;
    server.answer = [&waiting](QTcpSocket& socket, const QByteArray&) { waiting = &socket; };
    delegate->setLongestUpdateWait(100s);
    whenTrue([&waiting] { return waiting != nullptr; },
             [this] { windows->openFiles(makeBracket(folder.path(), 90, 60, 2)); });
    whenTrue([] { return gNumSourceImages == 2; },
             [&waiting] {
                 ASSERT_NE(waiting, nullptr);
                 waiting->write(httpAnswer("200 OK", updateFeed("", "1", "News")));
             });
    check();
    EXPECT_EQ(log.count(failedCheckLine), 0);
    EXPECT_EQ(gNumSourceImages, 2);
    EXPECT_THAT(alerts.texts(), ElementsAre("News"));
}

}  // namespace lumaweave
