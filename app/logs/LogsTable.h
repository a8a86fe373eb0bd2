// SPDX-License-Identifier: BSD-2-Clause
//
// The table widget of the logs window: rows of one height, widths measured from sample texts, rows
// that stay where the user looks at them while others arrive above, a sentence where there are no
// rows. Main thread.
#pragma once

#include <QString>
#include <QTableView>

namespace brindle {

class LogsTable final : public QTableView {
    Q_OBJECT
  public:
    explicit LogsTable(QWidget* parent = nullptr);

    void setModel(QAbstractItemModel* model) override;
    /// Shown in the middle of a table without rows.
    void setEmptyText(const QString& text);
    const QString& emptyText() const { return emptyText_; }
    /// Width at which no column is cut.
    int comfortableWidth() const;

  signals:
    /// Rows have been painted.
    void painted();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void measure();
    void shareSpareWidth();
    void rowsCame(int first, int last);
    void rowsWent(int first, int last);
    bool showsTop() const;

    QString emptyText_;
    bool resizedByUser_ = false;
    bool measuring_ = false;
};

} // namespace brindle
