// SPDX-License-Identifier: GPL-3.0-or-later
#include "update/FeedDownload.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QSslSocket>
#include <QTimer>
#include <memory>

namespace lumaweave {

// Uses a plain socket rather than QNetworkAccessManager: that one reads headers without a limit, on
// a thread of its own, and its destructor waits for that thread, for seconds.

namespace {

constexpr qsizetype largestHead = 16 * 1024;
constexpr auto headEnd = "\r\n\r\n";
constexpr qsizetype headEndLength = 4;

struct Answer {
    int status = 0;
    QByteArray location;
    std::optional<qint64> length;  // of the body, where the server names it
    QByteArray body;
};

// What has come so far; none until the head is complete.
std::optional<Answer> parseAnswer(const QByteArray& received) {
    const qsizetype end = received.indexOf(headEnd);
    if (end < 0) return std::nullopt;
    Answer answer;
    answer.body = received.sliced(end + headEndLength);
    const QList<QByteArray> lines = received.first(end).split('\n');
    if (lines.front().startsWith("HTTP/"))
        answer.status = lines.front().split(' ').value(1).toInt();
    for (const QByteArray& line : lines) {
        const qsizetype colon = line.indexOf(':');
        if (colon < 0) continue;
        const QByteArray name = line.first(colon).toLower();
        const QByteArray value = line.sliced(colon + 1).trimmed();
        if (name == "location") answer.location = value;
        if (name == "content-length") answer.length = value.toLongLong();
    }
    return answer;
}

// Whether to wait no longer: the body is there, or is longer than it may be.
bool isDecided(const QByteArray& received) {
    if (received.size() > largestHead + largestFeed) return true;
    const auto answer = parseAnswer(received);
    if (!answer) return received.size() > largestHead;
    return answer->length &&
           (*answer->length > largestFeed || answer->body.size() >= *answer->length);
}

// HTTP 1.0: no server then sends the body in pieces, and most close when they have sent it.
QByteArray requestFor(const QUrl& url) {
    const QByteArray target =
        url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment);
    const QByteArray host = url.authority(QUrl::FullyEncoded).section('@', -1).toLatin1();
    return "GET " + (target.startsWith('/') ? target : '/' + target) +
           " HTTP/1.0\r\nHost: " + host + "\r\nUser-Agent: Lumaweave/" +
           QCoreApplication::applicationVersion().toLatin1() + "\r\nConnection: close\r\n\r\n";
}

// Sends one request, and returns what comes until that is decided or the server closes; none past
// the deadline, or when the program quits.
std::optional<QByteArray> receiveFrom(const QUrl& url, const QDeadlineTimer& deadline) {
    const bool secure = url.scheme() == "https";
    auto* sslSocket = secure ? new QSslSocket : nullptr;
    const std::unique_ptr<QTcpSocket> socket(secure ? sslSocket : new QTcpSocket);
    socket->setReadBufferSize(largestHead + largestFeed + 1);
    QByteArray received;
    QEventLoop wait;
    bool ended = false;
    bool late = false;
    constexpr int ours = 1;
    const auto end = [&wait, &ended] {
        ended = true;
        wait.exit(ours);
    };
    const auto ask = [&socket, &url] { socket->write(requestFor(url)); };
    QObject::connect(socket.get(), &QTcpSocket::readyRead, &wait, [&] {
        // The loop may run on for as long as a sheet opened in it.
        if (ended) return;
        received += socket->readAll();
        if (isDecided(received)) end();
    });
    QObject::connect(socket.get(), &QTcpSocket::disconnected, &wait, end);
    QObject::connect(socket.get(), &QTcpSocket::errorOccurred, &wait, end);
    QTimer::singleShot(std::chrono::milliseconds(deadline.remainingTime()), &wait, [&] {
        late = !ended;
        end();
    });
    if (secure) {
        constexpr int port = 443;
        QObject::connect(sslSocket, &QSslSocket::encrypted, &wait, ask);
        sslSocket->connectToHostEncrypted(url.host(), static_cast<quint16>(url.port(port)));
    } else {
        constexpr int port = 80;
        QObject::connect(socket.get(), &QTcpSocket::connected, &wait, ask);
        socket->connectToHost(url.host(), static_cast<quint16>(url.port(port)));
    }
    const bool quitting = !ended && wait.exec() != ours;
    // From here on its end no longer matters.
    socket->disconnect(&wait);
    if (quitting || late) return std::nullopt;
    return received;
}

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Where a redirect leads; invalid if it must not lead there.
QUrl redirectTarget(const QUrl& from, const QByteArray& location) {
    const QUrl target = from.resolved(QUrl::fromEncoded(location, QUrl::StrictMode));
    const bool secure = target.scheme() == "https";
    const bool allowed = secure || (target.scheme() == "http" && from.scheme() == "http");
    return allowed && !location.isEmpty() && !target.host().isEmpty() ? target : QUrl();
}

}  // namespace

std::optional<QByteArray> fetchFeed(const QUrl& url, std::chrono::milliseconds bound) {
    const QDeadlineTimer deadline(bound);
    QUrl next = url;
    constexpr int mostRequests = 6;
    for (int request = 0; request < mostRequests && next.isValid(); ++request) {
        const auto received = receiveFrom(next, deadline);
        const auto answer = received ? parseAnswer(*received) : std::nullopt;
        if (!answer) return std::nullopt;
        if (isRedirect(answer->status)) {
            next = redirectTarget(next, answer->location);
            continue;
        }
        constexpr int good = 200;
        const qint64 length = answer->length.value_or(answer->body.size());
        const bool whole = length >= 0 && length <= answer->body.size();
        if (answer->status != good || !whole || length > largestFeed) return std::nullopt;
        return answer->body.first(length);
    }
    return std::nullopt;
}

}  // namespace lumaweave
