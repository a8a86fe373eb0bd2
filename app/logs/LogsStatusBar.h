// SPDX-License-Identifier: BSD-2-Clause
//
// The line under the logs table: a coloured dot, what the table holds and how the daemon is doing,
// and, while a period's answer is arriving, how far it is and a Stop button. A widget of the logs
// window, main thread.
#pragma once

#include "app/logs/Wording.h"

#include <QWidget>

#include <optional>

class QLabel;
class QProgressBar;
class QToolButton;

namespace brindle {

class LogsStatusBar final : public QWidget {
    Q_OBJECT
  public:
    explicit LogsStatusBar(QWidget* parent = nullptr);

    void showStatus(const LogsStatus& status);
    /// 0 to 1; nothing: no answer that can be stopped is arriving.
    void setProgress(std::optional<double> fraction);
    QString text() const;

  signals:
    void stop();

  private:
    QLabel* const dot_;
    QLabel* const text_;
    QProgressBar* const progress_;
    QToolButton* const stop_;
};

} // namespace brindle
