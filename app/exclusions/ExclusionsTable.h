// SPDX-License-Identifier: BSD-2-Clause
//
// The table widget of the exclusions editor: rows of one height, the middle column as wide as there
// is room, and a sentence where there are no rows. Main thread.
#pragma once

#include <QString>
#include <QTableView>

namespace brindle {

class ExclusionsTable final : public QTableView {
    Q_OBJECT
  public:
    explicit ExclusionsTable(QWidget* parent = nullptr);

    void setModel(QAbstractItemModel* model) override;
    /// Shown in the middle of a table without rows.
    void setEmptyText(const QString& text);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void measure();

    QString emptyText_;
};

} // namespace brindle
