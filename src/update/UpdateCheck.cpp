// SPDX-License-Identifier: GPL-3.0-or-later
#include "update/UpdateCheck.h"

#include <QStringList>
#include <QXmlStreamReader>
#include <algorithm>
#include <limits>

namespace lumaweave {

namespace {

constexpr auto hostVariable = "LUMAWEAVE_WEB_HOST";
constexpr auto feedPath = "/pano/lumaweave/files/updatedata.xml";
constexpr auto productPagePath = "/pano/lumaweave";

// Takes only a host and a port: no path, no password, no second address.
QUrl pageOn(const QString& host, const char* path) {
    QUrl url("http://" + host + path, QUrl::StrictMode);
    const bool onlyHost = url.path() == path && url.userInfo().isEmpty() && !url.hasQuery() &&
                          !url.hasFragment() && !url.host().isEmpty();
    return onlyHost ? url : QUrl();
}

}  // namespace

QString webHost() {
    if (qEnvironmentVariableIsSet(hostVariable)) {
        return qEnvironmentVariable(hostVariable).trimmed();
    }
    return LUMAWEAVE_WEB_HOST;
}

QUrl updateFeedUrl(const QString& host) {
    return pageOn(host, feedPath);
}

QUrl productPageUrl(const QString& host) {
    return pageOn(host, productPagePath);
}

namespace {

// Whether the delegate may get the feed. Only entities make a small document a large one, and a
// feed needs none.
bool isSound(const QByteArray& feed) {
    QXmlStreamReader reader(feed);
    reader.setNamespaceProcessing(false);
    while (!reader.atEnd()) {
        const auto token = reader.readNext();
        if (token == QXmlStreamReader::DTD && !reader.entityDeclarations().isEmpty()) return false;
    }
    return !reader.hasError();
}

void tell(const QXmlStreamReader& reader, FeedParserDelegate& delegate) {
    switch (reader.tokenType()) {
        case QXmlStreamReader::StartDocument:
            delegate.didStartDocument();
            break;
        case QXmlStreamReader::StartElement:
            delegate.didStartElement(reader.qualifiedName().toString());
            break;
        case QXmlStreamReader::Characters:
            delegate.foundCharacters(reader.text().toString());
            break;
        case QXmlStreamReader::EndElement:
            delegate.didEndElement(reader.qualifiedName().toString());
            break;
        case QXmlStreamReader::EndDocument:
            delegate.didEndDocument();
            break;
        default:
            break;
    }
}

}  // namespace

bool FeedParser::parse(FeedParserDelegate& delegate) {
    if (!isSound(feed_)) {
        delegate.parseErrorOccurred(*this);
        return false;
    }
    QXmlStreamReader reader(feed_);
    reader.setNamespaceProcessing(false);
    while (!aborted_ && !reader.atEnd()) {
        reader.readNext();
        tell(reader, delegate);
    }
    return !aborted_;
}

namespace {

bool isDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

// Cuts the leading digits off the text, and returns them without leading zeros: of two such runs,
// the longer one is the larger number, however long they are.
QStringView takeDigits(QStringView& text) {
    const auto* end = std::find_if_not(text.begin(), text.end(), isDigit);
    QStringView digits = text.first(end - text.begin());
    text = text.sliced(digits.size());
    while (digits.startsWith(u'0'))
        digits = digits.sliced(1);
    return digits;
}

template <typename Value>
int order(const Value& a, const Value& b) {
    if (a == b) return 0;
    return a < b ? -1 : 1;
}

int compareParts(QStringView a, QStringView b) {
    while (!a.isEmpty() && !b.isEmpty()) {
        int result = 0;
        if (isDigit(a.front()) && isDigit(b.front())) {
            const QStringView left = takeDigits(a);
            const QStringView right = takeDigits(b);
            result = order(left.size(), right.size());
            if (result == 0) result = order(left, right);
        } else {
            result = order(a.front(), b.front());
            a = a.sliced(1);
            b = b.sliced(1);
        }
        if (result != 0) return result;
    }
    return order(a.size(), b.size());
}

}  // namespace

int CompareVersions(const QString& a, const QString& b) {
    QStringList left = a.split(u'.');
    QStringList right = b.split(u'.');
    while (left.size() < right.size())
        left << "0";
    while (right.size() < left.size())
        right << "0";
    for (qsizetype i = 0; i < left.size(); ++i) {
        const int result = compareParts(left[i], right[i]);
        if (result != 0) return result;
    }
    return 0;
}

int leadingInteger(const QString& text) {
    constexpr int largest = std::numeric_limits<int>::max();
    int value = 0;
    for (const QChar c : QStringView(text).trimmed()) {
        if (!isDigit(c)) break;
        const int digit = c.unicode() - u'0';
        if (value > (largest - digit) / 10) return largest;
        value = 10 * value + digit;
    }
    return value;
}

QString shortenedForAlert(const QString& text) {
    constexpr qsizetype mostCharacters = 2000;
    constexpr qsizetype mostLines = 30;
    qsizetype end = std::min(text.size(), mostCharacters);
    qsizetype lineEnd = -1;
    for (qsizetype line = 0; line < mostLines; ++line) {
        lineEnd = text.indexOf(u'\n', lineEnd + 1);
        if (lineEnd < 0) break;
    }
    if (lineEnd >= 0) end = std::min(end, lineEnd);
    if (end == text.size()) return text;
    if (text[end - 1].isHighSurrogate()) --end;
    return text.first(end) + u'…';
}

}  // namespace lumaweave
