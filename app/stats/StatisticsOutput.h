// SPDX-License-Identifier: BSD-2-Clause
//
// Saving and printing a statistics window: the dialogs that ask where to, and the alert when it did
// not work. A child of the window; main thread.
//
//     connect(actions->print, &QAction::triggered, output, &StatisticsOutput::print);
#pragma once

#include "app/stats/StatisticsSheet.h"

#include <QObject>
#include <QString>
#include <QWidget>

namespace brindle {

class StatisticsOutput final : public QObject {
    Q_OBJECT
  public:
    /// What `content` refers to outlives the window. Texts are set out in the window's font.
    StatisticsOutput(QWidget* window, StatisticsSheetContent content);

  public slots:
    void savePng();
    void saveSvg();
    void saveCsv();
    void print();

  private:
    using Bytes = QByteArray (StatisticsOutput::*)() const;

    void save(const QString& title, const QString& filter, const QString& suffix, Bytes bytes);
    void tell(const QString& messageText, const std::string& reason) const;
    StatisticsSheet sheet() const;
    QByteArray png() const;
    QByteArray svg() const;
    QByteArray csv() const;

    QWidget* const window_;
    const StatisticsSheetContent content_;
};

} // namespace brindle
