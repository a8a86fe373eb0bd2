// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/Wording.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStringList>

#include <algorithm>

namespace brindle {
namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("LogsWindow", text);
}

/// "lost 0", or with the reason of the most of them.
QString lostText(const DaemonFigures& figures) {
    const QString count = tr("lost %1").arg(grouped(figures.lost()));
    const auto most = std::ranges::max_element(figures.lostByReason, {},
                                               [](const auto& reason) { return reason.second; });
    if (most == figures.lostByReason.end() || most->second == 0) {
        return count;
    }
    return tr("%1 (%2)").arg(count, QString::fromStdString(most->first));
}

} // namespace

QString grouped(std::uint64_t number) {
    return QLocale(QLocale::English, QLocale::UnitedStates)
        .toString(static_cast<qulonglong>(number));
}

QString statusText(const LogsStatus& status) {
    QStringList parts;
    if (!status.connected) {
        parts << tr("disconnected");
    } else if (status.loading && status.mode == LogsMode::period) {
        parts << tr("loading");
    } else if (status.mode == LogsMode::live) {
        parts << tr("live %1/s").arg(grouped(status.liveRate));
    } else if (status.stopped) {
        parts << tr("stopped");
    }
    parts << (status.rows == 1 ? tr("1 row") : tr("%1 rows").arg(grouped(status.rows)));
    if (status.selected > 0) {
        parts << tr("%1 selected").arg(grouped(status.selected));
    }
    if (status.connected && status.daemon) {
        parts << tr("stored %1").arg(grouped(status.daemon->stored));
        parts << lostText(*status.daemon);
        if (const auto waiting = status.daemon->waiting.size(); waiting > 0) {
            parts << (waiting == 1 ? tr("1 source waits")
                                   : tr("%1 sources wait").arg(grouped(waiting)));
        }
    }
    return parts.join(QStringLiteral(" · "));
}

QString troubleText(const LogsStatus& status) {
    QStringList lines;
    if (status.connected && status.daemon) {
        for (const auto& [reason, count] : status.daemon->lostByReason) {
            if (count > 0) {
                lines << tr("Lost: %1, %2").arg(grouped(count), QString::fromStdString(reason));
            }
        }
        for (const auto& [source, state] : status.daemon->waiting) {
            lines << tr("%1 %2").arg(QString::fromStdString(source), QString::fromStdString(state));
        }
    }
    return lines.join(QLatin1Char('\n'));
}

QString emptyTableText(const LogsStatus& status, bool filtered) {
    if (status.loading && status.rows == 0) {
        return {};
    }
    if (status.rows > 0) {
        return filtered ? tr("No record matches the filter.") : QString();
    }
    if (!status.connected) {
        return tr("Not connected to the logging daemon.");
    }
    return status.mode == LogsMode::live
               ? tr("No records yet. New ones appear here as they are logged.")
               : tr("No records in this period.");
}

} // namespace brindle
