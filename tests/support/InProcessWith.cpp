// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/InProcessWith.h"

#include <gtest/gtest.h>

#include <QProcess>

#include "support/Waiting.h"

namespace lumaweave::test {

bool inProcessWith(const std::string& variable, const std::string& value) {
    if (qgetenv(variable.c_str()).toStdString() == value) return true;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromStdString(variable), QString::fromStdString(value));
    // The one test, whatever share this process has.
    environment.remove("GTEST_TOTAL_SHARDS");
    environment.remove("GTEST_SHARD_INDEX");
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    process.start("/proc/self/exe", {QString("--gtest_filter=%1.%2")
                                         .arg(QString::fromLatin1(test->test_suite_name()),
                                              QString::fromLatin1(test->name()))});
    EXPECT_TRUE(waitUntil([&process] { return process.state() == QProcess::NotRunning; }));
    const std::string output = process.readAll().toStdString();
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << output;
    EXPECT_EQ(process.exitCode(), 0) << output;
    EXPECT_NE(output.find("[  PASSED  ] 1 test."), std::string::npos) << output;
    return false;
}

}  // namespace lumaweave::test
