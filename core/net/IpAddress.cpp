// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/IpAddress.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>

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

char* appendDecimal(char* out, std::uint8_t value) {
    if (value >= 100)
        *out++ = static_cast<char>('0' + value / 100);
    if (value >= 10)
        *out++ = static_cast<char>('0' + value / 10 % 10);
    *out++ = static_cast<char>('0' + value % 10);
    return out;
}

} // namespace

std::string IpAddress::text() const {
    if (family_ == Family::v4) {
        // Written by hand: this is the hot path of every query answer.
        char buffer[INET_ADDRSTRLEN];
        char* out = buffer;
        for (std::size_t i = 0; i < 4; ++i) {
            if (i > 0)
                *out++ = '.';
            out = appendDecimal(out, bytes_[i]);
        }
        return {buffer, out};
    }
    if (family_ == Family::v6) {
        char buffer[INET6_ADDRSTRLEN];
        inet_ntop(AF_INET6, bytes_.data(), buffer, sizeof buffer);
        return buffer;
    }
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
