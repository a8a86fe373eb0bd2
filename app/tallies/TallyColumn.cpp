// SPDX-License-Identifier: BSD-2-Clause
#include "app/tallies/TallyColumn.h"

#include <array>

#include <fmt/format.h>

namespace brindle {
namespace {

constexpr std::array<TallyColumnInfo, kTallyColumnCount> kColumns{{
    {TallyColumn::legend, "legend", "", "The colour of the slice", TallyAlignment::center, "",
     false, false},
    {TallyColumn::nation, "nation", "Nation",
     "The nation that the address belongs to; lan where there is none", TallyAlignment::left, "WWW",
     false, false},
    {TallyColumn::address, "address", "Address", "Address, or host name once it is known",
     TallyAlignment::left, "2001:db8:88:88:8888:8888:8888:8888", true, false},
    {TallyColumn::port, "port", "Port", "Destination port", TallyAlignment::right, "58888", false,
     false},
    {TallyColumn::service, "service", "Service", "The name of the port's service",
     TallyAlignment::left, "service-name", true, false},
    {TallyColumn::records, "records", "Records", "How many records were counted",
     TallyAlignment::right, "88,888,888", false, true},
    {TallyColumn::share, "share", "Share",
     "Of all records of this list; bars are drawn against the largest one", TallyAlignment::right,
     "100.0 %", false, true},
}};

constexpr std::array kListedAddresses{TallyColumn::nation, TallyColumn::address,
                                      TallyColumn::records, TallyColumn::share};
constexpr std::array kListedPorts{TallyColumn::port, TallyColumn::service, TallyColumn::records,
                                  TallyColumn::share};
constexpr std::array kAddressesOfPort{TallyColumn::legend, TallyColumn::nation,
                                      TallyColumn::address, TallyColumn::records,
                                      TallyColumn::share};
constexpr std::array kPortsOfAddress{TallyColumn::legend, TallyColumn::port, TallyColumn::service,
                                     TallyColumn::records, TallyColumn::share};

double fractionOf(std::int64_t value, std::int64_t total) {
    return total > 0 ? static_cast<double>(value) / static_cast<double>(total) : 0;
}

} // namespace

const TallyColumnInfo& describe(TallyColumn column) {
    return kColumns[static_cast<std::size_t>(column)];
}

std::span<const TallyColumn> tallyColumns(TallyTableKind kind) {
    switch (kind) {
    case TallyTableKind::listedPorts:
        return kListedPorts;
    case TallyTableKind::addressesOfPort:
        return kAddressesOfPort;
    case TallyTableKind::portsOfAddress:
        return kPortsOfAddress;
    case TallyTableKind::listedAddresses:
        break;
    }
    return kListedAddresses;
}

std::string groupedNumber(std::int64_t number) {
    const std::string digits = std::to_string(number);
    const std::size_t sign = number < 0 ? 1 : 0;
    std::string text;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i > sign && (digits.size() - i) % 3 == 0)
            text += ',';
        text += digits[i];
    }
    return text;
}

std::string shareText(double fraction) {
    if (fraction > 0 && fraction < 0.0005)
        return "< 0.1 %";
    return fmt::format("{:.1f} %", fraction * 100);
}

std::string columnText(const VisualizerObj& row, TallyColumn column, std::int64_t total) {
    switch (column) {
    case TallyColumn::nation:
        return std::string(row.nationcodeip());
    case TallyColumn::address:
    case TallyColumn::port:
        return row.label();
    case TallyColumn::service:
        return row.portname();
    case TallyColumn::records:
        return groupedNumber(row.value());
    case TallyColumn::share:
        return shareText(fractionOf(row.value(), total));
    case TallyColumn::legend:
    case TallyColumn::count:
        break;
    }
    return {};
}

std::string columnToolTip(const VisualizerObj& row, TallyColumn column, std::int64_t total) {
    switch (column) {
    case TallyColumn::nation:
        return row.natinfoip() ? row.natinfoip()->name : std::string();
    case TallyColumn::address:
        return row.label() == row.originallabel() ? std::string() : row.originallabel();
    case TallyColumn::records:
    case TallyColumn::share:
        return fmt::format("{} of {} records", groupedNumber(row.value()), groupedNumber(total));
    default:
        return {};
    }
}

} // namespace brindle
