// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/Wording.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStringList>

namespace brindle {
namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("LogsWindow", text);
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
        parts << tr("lost %1").arg(grouped(status.daemon->lost));
    }
    return parts.join(QStringLiteral(" · "));
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
