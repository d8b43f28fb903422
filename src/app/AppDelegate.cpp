#include "app/AppDelegate.h"

#include <QApplication>
#include <QMessageBox>

#include "app/SharedState.h"
#include "platform/Log.h"

namespace lumaweave {

AppDelegate::~AppDelegate() {
    if (gAppDelegate == this) gAppDelegate = nullptr;
}

void AppDelegate::applicationDidFinishLaunching() {
    gAppDelegate = this;
}

void AppDelegate::doAlert(const std::string& message) {
    // Over whatever is modal now, or it could not be answered.
    QWidget* above = QApplication::activeModalWidget();
    QMessageBox alert(above != nullptr ? above : QApplication::activeWindow());
    alert.setObjectName("alert");
    alert.setIcon(QMessageBox::Warning);
    alert.setTextFormat(Qt::PlainText);
    alert.setText(QString::fromStdString(message));
    alert.setStandardButtons(QMessageBox::Ok);
    alert.exec();
    Log(FormatWithoutArguments(message));
}

}  // namespace lumaweave
