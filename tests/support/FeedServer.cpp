// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/FeedServer.h"

#include <QHostAddress>
#include <stdexcept>

namespace lumaweave::test {

FeedServer::FeedServer() {
    if (!server_.listen(QHostAddress::LocalHost)) throw std::runtime_error("no port to listen at");
    QObject::connect(&server_, &QTcpServer::newConnection, [this] {
        QTcpSocket* socket = server_.nextPendingConnection();
        ++callers_;
        ++connections_;
        QObject::connect(socket, &QTcpSocket::readyRead, &server_,
                         [this, socket] { receive(socket); });
        QObject::connect(socket, &QTcpSocket::disconnected, &server_, [this, socket] {
            --connections_;
            socket->deleteLater();
        });
    });
    serve(updateFeed("0", "0", ""));
    qputenv("LUMAWEAVE_WEB_HOST", host().toLatin1());
}

FeedServer::~FeedServer() {
    qputenv("LUMAWEAVE_WEB_HOST", "");
    for (QTcpSocket* socket : server_.findChildren<QTcpSocket*>())
        socket->disconnect();
}

QString FeedServer::host() const {
    return "127.0.0.1:" + QString::number(server_.serverPort());
}

void FeedServer::serve(const QByteArray& document) {
    answer = [document](QTcpSocket& socket, const QByteArray&) {
        socket.write(httpAnswer("200 OK", document, "Connection: close\r\n"));
        socket.disconnectFromHost();
    };
}

// A request comes whole or in pieces; a second one on the connection is a new one.
void FeedServer::receive(QTcpSocket* socket) {
    while (socket->peek(64 * 1024).contains("\r\n\r\n")) {
        const QByteArray path = socket->readLine().split(' ').value(1);
        while (socket->readLine().trimmed() != "") {
        }
        requests_.push_back(path);
        answer(*socket, path);
    }
}

QByteArray httpAnswer(const QByteArray& status, const QByteArray& body, const QByteArray& headers) {
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\n" + headers + "\r\n" + body;
}

QByteArray updateFeed(const QByteArray& latestVersion, const QByteArray& messageNum,
                      const QByteArray& message) {
    QByteArray feed = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<update>\n";
    const auto add = [&feed](const QByteArray& name, const QByteArray& text) {
        if (!text.isEmpty()) feed += "  <" + name + ">" + text + "</" + name + ">\n";
    };
    add("latestVersion", latestVersion);
    add("messageNum", messageNum);
    add("message", message);
    return feed + "</update>\n";
}

}  // namespace lumaweave::test
