#pragma once

#include <QDesktopServices>
#include <QList>
#include <QObject>
#include <QUrl>

namespace lumaweave::test {

// Stands in for the desktop: records the files that it is asked to open.
class UrlOpener : public QObject {
    Q_OBJECT

  public:
    UrlOpener() { QDesktopServices::setUrlHandler("file", this, "open"); }
    ~UrlOpener() override { QDesktopServices::unsetUrlHandler("file"); }

    QList<QUrl> opened;

  public Q_SLOTS:
    void open(const QUrl& url) { opened << url; }
};

}  // namespace lumaweave::test
