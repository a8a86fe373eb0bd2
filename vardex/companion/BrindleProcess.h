// SPDX-License-Identifier: BSD-2-Clause
//
// The viewer as a process: started from its place below the companion, on its own from then on, and
// watched for its end. Started once a call, never again by itself. Main thread.
#pragma once

#include <QObject>
#include <QProcessEnvironment>
#include <QSocketNotifier>
#include <QString>

#include <memory>

namespace brindle::vardex {

class BrindleProcess final : public QObject {
    Q_OBJECT
  public:
    /// `directory`: the companion's own.
    explicit BrindleProcess(QString directory, QObject* parent = nullptr);
    ~BrindleProcess() override;

    /// False when it cannot be started; when it runs already, nothing is done.
    bool start();
    bool isRunning() const { return watcher_ != nullptr; }
    QString program() const;

    /// The companion's environment, with the nation database that was installed with it unless
    /// another one is named there.
    static QProcessEnvironment environmentFor(const QString& directory,
                                              QProcessEnvironment environment);

  signals:
    void ended();

  private:
    void watch(qint64 processId);

    const QString directory_;
    int descriptor_ = -1; ///< of the running process
    std::unique_ptr<QSocketNotifier> watcher_;
};

} // namespace brindle::vardex
