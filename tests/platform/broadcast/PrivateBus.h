// SPDX-License-Identifier: BSD-2-Clause
//
// A session bus of a test's own, which ends with the object. Tests skip where there is no
// dbus-daemon.
//
//     PrivateBus bus;
//     if (!bus.isRunning()) GTEST_SKIP() << PrivateBus::kMissing;
#pragma once

#include <QProcess>
#include <QString>

#include <string>

namespace brindle::test {

class PrivateBus {
  public:
    static constexpr const char* kMissing = "needs dbus-daemon";

    PrivateBus() {
        daemon_.start("dbus-daemon", {"--session", "--nofork", "--print-address=1"});
        if (daemon_.waitForStarted() && daemon_.waitForReadyRead(10000)) {
            address_ = QString::fromLatin1(daemon_.readLine()).trimmed();
        }
    }
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    bool isRunning() const { return !address_.isEmpty(); }
    QString address() const { return address_; }
    qint64 processId() const { return daemon_.processId(); }

    void stop() {
        if (daemon_.state() != QProcess::NotRunning) {
            daemon_.kill();
            daemon_.waitForFinished();
        }
    }

  private:
    QProcess daemon_;
    QString address_;
};

} // namespace brindle::test
