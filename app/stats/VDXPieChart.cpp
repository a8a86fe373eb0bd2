// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/VDXPieChart.h"

#include "app/stats/PiePainter.h"
#include "app/tallies/TallyColumn.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStringList>
#include <QToolTip>

#include <cmath>
#include <utility>

namespace brindle {
namespace {

QString grouped(std::int64_t number) {
    return QString::fromStdString(groupedNumber(number));
}

} // namespace

VDXPieChart::VDXPieChart(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    setAccessibleName(tr("Pie chart"));
    describe();
}

void VDXPieChart::setRadius(double points) {
    radius_ = points;
    updateGeometry();
    update();
}

void VDXPieChart::setInfo(std::vector<std::int64_t> info) {
    info_ = std::move(info);
    pie_ = PieSlices(info_);
    highlighted_.reset();
    describe();
    update();
}

void VDXPieChart::setColori(std::map<int, TallyColour> colori) {
    colori_ = std::move(colori);
    update();
}

void VDXPieChart::setLabels(Labels labels) {
    labels_ = std::move(labels);
    describe();
}

void VDXPieChart::describe() {
    QStringList shares;
    for (std::size_t slice = 0; slice < pie_.slices().size(); ++slice)
        shares << sliceText(slice);
    setAccessibleDescription(shares.join(QStringLiteral("; ")));
}

QString VDXPieChart::sliceName(std::size_t index) const {
    const PieSlice& slice = pie_.slices()[index];
    if (pie_.total() == 0)
        return tr("No records");
    if (slice.entries > 1)
        return tr("%1 others").arg(grouped(static_cast<std::int64_t>(slice.entries)));
    const QString label = labels_ ? labels_(slice.firstEntry) : QString();
    return label.isEmpty() ? tr("Entry %1").arg(slice.firstEntry + 1) : label;
}

QString VDXPieChart::sliceCount(std::size_t index) const {
    return tr("%1 of %2 records (%3)")
        .arg(grouped(pie_.slices()[index].value), grouped(pie_.total()),
             QString::fromStdString(shareText(pie_.share(index))));
}

QString VDXPieChart::sliceText(std::size_t index) const {
    return pie_.total() == 0 ? sliceName(index)
                             : tr("%1: %2").arg(sliceName(index), sliceCount(index));
}

void VDXPieChart::setHighlighted(std::optional<std::size_t> slice) {
    if (slice == highlighted_)
        return;
    highlighted_ = slice;
    update();
    emit highlightChanged(slice);
}

QSize VDXPieChart::sizeHint() const {
    const int side = static_cast<int>(std::ceil(2 * (radius_ + kPieMarkRoom)));
    return {side, side};
}

void VDXPieChart::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintPie(painter, QRectF(rect()).center(), radius_, pie_,
             {.colours = colori_,
              .background = palette().color(backgroundRole()),
              .ink = palette().color(QPalette::WindowText),
              .highlighted = highlighted_});
}

std::optional<std::size_t> VDXPieChart::sliceUnder(QPointF position) const {
    const QPointF fromCentre = position - QRectF(rect()).center();
    return pie_.sliceAt(fromCentre.x(), -fromCentre.y(), radius_);
}

void VDXPieChart::hover(std::optional<std::size_t> slice) {
    if (slice == hovered_)
        return;
    hovered_ = slice;
    QToolTip::hideText(); // it was about another slice
    emit sliceHovered(slice);
}

bool VDXPieChart::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return QWidget::event(event);
    const auto* help = static_cast<QHelpEvent*>(event);
    if (const auto slice = sliceUnder(help->pos()))
        // Names come from outside: they are shown as they are, never as markup.
        QToolTip::showText(help->globalPos(),
                           QStringLiteral("<p style='white-space:pre'>%1</p>")
                               .arg(sliceText(*slice).toHtmlEscaped()),
                           this);
    else
        QToolTip::hideText();
    return true;
}

void VDXPieChart::mouseMoveEvent(QMouseEvent* event) {
    hover(sliceUnder(event->position()));
}

void VDXPieChart::mousePressEvent(QMouseEvent* event) {
    const auto slice = sliceUnder(event->position());
    if (slice && event->button() == Qt::LeftButton)
        emit sliceClicked(*slice);
}

void VDXPieChart::leaveEvent(QEvent*) {
    hover(std::nullopt);
}

} // namespace brindle
