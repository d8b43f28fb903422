// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDialog>
#include <QEventLoop>

namespace lumaweave {

// A modal dialog over a window while work goes on: its owner calls begin, run (until stop or
// abort), then end. While a worker lives, neither Esc nor the close button ends it (the worker
// still uses it); once the worker has gone they do. Main thread.
class Sheet : public QDialog {
    Q_OBJECT

  public:
    static constexpr int aborted = -1;

    explicit Sheet(QWidget* parent = nullptr);

    // Shows the sheet over the given window (none: in the middle of the screen).
    void begin(QWidget* window);
    // Runs until stop (returns its code) or abort (returns `aborted`), also when that came before.
    int run();
    void stop(int code);
    void abort() { stop(aborted); }
    // Takes the sheet off the screen.
    void end();
    [[nodiscard]] bool isRunning() const { return loop_.isRunning(); }

    void setWorkerAlive(bool alive) { workerAlive_ = alive; }

    // Esc.
    void reject() override;

  Q_SIGNALS:
    // stop or abort was called, for the first time since it began.
    void stopped();

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    QEventLoop loop_;
    bool stopped_ = false;
    bool workerAlive_ = false;
    int code_ = aborted;
};

}  // namespace lumaweave
