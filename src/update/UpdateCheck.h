// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <chrono>
#include <utility>

namespace lumaweave {

// What the update check is made of: where it asks, how long it waits, the feed's parser and the
// ordering of versions. AppDelegate puts them and the download (FeedDownload.h) together.

// The web server to ask, as "host" or "host:port": LUMAWEAVE_WEB_HOST of the environment when that
// is set (empty too), else the one that the program was built with. Empty: no check is made.
[[nodiscard]] QString webHost();
// Addresses on that host; invalid when it is no host.
[[nodiscard]] QUrl updateFeedUrl(const QString& host);
[[nodiscard]] QUrl productPageUrl(const QString& host);

// How long start-up may wait for the server.
inline constexpr std::chrono::milliseconds longestUpdateWait{4000};

class FeedParser;

// Receives what stands in a feed, in document order.
class FeedParserDelegate {
  public:
    virtual void didStartDocument() = 0;
    virtual void didStartElement(const QString& name) = 0;
    // A piece of the innermost element's text; one text may come in several.
    virtual void foundCharacters(const QString& characters) = 0;
    virtual void didEndElement(const QString& name) = 0;
    virtual void parseErrorOccurred(FeedParser& parser) = 0;
    virtual void didEndDocument() = 0;

  protected:
    ~FeedParserDelegate() = default;
};

// Parses a feed (XML; with qualified names, without looking at namespaces). A feed that is not
// well-formed, or that declares entities, yields the error alone: a broken feed leads to no alert,
// whatever stands before the break. It reads nothing outside the document.
class FeedParser {
  public:
    explicit FeedParser(QByteArray feed) : feed_(std::move(feed)) {}

    // False when there was an error, or the delegate has aborted.
    [[nodiscard]] bool parse(FeedParserDelegate& delegate);
    // No further event follows.
    void abortParsing() { aborted_ = true; }

  private:
    QByteArray feed_;
    bool aborted_ = false;
};

// Compares dotted versions part by part, missing parts counting as 0 and digits by their value
// ("1.10" is above "1.9", "1.01" equals "1.1"; parts may be long or hold letters): -1 when a is
// lower, 0 when they are equal, 1 when a is higher.
[[nodiscard]] int CompareVersions(const QString& a, const QString& b);

// The value of the decimal digits that the text begins with (after white space), 0 without any, and
// the largest int when it does not fit.
[[nodiscard]] int leadingInteger(const QString& text);

// A text from the feed as an alert shows it: shortened where it would not fit the screen.
[[nodiscard]] QString shortenedForAlert(const QString& text);

}  // namespace lumaweave
