// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QProcess>
#include <filesystem>
#include <string>
#include <vector>

namespace lumaweave::test {

// The program as a process of its own, as the user starts it, with the test's home and settings.
// The destructor kills it.
class Program {
  public:
    explicit Program(
        const std::vector<std::filesystem::path>& files,
        const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    QProcess& process() { return process_; }
    // Everything printed so far, both outputs in one.
    const std::string& output();
    bool waitForOutput(const std::string& text);
    // Whether it ends, by itself and with this code.
    bool waitForEnd(int code = 0);
    // Tells the user before its screen what to do (environmentWithPerson).
    void tell(const std::string& command);

  private:
    QProcess process_;
    std::string output_;
};

// An environment that puts a user before the program's screen: a plug-in that says on standard
// error what it sees there, and does what it is told (person/PersonPlugin.cpp).
[[nodiscard]] QProcessEnvironment environmentWithPerson();

// What that user says once the main window stands.
inline constexpr auto windowPainted = "person: the window is painted";

// Has programs look for their tools in this folder first.
void putOnPath(QProcessEnvironment& environment, const std::filesystem::path& folder);

}  // namespace lumaweave::test
