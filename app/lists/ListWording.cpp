// SPDX-License-Identifier: BSD-2-Clause
#include "app/lists/ListWording.h"

#include "app/tallies/TallyColumn.h"
#include "core/log/records/RecordText.h"

#include <QCoreApplication>
#include <QStringList>

namespace brindle {
namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("ListWindow", text);
}

QString grouped(std::size_t number) {
    return QString::fromStdString(groupedNumber(static_cast<std::int64_t>(number)));
}

QString sinceText(double epoch) {
    return epoch > 0 ? tr("since %1").arg(QString::fromStdString(dateText(epoch)))
                     : tr("since the first record");
}

} // namespace

QString listTitle(const std::string& action, const std::string& direction) {
    if (direction == "in") {
        return action == "block"  ? tr("Blocked Inbound")
               : action == "pass" ? tr("Passed Inbound")
                                  : QString();
    }
    if (direction == "out") {
        return action == "block"  ? tr("Blocked Outbound")
               : action == "pass" ? tr("Passed Outbound")
                                  : QString();
    }
    return {};
}

QString verdictPicture(const std::string& action, const std::string& direction) {
    return QStringLiteral("%1%2").arg(
        action == "pass" ? QStringLiteral("passed") : QStringLiteral("blocked"),
        direction == "out" ? QStringLiteral("up") : QStringLiteral("down"));
}

QString addressHeading(const std::string& direction) {
    return direction == "in" ? tr("Sources") : tr("Destinations");
}

QString countText(const ListCounts& counts) {
    return counts.shown == counts.total
               ? grouped(counts.total)
               : tr("%1 of %2").arg(grouped(counts.shown), grouped(counts.total));
}

QString statusText(const ListStatus& status) {
    const auto things = [](const ListCounts& counts, const char* one, const char* many) {
        return counts.total == 1 && counts.shown == 1 ? tr(one) : tr(many).arg(countText(counts));
    };
    QStringList parts;
    parts << (status.connected
                  ? tr("live %1/s").arg(grouped(static_cast<std::size_t>(status.liveRate)))
                  : tr("disconnected"));
    parts << things(status.addresses, "1 address", "%1 addresses");
    parts << things(status.ports, "1 port", "%1 ports");
    parts << (status.records == 1
                  ? tr("1 record")
                  : tr("%1 records").arg(grouped(static_cast<std::size_t>(status.records))));
    parts << sinceText(status.since);
    return parts.join(QStringLiteral(" · "));
}

QString emptyListText(const ListStatus& status, ListedThing thing) {
    const bool isAddresses = thing == ListedThing::addresses;
    const ListCounts& counts = isAddresses ? status.addresses : status.ports;
    if (counts.shown > 0) {
        return {};
    }
    if (counts.total > 0) {
        return isAddresses ? tr("No address matches the filter.")
                           : tr("No port matches the filter.");
    }
    if (!status.connected) {
        return tr("Not connected to the logging daemon.");
    }
    return (isAddresses ? tr("No address %1.") : tr("No port %1.")).arg(sinceText(status.since)) +
           QLatin1Char('\n') + tr("New records show here as they are logged.");
}

} // namespace brindle
