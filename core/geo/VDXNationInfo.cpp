// SPDX-License-Identifier: BSD-2-Clause
#include "core/geo/VDXNationInfo.h"

#include "core/geo/NationNames.h"
#include "core/net/IpRange.h"

#include <algorithm>
#include <array>
#include <utility>

namespace brindle {
namespace {

constexpr std::string_view kUnknownLocation = "Unknown location";

constexpr std::array<Ipv4Range, 4> kLocalNetworks{{
    {0xC0A80000, 0xC0A8FFFF}, // 192.168.0.0/16
    {0xAC100000, 0xAC1FFFFF}, // 172.16.0.0/12
    {0x0A000000, 0x0AFFFFFF}, // 10.0.0.0/8
    {0xA9FE0000, 0xA9FEFFFF}, // 169.254.0.0/16
}};

bool isLocalNetwork(std::uint32_t address) {
    return std::ranges::any_of(
        kLocalNetworks, [address](const Ipv4Range& network) { return network.contains(address); });
}

} // namespace

VDXNationInfo::VDXNationInfo(const NationsDatabase& database, const ImageEffects& effects,
                             std::shared_ptr<platform::DispatchQueue> queue)
    : database_(database), pictures_(effects), queue_(std::move(queue)) {}

NationInfo VDXNationInfo::nationInfo(std::string_view text) {
    NationInfo answer;
    queue_->sync([this, text, &answer] { answer = lookupNation(text); });
    return answer;
}

NationInfo VDXNationInfo::lookupNation(std::string_view text) {
    // Never changes, so that nothing needs to be kept for each address.
    if (text.find(':') != text.npos)
        return records_[at(Location::ipv6)];
    if (const auto known = nationLookupCache_.find(text))
        return records_[*known];
    const RecordNumber answer = decide(text);
    nationLookupCache_.store(text, answer);
    return records_[answer];
}

VDXNationInfo::RecordNumber VDXNationInfo::decide(std::string_view text) {
    // Before the look at the text: without a database nothing is known of any place.
    if (database_.nationsDatabase().empty())
        return at(Location::unknown);
    if (text.starts_with("127."))
        return at(Location::loopback);
    const auto address = ipv4NumberLoose(text);
    if ((address && isLocalNetwork(*address)) || text.starts_with("fc") || text.starts_with("fd"))
        return at(Location::localNetwork);
    const VDXNationVisualizer* nation = address ? database_.firstMatch(*address) : nullptr;
    return nation ? in(*nation) : at(Location::unknown);
}

VDXNationInfo::RecordNumber VDXNationInfo::in(const VDXNationVisualizer& nation) {
    if (const auto known = nations_.find(nation.isoName); known != nations_.end())
        return known->second;
    const auto& [oval, small] = pictures_.flag(nation.isoName);
    const std::string_view name = nationName(nation.isoName).value_or(kUnknownLocation);
    const RecordNumber number = add({std::string(name), oval, nation.isoName, small});
    nations_.emplace(nation.isoName, number);
    return number;
}

VDXNationInfo::RecordNumber VDXNationInfo::at(Location location) {
    auto& number = locations_[static_cast<std::size_t>(location)];
    if (!number)
        number = add(recordOf(location));
    return *number;
}

VDXNationInfo::RecordNumber VDXNationInfo::add(NationInfoRecord record) {
    records_.push_back(std::make_shared<const NationInfoRecord>(std::move(record)));
    return static_cast<RecordNumber>(records_.size() - 1);
}

NationInfoRecord VDXNationInfo::recordOf(Location location) {
    const auto unchanged = [](std::string name, const char* pictureName) {
        const Picture picture = Picture::named(pictureName);
        return NationInfoRecord{std::move(name), picture, std::nullopt, picture};
    };
    const auto global = [this](std::string name) {
        const auto& [oval, small] = pictures_.globe();
        return NationInfoRecord{std::move(name), oval, std::nullopt, small};
    };
    switch (location) {
    case Location::ipv6:
        return global("IPv6 Address Space");
    case Location::loopback:
        return unchanged("Loopback Interface", "NSComputer");
    case Location::localNetwork:
        return unchanged("Local Area Network", "homelanicon");
    case Location::unknown:
    case Location::count:
        break;
    }
    return global(std::string(kUnknownLocation));
}

} // namespace brindle
