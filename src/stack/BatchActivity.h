// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

namespace lumaweave {

// Tells the rest of the program that a batch uses the cells, so that it leaves them alone.
class BatchActivity : public QObject {
    Q_OBJECT

  public:
    // finishing: the batch was cancelled and its window has gone, but its worker still finishes its
    // set.
    enum class Phase { none, running, finishing };

    // Main thread.
    static BatchActivity& instance();
    [[nodiscard]] Phase phase() const;
    void setPhase(Phase phase);

    // Any thread.
    [[nodiscard]] static bool isRunning();

  Q_SIGNALS:
    void changed();
};

}  // namespace lumaweave
