// SPDX-License-Identifier: BSD-2-Clause
//
// The objects that the bus library calls: they live on the main thread and are told of there. Only
// for the implementation of the broadcast center.
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QStringList>

#include <functional>

namespace brindle::platform {

/// Takes a signal of any form.
class SignalReceiver final : public QObject {
    Q_OBJECT
  public:
    explicit SignalReceiver(std::function<void(const QDBusMessage&)> handler);

  public slots:
    void receive(const QDBusMessage& message);

  private:
    const std::function<void(const QDBusMessage&)> handler_;
};

/// The object on the bus that takes what a second start hands over.
class HandOverReceiver final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.vardex.HandOver")
  public:
    static constexpr const char* kInterface = "org.vardex.HandOver";

    explicit HandOverReceiver(std::function<void(const QStringList&)> handler);

  public slots:
    void handOver(const QStringList& arguments);

  private:
    const std::function<void(const QStringList&)> handler_;
};

} // namespace brindle::platform
