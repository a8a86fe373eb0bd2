// SPDX-License-Identifier: BSD-2-Clause
//
// Runs the helper that puts the list into the packet filter, and understands its answer. One run at
// a time; main thread.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <map>
#include <string>

namespace brindle::vardex {

/// What became of a run.
struct ApplyOutcome {
    bool applied = false;
    QString reason;                             ///< why not; empty when it was applied
    std::map<std::string, std::string> refused; ///< reasons by address
};

class Applier final : public QObject {
    Q_OBJECT
  public:
    /// `command`: program and arguments.
    explicit Applier(QStringList command, QObject* parent = nullptr);
    ~Applier() override;

    /// The helper in a directory: run as it is by root, through polkit by anyone else.
    static QStringList commandFor(const QString& directory);

    bool isRunning() const { return process_.state() != QProcess::NotRunning; }
    /// `input`: as vardex-apply reads it. Only when nothing runs; `finished` follows later.
    void apply(const QByteArray& input);

  signals:
    void finished(const brindle::vardex::ApplyOutcome& outcome);

  private:
    void ended();
    void failedToStart(QProcess::ProcessError error);
    ApplyOutcome outcome();

    const QStringList command_;
    QProcess process_;
};

} // namespace brindle::vardex
