// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/WindowsFixture.h"

#include <QApplication>
#include <QDockWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
#include <QScrollArea>
#include <QStatusBar>
#include <QTest>

#include "platform/Log.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourcesWindow.h"
#include "stack/Alerts.h"

namespace lumaweave::test {

TestFrame::TestFrame()
    : preview_(new PreviewWindow),
      sources_(new SourcesWindow),
      settings_(new EnfuseSettingsWindow) {
    setCentralWidget(preview_);
    menuBar()->addMenu("Menu");
    statusBar();
    auto* shots = new QDockWidget("Shots");
    shots->setWidget(sources_);
    addDockWidget(Qt::LeftDockWidgetArea, shots);
    auto* scrolling = new QScrollArea;
    scrolling->setWidgetResizable(true);
    scrolling->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrolling->setWidget(settings_);
    auto* settings = new QDockWidget("Settings");
    settings->setWidget(scrolling);
    addDockWidget(Qt::RightDockWidgetArea, settings);
    resize(1280, 840);
    resizeDocks({shots, settings}, {260, 340}, Qt::Horizontal);
}

PresentedAlerts::PresentedAlerts() {
    setAlertPresenter([](const std::string& message) {
        QWidget* modal = QApplication::activeModalWidget();
        QMessageBox alert(modal != nullptr ? modal : QApplication::activeWindow());
        alert.setTextFormat(Qt::PlainText);
        alert.setText(QString::fromStdString(message));
        alert.setStandardButtons(QMessageBox::Ok);
        alert.exec();
        logLine(formatWithoutArguments(message));
    });
}

PresentedAlerts::~PresentedAlerts() {
    setAlertPresenter({});
}

WindowsTest::WindowsTest() : windows(std::make_unique<TestFrame>()) {
    windows->show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(windows.get()));
}

WindowsTest::~WindowsTest() {
    waitForTheEnd();
    // The windows that own themselves go with the program's.
    QList<QPointer<QWidget>> own;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->testAttribute(Qt::WA_DeleteOnClose)) own << window;
    }
    for (const QPointer<QWidget>& window : own)
        delete window.data();
    windows.reset();
}

}  // namespace lumaweave::test
