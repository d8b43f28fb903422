#pragma once

#include <QProcess>
#include <filesystem>
#include <string>
#include <vector>

namespace lumaweave::test {

// The program as a process of its own, as a person starts it; ended hard when it goes, if it still
// runs. It has the test's home and settings.
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
    // Has the person before its screen do something (environmentWithPerson).
    void tell(const std::string& command);

  private:
    QProcess process_;
    std::string output_;
};

// An environment that puts a person before the program's screen: a plug-in that says on standard
// error what is to be seen there, and that does what it is told (person/PersonPlugin.cpp).
[[nodiscard]] QProcessEnvironment environmentWithPerson();

}  // namespace lumaweave::test
