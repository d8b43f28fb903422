// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDesktopServices>
#include <QList>
#include <QObject>
#include <QUrl>

namespace lumaweave::test {

// Stands in for the desktop: records the files (or pages) that it is asked to open.
class UrlOpener : public QObject {
    Q_OBJECT

  public:
    explicit UrlOpener(QString scheme = "file") : scheme_(std::move(scheme)) {
        QDesktopServices::setUrlHandler(scheme_, this, "open");
    }
    ~UrlOpener() override { QDesktopServices::unsetUrlHandler(scheme_); }

    QList<QUrl> opened;

  public Q_SLOTS:
    void open(const QUrl& url) { opened << url; }

  private:
    QString scheme_;
};

}  // namespace lumaweave::test
