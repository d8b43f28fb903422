// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <functional>
#include <string>
#include <vector>

class QMessageBox;

namespace lumaweave::test {

// Stands in for the user before the screen: reads each alert that is really shown, and answers it
// with a click on its button (by default the first of OK and Yes that it has).
class AlertAnswerer : public QObject {
  public:
    AlertAnswerer();
    ~AlertAnswerer() override;

    // The texts of the alerts, in the order in which they were shown.
    [[nodiscard]] const std::vector<std::string>& texts() const { return texts_; }
    [[nodiscard]] int count(const std::string& text) const;
    void forget() { texts_.clear(); }

    // Gets the box on the screen, and replaces the click.
    std::function<void(QMessageBox*)> answer;

    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    std::vector<std::string> texts_;
};

}  // namespace lumaweave::test
