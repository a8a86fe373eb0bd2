// SPDX-License-Identifier: BSD-2-Clause
#include "app/exclusions/ExclusionsTable.h"

#include "app/exclusions/ExclusionsTableModel.h"

#include <QEvent>
#include <QHeaderView>
#include <QPainter>

#include <algorithm>

namespace brindle {
namespace {

constexpr int kCellMargins = 24; ///< left and right of a cell's text together
constexpr int kRowMargins = 8;   ///< above and below it
constexpr int kEmptyTextMargin = 24;

} // namespace

ExclusionsTable::ExclusionsTable(QWidget* parent) : QTableView(parent) {
    setSelectionBehavior(SelectRows);
    setSelectionMode(ExtendedSelection);
    setEditTriggers(NoEditTriggers);
    setAlternatingRowColors(true);
    setShowGrid(false);
    setWordWrap(false);
    setTabKeyNavigation(false);
    setCornerButtonEnabled(false);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setSectionsClickable(false);
}

void ExclusionsTable::setModel(QAbstractItemModel* model) {
    QTableView::setModel(model);
    horizontalHeader()->setSectionResizeMode(static_cast<int>(ExclusionColumn::exclusion),
                                             QHeaderView::Stretch);
    measure();
}

void ExclusionsTable::measure() {
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + kRowMargins);
    if (model() == nullptr) {
        return;
    }
    const auto fit = [this](ExclusionColumn column, std::initializer_list<QString> texts) {
        int widest = 0;
        for (const QString& text : texts) {
            widest = std::max(widest, fontMetrics().horizontalAdvance(text));
        }
        setColumnWidth(static_cast<int>(column), widest + kCellMargins);
    };
    fit(ExclusionColumn::type, {tr("Address"), tr("Block"), tr("Port"), tr("Type")});
    fit(ExclusionColumn::versionIP, {tr("Family"), QStringLiteral("IPv6")});
}

void ExclusionsTable::setEmptyText(const QString& text) {
    emptyText_ = text;
    setAccessibleDescription(text);
    viewport()->update();
}

void ExclusionsTable::paintEvent(QPaintEvent* event) {
    QTableView::paintEvent(event);
    if (model() == nullptr || model()->rowCount() > 0) {
        return;
    }
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    const QRect room = viewport()->rect().adjusted(kEmptyTextMargin, kEmptyTextMargin,
                                                   -kEmptyTextMargin, -kEmptyTextMargin);
    painter.drawText(room, Qt::AlignCenter | Qt::TextWordWrap, emptyText_);
}

void ExclusionsTable::changeEvent(QEvent* event) {
    QTableView::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        measure();
    }
}

} // namespace brindle
