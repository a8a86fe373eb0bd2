// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/netfilter/NetfilterDecoder.h"

#include "tallyd/sources/ip/ProtocolNames.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace brindle::tallyd {

namespace {

constexpr std::string_view kNotPacket = "not a packet's line";
constexpr std::string_view kNoAddresses = "no source and destination address";
constexpr std::string_view kNoInterface = "neither an incoming nor an outgoing interface";

/// The fields a record needs; absent ones differ from empty ones ("OUT=").
struct Fields {
    std::string_view prefix;
    std::optional<std::string_view> in;
    std::optional<std::string_view> out;
    std::optional<std::string_view> src;
    std::optional<std::string_view> dst;
    std::optional<std::string_view> proto;
    std::optional<std::string_view> srcport;
    std::optional<std::string_view> dstport;
    std::optional<std::string_view> uid;
};

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// Where "SRC=" starts a word; npos without.
std::size_t findSource(std::string_view text) {
    for (std::size_t at = text.find("SRC="); at != text.npos; at = text.find("SRC=", at + 1))
        if (at == 0 || text[at - 1] == ' ')
            return at;
    return std::string_view::npos;
}

template <typename Number>
Number numberOr(std::optional<std::string_view> text, Number otherwise) {
    Number number{};
    if (!text)
        return otherwise;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
    return error == std::errc() && end == text->data() + text->size() ? number : otherwise;
}

/// Whether a word is one that stands between the interfaces and the addresses.
bool isLinkWord(std::string_view word) {
    for (const std::string_view key :
         {"MAC=", "MACSRC=", "MACDST=", "MACPROTO=", "VPROTO=", "VID=", "PHYSIN=", "PHYSOUT="})
        if (word.starts_with(key))
            return true;
    return false;
}

/// Reads the words before SRC= from their end, up to IN=, which may be glued to the prefix
/// ("DROPIN=eth0"), or to the first word that is none of these; what is left is the prefix.
void readBeforeSource(std::string_view text, Fields& fields) {
    text = trimmed(text);
    while (!text.empty() && !fields.in) {
        const std::size_t blank = text.find_last_of(" \t");
        const std::size_t start = blank == text.npos ? 0 : blank + 1;
        const std::string_view word = text.substr(start);
        std::size_t glued = 0;
        if (!isLinkWord(word)) {
            if (const std::size_t in = word.rfind("IN="); in != word.npos) {
                fields.in = word.substr(in + 3);
                glued = in;
            } else if (const std::size_t out = word.rfind("OUT=");
                       out != word.npos && !fields.out) {
                fields.out = word.substr(out + 4);
                glued = out;
            } else {
                break;
            }
        }
        text = trimmed(text.substr(0, start + glued));
        if (glued > 0)
            break;
    }
    fields.prefix = text;
}

/// Reads the words from SRC= on. What stands in brackets is another packet (the one an ICMP error
/// is about); the first of two values counts.
void readFromSource(std::string_view text, Fields& fields) {
    const auto keep = [](std::optional<std::string_view>& field, std::string_view value) {
        if (!field)
            field = value;
    };
    while (!text.empty()) {
        if (text.front() == '[') {
            const std::size_t end = text.find(']');
            text.remove_prefix(end == text.npos ? text.size() : end + 1);
            continue;
        }
        const std::string_view word = text.substr(0, text.find_first_of(" \t\r"));
        text.remove_prefix(std::min(word.size() + 1, text.size()));
        const std::size_t equals = word.find('=');
        if (equals == word.npos)
            continue;
        const std::string_view key = word.substr(0, equals);
        const std::string_view value = word.substr(equals + 1);
        if (key == "SRC")
            keep(fields.src, value);
        else if (key == "DST")
            keep(fields.dst, value);
        else if (key == "PROTO")
            keep(fields.proto, value);
        else if (key == "SPT")
            keep(fields.srcport, value);
        else if (key == "DPT")
            keep(fields.dstport, value);
        else if (key == "UID")
            keep(fields.uid, value);
    }
}

/// A missing IN= or OUT= stands for an empty one if the other names an interface.
bool hasInterface(const Fields& fields) {
    return (fields.in && fields.out) || (fields.in && !fields.in->empty()) ||
           (fields.out && !fields.out->empty());
}

} // namespace

bool NetfilterDecoder::recognises(std::string_view line) {
    return findSource(line) != line.npos && line.find(" DST=") != line.npos;
}

tl::expected<PacketRecord, std::string_view> NetfilterDecoder::decode(std::string_view line,
                                                                      const LineClock& clock) {
    const LineHeader header = headers_.read(line, clock);
    const std::size_t source = findSource(header.message);
    if (source == header.message.npos)
        return tl::unexpected(kNotPacket);
    Fields fields;
    readBeforeSource(header.message.substr(0, source), fields);
    readFromSource(header.message.substr(source), fields);

    const auto src = IpAddress::parse(fields.src.value_or(""));
    const auto dst = IpAddress::parse(fields.dst.value_or(""));
    if (!src || !dst)
        return tl::unexpected(kNoAddresses);
    if (!hasInterface(fields))
        return tl::unexpected(kNoInterface);

    const std::string_view in = fields.in.value_or("");
    const std::string_view out = fields.out.value_or("");
    PacketRecord record;
    record.timeMicros = header.timeMicros;
    record.uid = numberOr(fields.uid, kNoUid);
    record.action = actions_.of(fields.prefix);
    record.direction = in.empty() && !out.empty() ? Direction::out : Direction::in;
    record.interface = record.direction == Direction::out ? out : in;
    record.rule = fields.prefix;
    record.src = *src;
    record.dst = *dst;
    record.srcport = numberOr<std::uint16_t>(fields.srcport, 0);
    record.dstport = numberOr<std::uint16_t>(fields.dstport, 0);
    record.proto = protocolNameFromText(fields.proto.value_or(""));
    return record;
}

} // namespace brindle::tallyd
