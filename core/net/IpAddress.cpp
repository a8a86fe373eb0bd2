// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/IpAddress.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <arpa/inet.h>

namespace brindle {

IpAddress IpAddress::fromBytes(std::span<const std::uint8_t> bytes) {
    IpAddress address;
    if (bytes.size() == 4)
        address.family_ = Family::v4;
    else if (bytes.size() == 16)
        address.family_ = Family::v6;
    else
        return address;
    std::copy(bytes.begin(), bytes.end(), address.bytes_.begin());
    return address;
}

std::optional<IpAddress> IpAddress::parse(std::string_view text) {
    // inet_pton wants a terminated text, and takes what stands before an embedded NUL.
    if (text.empty() || text.size() >= INET6_ADDRSTRLEN || text.find('\0') != text.npos)
        return std::nullopt;
    char terminated[INET6_ADDRSTRLEN];
    std::copy(text.begin(), text.end(), terminated);
    terminated[text.size()] = '\0';

    IpAddress address;
    if (inet_pton(AF_INET, terminated, address.bytes_.data()) == 1)
        address.family_ = Family::v4;
    else if (inet_pton(AF_INET6, terminated, address.bytes_.data()) == 1)
        address.family_ = Family::v6;
    else
        return std::nullopt;
    return address;
}

namespace {

// Texts are written by hand: they are the hot path of every answer.

char* appendDecimal(char* out, std::uint8_t value) {
    if (value >= 100)
        *out++ = static_cast<char>('0' + value / 100);
    if (value >= 10)
        *out++ = static_cast<char>('0' + value / 10 % 10);
    *out++ = static_cast<char>('0' + value % 10);
    return out;
}

char* appendQuad(char* out, const std::uint8_t* bytes) {
    for (std::size_t i = 0; i < 4; ++i) {
        if (i > 0)
            *out++ = '.';
        out = appendDecimal(out, bytes[i]);
    }
    return out;
}

char* appendHex(char* out, unsigned group) {
    constexpr char kDigits[] = "0123456789abcdef";
    int shift = 12;
    while (shift > 0 && group >> shift == 0)
        shift -= 4;
    for (; shift >= 0; shift -= 4)
        *out++ = kDigits[group >> shift & 15u];
    return out;
}

using Groups = std::array<unsigned, 8>;

struct ZeroRun {
    std::size_t first = 0;
    std::size_t length = 0;
};

/// The longest run of two groups or more that are 0, of equal ones the first: what "::" stands for.
ZeroRun zeroRun(const Groups& groups) {
    ZeroRun best;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const std::size_t first = i;
        while (i < groups.size() && groups[i] == 0)
            ++i;
        if (i - first >= 2 && i - first > best.length)
            best = {first, i - first};
    }
    return best;
}

char* appendGroups(char* out, const std::uint8_t* bytes) {
    Groups groups;
    for (std::size_t i = 0; i < groups.size(); ++i)
        groups[i] = static_cast<unsigned>(bytes[2 * i]) << 8 | bytes[2 * i + 1];
    const ZeroRun zeros = zeroRun(groups);
    // "::192.0.2.1" and "::ffff:192.0.2.1" end in an IPv4 address.
    const bool endsInQuad =
        zeros.first == 0 && (zeros.length == 6 || (zeros.length == 5 && groups[5] == 0xFFFF));
    for (std::size_t i = 0; i < groups.size(); ++i) {
        if (i == zeros.first && zeros.length > 0) {
            *out++ = ':';
            *out++ = ':';
            i += zeros.length - 1;
            continue;
        }
        const bool afterZeros = zeros.length > 0 && i == zeros.first + zeros.length;
        if (i > 0 && !afterZeros)
            *out++ = ':';
        if (i == 6 && endsInQuad)
            return appendQuad(out, bytes + 12);
        out = appendHex(out, groups[i]);
    }
    return out;
}

} // namespace

std::string IpAddress::text() const {
    char buffer[INET6_ADDRSTRLEN];
    if (family_ == Family::v4)
        return {buffer, appendQuad(buffer, bytes_.data())};
    if (family_ == Family::v6)
        return {buffer, appendGroups(buffer, bytes_.data())};
    return {};
}

std::size_t IpAddressHash::operator()(const IpAddress& address) const noexcept {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    const auto bytes = address.bytes();
    if (bytes.size() == 4) {
        std::memcpy(&low, bytes.data(), 4);
    } else if (bytes.size() == 16) {
        std::memcpy(&high, bytes.data(), 8);
        std::memcpy(&low, bytes.data() + 8, 8);
    }
    std::uint64_t mixed = (high ^ (low * 0x9E3779B97F4A7C15ULL)) * 0xD6E8FEB86659FD93ULL;
    return mixed ^ (mixed >> 32);
}

} // namespace brindle
