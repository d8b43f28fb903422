// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/FileUrls.h"

#include <QByteArray>
#include <QString>

namespace lumaweave {

namespace fs = std::filesystem;

std::optional<fs::path> pathFromUrl(const QUrl& url) {
    const bool here = url.host().isEmpty() || url.host() == "localhost";
    if (!url.isLocalFile() || !here) return std::nullopt;
    const QByteArray encoded = url.path(QUrl::FullyEncoded).toUtf8();
    return fs::path(QByteArray::fromPercentEncoding(encoded).toStdString());
}

QUrl urlFromPath(const fs::path& path) {
    QUrl url;
    url.setScheme("file");
    url.setPath(
        QString::fromLatin1(QByteArray::fromStdString(path.native()).toPercentEncoding("/")),
        QUrl::StrictMode);
    return url;
}

}  // namespace lumaweave
