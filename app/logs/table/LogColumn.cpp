// SPDX-License-Identifier: BSD-2-Clause
#include "app/logs/table/LogColumn.h"

#include "core/log/records/RecordText.h"

#include <cmath>

#include <fmt/format.h>

namespace brindle {
namespace {

constexpr std::array<LogColumnInfo, kLogColumnCount> kColumns{{
    {LogColumn::actionDirection, "actionDirection", "",
     "What the filter did with the packet, and whether it came in or went out", LogField::action,
     ColumnAlignment::center, "", true, SortKind::verdict},
    {LogColumn::date, "date", "Date", "When the packet was logged, in local time", LogField::date,
     ColumnAlignment::left, "2023/12/28 22:58:58", false, SortKind::time},
    {LogColumn::user, "user", "User",
     "The local user whose socket the packet belongs to, or the user id", LogField::username,
     ColumnAlignment::left, "4294967295", true, SortKind::text},
    {LogColumn::rule, "rule", "Rule", "The rule that matched", LogField::rule,
     ColumnAlignment::left, "anchor/128", false, SortKind::text},
    {LogColumn::interface, "interface", "Interface", "The network interface", LogField::interface,
     ColumnAlignment::left, "wlp0s20f3", false, SortKind::text},
    {LogColumn::source, "source", "Source", "Where the packet came from: address or host name",
     LogField::addresssrcip, ColumnAlignment::left, "2001:db8:8888:8888:8888:8888:8888:8888", false,
     SortKind::address},
    {LogColumn::sourcePort, "sourcePort", "Source Port", "The port the packet came from",
     LogField::srcport, ColumnAlignment::right, "58888 service", false, SortKind::port},
    {LogColumn::destination, "destination", "Destination",
     "Where the packet went: address or host name", LogField::addressdstip, ColumnAlignment::left,
     "2001:db8:8888:8888:8888:8888:8888:8888", false, SortKind::address},
    {LogColumn::destinationPort, "destinationPort", "Destination Port",
     "The port the packet went to", LogField::dstport, ColumnAlignment::right, "58888 service",
     false, SortKind::port},
    {LogColumn::protocol, "protocol", "Protocol", "The protocol above IP", LogField::proto,
     ColumnAlignment::left, "ipv6-icmp", false, SortKind::text},
}};

std::string userToolTip(const VDXLog& log) {
    const std::string uid = log.text(LogField::uid);
    if (uid == std::to_string(kNoUid))
        return "No user is known for this packet";
    return uid.empty() ? std::string() : fmt::format("User id {}", uid);
}

/// The date with microseconds.
std::string fullDate(const VDXLog& log) {
    const std::int64_t micros = microsFromEpoch(log.epoch());
    const auto seconds = static_cast<std::int64_t>(std::floor(static_cast<double>(micros) / 1e6));
    const std::string date = dateText(static_cast<double>(seconds));
    return date.empty() ? log.text(LogField::date)
                        : fmt::format("{}.{:06}", date, micros - seconds * 1000000);
}

std::string addressToolTip(const VDXLog& log, LogField shown, LogField raw) {
    std::string address = log.text(raw);
    return address == log.text(shown) ? std::string() : address;
}

std::string portToolTip(const VDXLog& log, LogField port, LogField service) {
    const std::string name = log.text(service);
    return name.empty() ? std::string() : fmt::format("Port {}: {}", log.text(port), name);
}

} // namespace

const LogColumnInfo& describe(LogColumn column) {
    return kColumns[static_cast<std::size_t>(column)];
}

const std::array<LogColumn, kLogColumnCount>& allLogColumns() {
    static constexpr auto columns = [] {
        std::array<LogColumn, kLogColumnCount> all{};
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = kColumns[i].column;
        return all;
    }();
    return columns;
}

std::string_view verdictText(Action action, Direction direction) {
    if (action == Action::block)
        return direction == Direction::out ? "Blocked out" : "Blocked in";
    return direction == Direction::out ? "Passed out" : "Passed in";
}

std::string portLabel(std::string_view port, std::string_view service) {
    std::string label(port);
    if (!service.empty())
        label.append(" ").append(service);
    return label;
}

std::string columnText(const VDXLog& log, LogColumn column) {
    switch (column) {
    case LogColumn::actionDirection:
        return std::string(verdictText(actionFromText(log.text(LogField::action)),
                                       directionFromText(log.text(LogField::direction))));
    case LogColumn::user: {
        std::string name = log.text(LogField::username);
        return name.empty() ? log.text(LogField::uid) : name;
    }
    case LogColumn::sourcePort:
        return portLabel(log.text(LogField::srcport), log.text(LogField::srcportname));
    case LogColumn::destinationPort:
        return portLabel(log.text(LogField::dstport), log.text(LogField::dstportname));
    default:
        return log.text(describe(column).field);
    }
}

std::string columnToolTip(const VDXLog& log, LogColumn column) {
    switch (column) {
    case LogColumn::actionDirection:
        return columnText(log, column);
    case LogColumn::date:
        return fullDate(log);
    case LogColumn::user:
        return userToolTip(log);
    case LogColumn::source:
        return addressToolTip(log, LogField::addresssrcip, LogField::srcip);
    case LogColumn::sourcePort:
        return portToolTip(log, LogField::srcport, LogField::srcportname);
    case LogColumn::destination:
        return addressToolTip(log, LogField::addressdstip, LogField::dstip);
    case LogColumn::destinationPort:
        return portToolTip(log, LogField::dstport, LogField::dstportname);
    default:
        return {};
    }
}

} // namespace brindle
