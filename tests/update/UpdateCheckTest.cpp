// SPDX-License-Identifier: GPL-3.0-or-later
#include "update/UpdateCheck.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "support/FeedServer.h"

namespace lumaweave {

using testing::ElementsAre;

TEST(CompareVersions, MissingPartsCountAsZero) {
    EXPECT_EQ(CompareVersions("1.2", "1.2.0"), 0);
    EXPECT_EQ(CompareVersions("1.2.0.0", "1.2"), 0);
    EXPECT_EQ(CompareVersions("1.2", "1.2.1"), -1);
    EXPECT_EQ(CompareVersions("1.2.1", "1.2"), 1);
}

TEST(CompareVersions, TenIsAboveNine) {
    EXPECT_EQ(CompareVersions("1.10", "1.9"), 1);
    EXPECT_EQ(CompareVersions("1.9", "1.10"), -1);
}

TEST(CompareVersions, TheFirstDifferenceDecides) {
    EXPECT_EQ(CompareVersions("1.2", "1.3.1"), -1);
    EXPECT_EQ(CompareVersions("2.0", "1.99.99"), 1);
}

TEST(CompareVersions, LeadingZerosDoNotCount) {
    EXPECT_EQ(CompareVersions("1.01", "1.1"), 0);
    EXPECT_EQ(CompareVersions("1.0", "1.000"), 0);
    EXPECT_EQ(CompareVersions("1.010", "1.9"), 1);
}

TEST(CompareVersions, PartsOfAnyLengthAreComparedByTheirValue) {
    const QString nines(5000, '9');
    const QString one = "1" + QString(5000, '0');
    EXPECT_EQ(CompareVersions("1." + nines, "1." + one), -1);
    EXPECT_EQ(CompareVersions("1." + one, "1." + nines), 1);
    EXPECT_EQ(CompareVersions(one, QString(100, '0') + one), 0);
    EXPECT_EQ(CompareVersions("18446744073709551616", "0"), 1) << "2 to the 64";
}

TEST(CompareVersions, LettersAreComparedAsTextAndDigitsAmongThemByValue) {
    EXPECT_EQ(CompareVersions("1.2b", "1.2a"), 1);
    EXPECT_EQ(CompareVersions("1.b10", "1.b9"), 1);
    EXPECT_EQ(CompareVersions("1.2", "1.2b"), -1);
    EXPECT_EQ(CompareVersions("1.2b", "1.2b"), 0);
    EXPECT_EQ(CompareVersions("1.x", "1.9"), 1);
    EXPECT_EQ(CompareVersions("1.9", "1.x"), -1);
}

TEST(CompareVersions, EmptyPartsAndEmptyVersionsAreCompared) {
    EXPECT_EQ(CompareVersions("", ""), 0);
    EXPECT_EQ(CompareVersions("", "0.1"), -1);
    EXPECT_EQ(CompareVersions("1..2", "1..2"), 0);
    EXPECT_EQ(CompareVersions("1.", "1.0"), -1) << "nothing is below a digit";
}

TEST(LeadingInteger, TakesTheDigitsThatTheTextBeginsWith) {
    EXPECT_EQ(leadingInteger("5"), 5);
    EXPECT_EQ(leadingInteger("5abc"), 5);
    EXPECT_EQ(leadingInteger("12.7"), 12);
    EXPECT_EQ(leadingInteger("007"), 7);
    EXPECT_EQ(leadingInteger("\n  6\n"), 6);
}

TEST(LeadingInteger, IsZeroWithoutDigits) {
    for (const char* text : {"", " ", "abc5", "-5", "+5", "٥"})
        EXPECT_EQ(leadingInteger(text), 0) << text;
}

TEST(LeadingInteger, StopsAtTheLargestInt) {
    constexpr int largest = std::numeric_limits<int>::max();
    EXPECT_EQ(leadingInteger("2147483646"), largest - 1);
    EXPECT_EQ(leadingInteger("2147483647"), largest);
    EXPECT_EQ(leadingInteger("2147483648"), largest);
    EXPECT_EQ(leadingInteger("4294967297"), largest);
    EXPECT_EQ(leadingInteger(QString(10'000, '9')), largest);
}

TEST(ShortenedForAlert, KeepsWhatFitsTheScreen) {
    for (const QString& text :
         {QString(), QString("News\nof today\n"), QString(2000, 'x'), QString("x\n").repeated(29)})
        EXPECT_EQ(shortenedForAlert(text), text);
}

TEST(ShortenedForAlert, CutsWhatDoesNot) {
    EXPECT_EQ(shortenedForAlert(QString(2001, 'x')), QString(2000, 'x') + "…");
    const QString lines = shortenedForAlert(QString("\n").repeated(60'000));
    EXPECT_EQ(lines, QString("\n").repeated(29) + "…");
    const QString pairs = shortenedForAlert("x" + QString("😀").repeated(2000));
    EXPECT_TRUE(pairs.isValidUtf16()) << "no character is cut in two";
}

TEST(WebHost, IsTheOneOfTheEnvironmentEvenAnEmptyOneElseTheOneBuiltIn) {
    qputenv("LUMAWEAVE_WEB_HOST", " example.org:8080 ");
    EXPECT_EQ(webHost(), "example.org:8080");
    qputenv("LUMAWEAVE_WEB_HOST", "");
    EXPECT_EQ(webHost(), "");
    qunsetenv("LUMAWEAVE_WEB_HOST");
    EXPECT_EQ(webHost(), LUMAWEAVE_BUILT_IN_WEB_HOST);
}

TEST(UpdateUrls, LieOnTheHostOverPlainHttp) {
    EXPECT_EQ(updateFeedUrl("example.org"),
              QUrl("http://example.org/pano/lumaweave/files/updatedata.xml"));
    EXPECT_EQ(updateFeedUrl("localhost:8080"),
              QUrl("http://localhost:8080/pano/lumaweave/files/updatedata.xml"));
    EXPECT_EQ(updateFeedUrl("[::1]:8080"),
              QUrl("http://[::1]:8080/pano/lumaweave/files/updatedata.xml"));
    EXPECT_EQ(productPageUrl("example.org:81"), QUrl("http://example.org:81/pano/lumaweave"));
}

TEST(UpdateUrls, AHostThatIsNoneGivesNoAddress) {
    for (const char* host : {"", "a b", "http://example.org", "example.org/x", "me:secret@host",
                             "host:port", "host:99999", "host?x", "host#x", ":80"})
        EXPECT_FALSE(updateFeedUrl(host).isValid()) << host;
}

// Writes down what it is told.
class Listener : public FeedParserDelegate {
  public:
    void didStartDocument() override { events.emplace_back("start"); }
    void didStartElement(const QString& name) override { add("<", name); }
    void foundCharacters(const QString& characters) override { add("", characters); }
    void didEndElement(const QString& name) override {
        add("/", name);
        if (name == abortAt) parser->abortParsing();
    }
    void parseErrorOccurred(FeedParser&) override { events.emplace_back("error"); }
    void didEndDocument() override { events.emplace_back("end"); }

    std::vector<std::string> events;
    QString abortAt;
    FeedParser* parser = nullptr;

  private:
    void add(const std::string& what, const QString& text) {
        events.push_back(what + text.toStdString());
    }
};

std::vector<std::string> eventsOf(const QByteArray& feed) {
    Listener listener;
    FeedParser parser(feed);
    const bool parsed = parser.parse(listener);
    EXPECT_EQ(parsed, listener.events != std::vector<std::string>{"error"});
    return listener.events;
}

TEST(FeedParser, TellsTheFeedInItsOrder) {
    EXPECT_THAT(eventsOf("<?xml version='1.0'?><a><b>text</b></a>"),
                ElementsAre("start", "<a", "<b", "text", "/b", "/a", "end"));
}

TEST(FeedParser, NamesAreTheQualifiedOnesAndPrefixesNeedNoNamespace) {
    EXPECT_THAT(eventsOf("<a><x:message>t</x:message></a>"),
                ElementsAre("start", "<a", "<x:message", "t", "/x:message", "/a", "end"));
}

TEST(FeedParser, CommentsAndInstructionsAreNoTextAndEscapesAre) {
    EXPECT_THAT(eventsOf("<a><!--no--><?no no?>&lt;b&gt;&#228;<![CDATA[<c>]]></a>"),
                ElementsAre("start", "<a", "<b>ä", "<c>", "/a", "end"));
}

TEST(FeedParser, ReadsOtherEncodings) {
    EXPECT_THAT(eventsOf("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe4</a>"),
                ElementsAre("start", "<a", "ä", "/a", "end"));
    const QString text = "\ufeff<a>ä</a>";
    const QByteArray wide(reinterpret_cast<const char*>(text.utf16()), 2 * text.size());
    EXPECT_THAT(eventsOf(wide), ElementsAre("start", "<a", "ä", "/a", "end"));
}

TEST(FeedParser, ADocumentThatIsNotWellFormedGivesTheErrorAlone) {
    const std::string whole = test::updateFeed("9.9", "6", "News").toStdString();
    std::vector<std::string> broken = {"",
                                       "words",
                                       "<a>",
                                       "<a></b>",
                                       "<a/><b/>",
                                       "<a>&undeclared;</a>",
                                       "<html><br></html>",
                                       std::string("<a>\0</a>", 8),
                                       "<a>\xff\xfe</a>",
                                       std::string(60'000, '<')};
    for (std::size_t length = 0; length + 2 < whole.size(); ++length)
        broken.push_back(whole.substr(0, length));
    for (const std::string& document : broken)
        EXPECT_THAT(eventsOf(QByteArray::fromStdString(document)), ElementsAre("error"))
            << document;
}

TEST(FeedParser, DeeplyNestedElementsAreRead) {
    const QByteArray deep =
        QByteArray("<a>").repeated(9000) + "<b>t</b>" + QByteArray("</a>").repeated(9000);
    EXPECT_EQ(eventsOf(deep).size(), 18'005U);
}

// A few hundred bytes that stand for gigabytes.
TEST(FeedParser, AnEntityBombIsRefused) {
    QByteArray bomb = "<!DOCTYPE a [<!ENTITY e0 'haha'>";
    for (int i = 1; i < 30; ++i) {
        bomb += "<!ENTITY e" + QByteArray::number(i) + " '" +
                QByteArray("&e" + QByteArray::number(i - 1) + ";").repeated(10) + "'>";
    }
    EXPECT_THAT(eventsOf(bomb + "]><message>&e29;</message>"), ElementsAre("error"));
    EXPECT_THAT(eventsOf(bomb + "]><message x='&e29;'>t</message>"), ElementsAre("error"));
}

// No entity nests here: one long text, named thousands of times.
TEST(FeedParser, AnEntityThatIsRepeatedIsRefused) {
    const QByteArray bomb = "<!DOCTYPE a [<!ENTITY e '" + QByteArray(4000, 'x') + "'>]><message>" +
                            QByteArray("&e;").repeated(10'000) + "</message>";
    EXPECT_THAT(eventsOf(bomb), ElementsAre("error"));
}

TEST(FeedParser, EntitiesThatNameThemselvesAreRefused) {
    EXPECT_THAT(eventsOf("<!DOCTYPE a [<!ENTITY b '&c;'><!ENTITY c '&b;'>]><a>&b;</a>"),
                ElementsAre("error"));
    EXPECT_THAT(eventsOf("<!DOCTYPE a [<!ENTITY % b '<!ENTITY c \"x\">'> %b; %b;]><a>&c;</a>"),
                ElementsAre("error"));
}

TEST(FeedParser, ExternalEntitiesAreNotRead) {
    EXPECT_THAT(eventsOf("<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/hostname'>]><a>&e;</a>"),
                ElementsAre("error"));
    EXPECT_THAT(eventsOf("<!DOCTYPE a SYSTEM 'file:///etc/hostname'><a>t</a>"),
                ElementsAre("start", "<a", "t", "/a", "end"));
}

TEST(FeedParser, AnAbortedParseTellsNothingMore) {
    Listener listener;
    FeedParser parser("<a><b/><c/></a>");
    listener.parser = &parser;
    listener.abortAt = "b";
    EXPECT_FALSE(parser.parse(listener));
    EXPECT_THAT(listener.events, ElementsAre("start", "<a", "<b", "/b"));
}

}  // namespace lumaweave
