// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/filterlog/FilterlogDecoder.h"

#include "tallyd/sources/ip/ProtocolNames.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace brindle::tallyd {

namespace {

constexpr std::string_view kProgram = "filterlog";
constexpr std::string_view kTooFewFields = "too few fields";
constexpr std::string_view kBadVersion = "IP version is neither 4 nor 6";
constexpr std::string_view kNoAddresses = "no source and destination address";

// The fields common to all lines.
enum Field : std::size_t {
    kRule = 0,
    kSubrule = 1,
    kAnchor = 2,
    kInterface = 4,
    kAction = 6,
    kDirection = 7,
    kVersion = 8,
};

/// Where a version's further fields are.
struct Layout {
    std::size_t protocolNumber;
    std::size_t protocolName;
    std::size_t source;
    std::size_t destination;
    std::size_t sourcePort;
    std::size_t destinationPort;
};
constexpr Layout kLayout4{15, 16, 18, 19, 20, 21};
constexpr Layout kLayout6{13, 12, 15, 16, 17, 18};
constexpr std::size_t kOffset4 = 13; ///< IPv4's fragment offset

/// The fields a record is made of; those that the line does not have are empty.
class Fields {
  public:
    explicit Fields(std::string_view text) {
        while (count_ < texts_.size()) {
            const std::size_t comma = text.find(',');
            texts_[count_++] = text.substr(0, comma);
            if (comma == text.npos)
                break;
            text.remove_prefix(comma + 1);
        }
    }

    std::size_t count() const { return count_; }
    std::string_view operator[](std::size_t index) const { return texts_[index]; }
    std::uint16_t number16(std::size_t index) const {
        const std::string_view text = texts_[index];
        std::uint16_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        return error == std::errc() && end == text.data() + text.size() ? number : 0;
    }

  private:
    std::array<std::string_view, 22> texts_{};
    std::size_t count_ = 0;
};

std::string ruleText(const Fields& fields) {
    std::string text(fields[kRule]);
    // Some versions fill the sub-rule of rules that are in no anchor with a number without meaning.
    if (!fields[kAnchor].empty() && !fields[kSubrule].empty())
        text.append(".").append(fields[kAnchor]).append(".").append(fields[kSubrule]);
    return text;
}

std::string protocolOf(const Fields& fields, const Layout& layout) {
    const std::string_view number = fields[layout.protocolNumber];
    return protocolNameFromText(number.empty() ? fields[layout.protocolName] : number);
}

} // namespace

bool FilterlogDecoder::recognises(std::string_view line) {
    if (line.find(kProgram) != line.npos)
        return true;
    // A bare line starts with the rule's number, and nothing but commas separates.
    const std::size_t digits = line.find_first_not_of("0123456789");
    return digits != 0 && digits != line.npos && line[digits] == ',' &&
           std::count(line.begin(), line.end(), ',') >= static_cast<std::ptrdiff_t>(kVersion);
}

tl::expected<PacketRecord, std::string_view> FilterlogDecoder::decode(std::string_view line,
                                                                      const LineClock& clock) {
    while (line.ends_with('\r') || line.ends_with(' '))
        line.remove_suffix(1);
    const LineHeader header = headers_.read(line, clock);
    const Fields fields(header.message);
    if (fields.count() <= kVersion)
        return tl::unexpected(kTooFewFields);
    const std::string_view version = fields[kVersion];
    if (version != "4" && version != "6")
        return tl::unexpected(kBadVersion);
    const Layout& layout = version == "4" ? kLayout4 : kLayout6;

    const auto src = IpAddress::parse(fields[layout.source]);
    const auto dst = IpAddress::parse(fields[layout.destination]);
    if (!src || !dst)
        return tl::unexpected(kNoAddresses);

    PacketRecord record;
    record.timeMicros = header.timeMicros;
    record.action = actionFromText(fields[kAction]);
    record.direction = directionFromText(fields[kDirection]);
    record.interface = fields[kInterface];
    record.rule = ruleText(fields);
    record.src = *src;
    record.dst = *dst;
    record.proto = protocolOf(fields, layout);
    const bool laterFragment = version == "4" && fields.number16(kOffset4) != 0;
    if ((record.proto == "tcp" || record.proto == "udp") && !laterFragment) {
        record.srcport = fields.number16(layout.sourcePort);
        record.dstport = fields.number16(layout.destinationPort);
    }
    return record;
}

} // namespace brindle::tallyd
