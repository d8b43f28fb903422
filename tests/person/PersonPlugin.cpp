// SPDX-License-Identifier: GPL-3.0-or-later

// The user before the screen of a real program: a plug-in that Qt loads into it when the
// environment says so. It tells on standard error what it sees, and does what standard input tells
// it to, one command a line, one after the other:
//
//   press TEXT    clicks the button of this text in the modal dialog, once there is one
//   click NAME    clicks the control of this object name
//   choose NAME   chooses the menu item of this object name
//   type TEXT     types into whatever has the focus
//   close         closes the main window

#include <unistd.h>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QEvent>
#include <QGenericPlugin>
#include <QLabel>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QTest>
#include <QTimer>
#include <cstdio>

namespace {

void say(const QString& line) {
    std::fprintf(stderr, "person: %s\n", line.toUtf8().constData());
    std::fflush(stderr);
}

void click(QWidget* widget) {
    if (widget == nullptr) {
        say("finds nothing to click");
        return;
    }
    // A check box answers at its left only.
    const bool box = widget->inherits("QCheckBox");
    QTest::mouseClick(widget, Qt::LeftButton, {}, box ? QPoint(8, 8) : widget->rect().center());
}

QWidget* mainWindow() {
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->objectName() == "MainInterface") return window;
    }
    return nullptr;
}

QAbstractButton* modalButton(const QString& text) {
    const QWidget* modal = QApplication::activeModalWidget();
    if (modal == nullptr) return nullptr;
    for (auto* button : modal->findChildren<QAbstractButton*>()) {
        if (button->text().remove('&') == text) return button;
    }
    return nullptr;
}

class Person : public QObject {
  public:
    Person() {
        qApp->installEventFilter(this);
        auto* input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
        connect(input, &QSocketNotifier::activated, this, [this, input] {
            char bytes[1024];
            const ssize_t got = read(STDIN_FILENO, bytes, sizeof bytes);
            if (got <= 0) input->setEnabled(false);
            for (ssize_t i = 0; i < got; ++i)
                hear(bytes[i]);
        });
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !sawWindow_ &&
            watched->objectName() == "MainInterface") {
            sawWindow_ = true;
            QTimer::singleShot(0, this, [] { say("the window is painted"); });
        }
        const auto* alert =
            event->type() == QEvent::Show ? qobject_cast<QMessageBox*>(watched) : nullptr;
        if (alert != nullptr) {
            const QString seen =
                "alert \"" + alert->text() + "\" \"" + alert->informativeText() + "\"";
            // Once its own event loop runs and takes clicks.
            QMetaObject::invokeMethod(
                this, [seen] { say(seen); }, Qt::QueuedConnection);
        }
        return false;
    }

  private:
    void hear(char byte) {
        if (byte != '\n') {
            line_ += byte;
            return;
        }
        commands_ << QString::fromUtf8(line_);
        line_.clear();
        if (commands_.size() == 1) goOn();
    }

    // Later, from the event loop that then runs: what a command opens may run for long.
    void goOn() {
        constexpr int pauseMilliseconds = 10;
        QTimer::singleShot(pauseMilliseconds, this, [this] {
            const QString line = commands_.front();
            const bool waits = line.startsWith("press ") && modalButton(line.mid(6)) == nullptr;
            if (!waits) commands_.pop_front();
            if (!commands_.isEmpty()) goOn();
            if (!waits) act(line);
        });
    }

    static void act(const QString& line) {
        const QString command = line.section(' ', 0, 0);
        const QString what = line.section(' ', 1);
        if (command == "press") {
            click(modalButton(what));
        } else if (command == "click") {
            click(mainWindow()->findChild<QWidget*>(what));
        } else if (command == "choose") {
            mainWindow()->findChild<QAction*>(what)->trigger();
        } else if (command == "type") {
            QTest::keyClicks(QApplication::focusWidget(), what);
        } else if (command == "close") {
            mainWindow()->close();
        } else {
            say("does not understand " + line);
        }
    }

    QByteArray line_;
    QStringList commands_;
    bool sawWindow_ = false;
};

class PersonPlugin : public QGenericPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "person.json")

  public:
    QObject* create(const QString&, const QString&) override { return new Person; }
};

}  // namespace

#include "PersonPlugin.moc"
