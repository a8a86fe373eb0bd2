// SPDX-License-Identifier: BSD-2-Clause
//
// The built program, started as a user or Vardex would start it.
#include "platform/connection/UnixSocket.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/socket.h>

namespace brindle::test {
namespace {

class ProgramTest : public testing::Test {
  protected:
    void SetUp() override {
        if (QStandardPaths::findExecutable("xdotool").isEmpty()) {
            GTEST_SKIP() << "needs xdotool to press keys in another program's window";
        }
    }

    static QByteArray xdotool(const QStringList& arguments) {
        QProcess tool;
        tool.start("xdotool", arguments);
        tool.waitForFinished();
        return tool.readAllStandardOutput();
    }

    /// Starts the program, presses Return in its alert, and gives the exit status; -1 when no alert
    /// came or it did not end.
    int run(const QStringList& arguments, const QString& socket) {
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("TALLYD_SOCKET", socket);
        program.setProcessEnvironment(environment);
        program.start(BRINDLE_PROGRAM, arguments);
        QElapsedTimer waited;
        for (waited.start(); waited.elapsed() < 30000;) {
            const QByteArray alert =
                xdotool({"search", "--onlyvisible", "--name", "^Brindle$"}).trimmed();
            if (!alert.isEmpty()) {
                logsWindows_ = xdotool({"search", "--onlyvisible", "--name", "^PF "});
                const QString window = QString::fromLatin1(alert.split('\n').last());
                xdotool({"windowfocus", window, "key", "--window", window, "Return"});
            }
            if (program.waitForFinished(200)) {
                output_ = program.readAllStandardOutput();
                return program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -1;
            }
        }
        program.kill();
        program.waitForFinished();
        return -1;
    }

    QByteArray output_;
    QByteArray logsWindows_;
    QTemporaryDir directory_;
};

TEST_F(ProgramTest, StartedByHandItExplainsItselfEndsWithZeroAndConnectsToNothing) {
    const std::string path = directory_.filePath("tallyd.sock").toStdString();
    const auto listener = platform::listenUnix(path, 0600);
    ASSERT_TRUE(listener) << listener.error();
    ::fcntl(listener->get(), F_SETFL, O_NONBLOCK);
    for (const QStringList& arguments :
         {QStringList{}, QStringList{"Vardex"}, QStringList{"vardex", "-style", "fusion"}}) {
        SCOPED_TRACE(arguments.join(' ').toStdString());
        EXPECT_EQ(run(arguments, QString::fromStdString(path)), 0);
        EXPECT_EQ(output_, "Starting Brindle...\n");
        EXPECT_EQ(::accept(listener->get(), nullptr, nullptr), -1) << "it connected";
    }
}

TEST_F(ProgramTest, WithoutADaemonItClosesItsWindowAndEndsWithOne) {
    EXPECT_EQ(run({"vardex"}, directory_.filePath("nothing.sock")), 1);
    EXPECT_TRUE(output_.startsWith("Starting Brindle...\n"));
    EXPECT_EQ(logsWindows_, "") << "the logs window is still there";
}

} // namespace
} // namespace brindle::test
