#pragma once

#include <QElapsedTimer>
#include <QProgressBar>

namespace lumaweave {

// A progress bar whose endless animation is drawn a few times a second only: the work that it
// stands for needs the cores. Main thread.
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
