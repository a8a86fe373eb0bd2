// SPDX-License-Identifier: BSD-2-Clause
//
// What the system's two table classes have in common: how a right-click selects and opens the
// table's menu, rows of one height, widths measured from sample texts with the spare room given to
// the elastic columns, the rows in sight, and a sentence where there are no rows. Main thread.
//
//     table->setPictures(pictures);
//     table->setModel(&model);                        // a TallyTableModel
//     table->setMenu(menu);
#pragma once

#include "core/stats/VisibleNations.h"

#include <QString>
#include <QTableView>

class QMenu;

namespace brindle {

class PictureStore;
class TallyTableModel;

class TallyTable : public QTableView {
    Q_OBJECT
  public:
    explicit TallyTable(QWidget* parent = nullptr);

    /// Where the flags come from; before the model. The store outlives the table.
    void setPictures(PictureStore& pictures);
    /// Only a TallyTableModel. Its sort is shown over the columns.
    void setModel(QAbstractItemModel* model) override;
    TallyTableModel* tallyModel() const;
    /// Shown on a right-click and by the menu key; null for none. The table does not own it.
    void setMenu(QMenu* menu) { menu_ = menu; }
    /// Shown in the middle of a table without rows.
    void setEmptyText(const QString& text);
    const QString& emptyText() const { return emptyText_; }
    /// Width at which no column is cut.
    int comfortableWidth() const { return comfortableWidth_; }
    /// What resolveVisibleNations asks for.
    VisibleRows visibleRows() const;
    /// The table's rows by count, largest first.
    void sortByRecords();

  signals:
    /// Other rows may be in sight: scrolled, resized, filtered, sorted or reloaded.
    void visibleRowsChanged();

  protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void selectForMenu(const QPoint& position);
    void measure();
    int fewestCharacters() const;
    void shareWidth();

    QMenu* menu_ = nullptr;
    QString emptyText_;
    int comfortableWidth_ = 0;
    bool resizedByUser_ = false;
    bool measuring_ = false;
};

} // namespace brindle
