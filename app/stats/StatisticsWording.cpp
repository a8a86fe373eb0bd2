// SPDX-License-Identifier: BSD-2-Clause
#include "app/stats/StatisticsWording.h"

#include "core/log/records/RecordText.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QStringList>

namespace brindle {
namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("StatisticsWindow", text);
}

QString counted(std::int64_t number, const char* one, const char* many) {
    return number == 1 ? tr(one) : tr(many).arg(QString::fromStdString(groupedNumber(number)));
}

} // namespace

QString totalsText(const StatisticsFacts& facts) {
    const auto rows = static_cast<std::int64_t>(facts.rows);
    QStringList parts;
    parts << (facts.kind == TallyTableKind::addressesOfPort
                  ? counted(rows, "1 address", "%1 addresses")
                  : counted(rows, "1 port", "%1 ports"));
    parts << counted(facts.records, "1 record", "%1 records");
    parts << (facts.since > 0 ? tr("since %1").arg(QString::fromStdString(dateText(facts.since)))
                              : tr("since the first record"));
    return parts.join(QStringLiteral(" · "));
}

QString emptyStatisticsText(const StatisticsFacts& facts) {
    if (facts.rows > 0) {
        return {};
    }
    if (!facts.connected) {
        return tr("Not connected to the logging daemon.");
    }
    // A failed request leaves the same nothing as one without an answer.
    return facts.kind == TallyTableKind::addressesOfPort
               ? tr("The logging daemon sent no address for this port.")
               : tr("The logging daemon sent no port for this address.");
}

QString entryName(const VisualizerObj& row) {
    const QString label = QString::fromStdString(row.label());
    return row.portname().empty()
               ? label
               : QStringLiteral("%1 %2").arg(label, QString::fromStdString(row.portname()));
}

QString fileNameOf(const QString& caption) {
    static const QRegularExpression refused(QStringLiteral("[^\\w .-]+"));
    return tr("Statistics %1").arg(QString(caption).replace(refused, QStringLiteral("-")));
}

QString copiedText(const TallyArrayController& rows, const std::vector<std::size_t>& positions,
                   std::span<const TallyColumn> columns) {
    QStringList lines;
    for (const std::size_t position : positions) {
        const VisualizerObj& row = *rows.arrangedRow(position);
        QStringList cells;
        for (const TallyColumn column : columns) {
            if (column == TallyColumn::records) {
                cells << QString::number(row.value());
            } else if (column != TallyColumn::legend) {
                cells << QString::fromStdString(columnText(row, column, rows.total()));
            }
        }
        lines << cells.join(QLatin1Char('\t'));
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace brindle
