// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Program.h"

#include "support/Waiting.h"

namespace lumaweave::test {

Program::Program(const std::vector<std::filesystem::path>& files,
                 const QProcessEnvironment& environment) {
    process_.setProcessEnvironment(environment);
    QStringList arguments;
    for (const std::filesystem::path& file : files)
        arguments << QString::fromStdString(file.native());
    process_.setProcessChannelMode(QProcess::MergedChannels);
    process_.start(LUMAWEAVE_BUILD_FOLDER "/bin/lumaweave", arguments);
}

Program::~Program() {
    process_.kill();
    process_.waitForFinished();
}

const std::string& Program::output() {
    output_ += process_.readAll().toStdString();
    return output_;
}

bool Program::waitForOutput(const std::string& text) {
    return waitUntil([&] { return output().find(text) != std::string::npos; });
}

bool Program::waitForEnd(int code) {
    return waitUntil([this] { return process_.state() == QProcess::NotRunning; }) &&
           process_.exitStatus() == QProcess::NormalExit && process_.exitCode() == code;
}

void Program::tell(const std::string& command) {
    process_.write(QByteArray::fromStdString(command + "\n"));
}

QProcessEnvironment environmentWithPerson() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_PLUGIN_PATH", LUMAWEAVE_BUILD_FOLDER "/tests/plugins");
    environment.insert("QT_QPA_GENERIC_PLUGINS", "person");
    return environment;
}

void putOnPath(QProcessEnvironment& environment, const std::filesystem::path& folder) {
    environment.insert("PATH",
                       QString::fromStdString(folder.native()) + ":" + environment.value("PATH"));
}

}  // namespace lumaweave::test
