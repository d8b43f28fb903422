// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <functional>
#include <vector>

namespace lumaweave::test {

// A web server on the loopback interface. It answers from the event loop of the thread that made
// it. While it lives, the environment names it to the update check.
class FeedServer {
  public:
    FeedServer();
    ~FeedServer();
    FeedServer(const FeedServer&) = delete;
    FeedServer& operator=(const FeedServer&) = delete;

    // As "127.0.0.1:port".
    [[nodiscard]] QString host() const;
    // Answers every request with this document from now on.
    void serve(const QByteArray& document);
    // Answers a request for the path. The socket goes when the other side has gone.
    std::function<void(QTcpSocket& socket, const QByteArray& path)> answer;
    // The paths asked for, how many callers ever connected and how many still are.
    [[nodiscard]] const std::vector<QByteArray>& requests() const { return requests_; }
    [[nodiscard]] int callers() const { return callers_; }
    [[nodiscard]] int connections() const { return connections_; }

  private:
    void receive(QTcpSocket* socket);

    std::vector<QByteArray> requests_;
    int callers_ = 0;
    int connections_ = 0;
    QTcpServer server_;
};

// What the program logs about a check that failed.
inline constexpr auto failedCheckLine = "doVersionCheck: parser error";

// A complete answer, with the length of its body.
[[nodiscard]] QByteArray httpAnswer(const QByteArray& status, const QByteArray& body,
                                    const QByteArray& headers = {});

// A feed with these elements; those that are empty are left out.
[[nodiscard]] QByteArray updateFeed(const QByteArray& latestVersion, const QByteArray& messageNum,
                                    const QByteArray& message);

}  // namespace lumaweave::test
