// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QElapsedTimer>
#include <QProgressBar>

namespace lumaweave {

// A progress bar that draws its endless animation only a few times a second: the work that it shows
// needs the cores. Main thread.
class CalmProgressBar : public QProgressBar {
    Q_OBJECT

  public:
    using QProgressBar::QProgressBar;

  protected:
    bool event(QEvent* event) override;

  private:
    QElapsedTimer sinceDrawn_;
};

}  // namespace lumaweave
