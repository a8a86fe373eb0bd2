// SPDX-License-Identifier: BSD-2-Clause
#include "vardex/guard/AddressBlock.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <span>

namespace brindle::vardex {
namespace {

constexpr std::array<std::uint8_t, 12> kMappedPrefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
constexpr unsigned kMappedBits = 96;

unsigned width(const IpAddress& address) {
    return static_cast<unsigned>(address.bytes().size()) * 8;
}

/// 0 to `most`, in one to three digits.
std::optional<unsigned> prefixLength(std::string_view text, unsigned most) {
    unsigned prefix = 0;
    const char* const end = text.data() + text.size();
    if (text.empty() || text.size() > 3 || text[0] == '-' || text[0] == '+')
        return std::nullopt;
    const auto [rest, error] = std::from_chars(text.data(), end, prefix);
    if (error != std::errc() || rest != end || prefix > most)
        return std::nullopt;
    return prefix;
}

/// With the bits after the first `prefix` ones all 0, or all 1.
IpAddress withHostBits(const IpAddress& address, unsigned prefix, bool ones) {
    std::array<std::uint8_t, 16> bytes{};
    const std::span<const std::uint8_t> source = address.bytes();
    for (unsigned i = 0; i < source.size(); ++i) {
        const unsigned kept = std::clamp(static_cast<int>(prefix) - static_cast<int>(i * 8), 0, 8);
        const auto host = static_cast<std::uint8_t>(0xff >> kept);
        bytes[i] = ones ? source[i] | host : source[i] & static_cast<std::uint8_t>(~host);
    }
    return IpAddress::fromBytes({bytes.data(), source.size()});
}

bool isMapped(const IpAddress& address) {
    return address.family() == IpAddress::Family::v6 &&
           std::equal(kMappedPrefix.begin(), kMappedPrefix.end(), address.bytes().begin());
}

} // namespace

AddressBlock::AddressBlock(const IpAddress& address, unsigned prefix)
    : first_(withHostBits(address, prefix, false)), last_(withHostBits(address, prefix, true)),
      prefix_(prefix) {}

std::optional<AddressBlock> AddressBlock::parse(std::string_view text) {
    const auto slash = text.find('/');
    const auto address = IpAddress::parse(text.substr(0, slash));
    if (!address)
        return std::nullopt;
    unsigned prefix = width(*address);
    if (slash != text.npos) {
        const auto written = prefixLength(text.substr(slash + 1), prefix);
        if (!written)
            return std::nullopt;
        prefix = *written;
    }
    if (isMapped(*address) && prefix >= kMappedBits)
        return AddressBlock(IpAddress::fromBytes(address->bytes().subspan(kMappedPrefix.size())),
                            prefix - kMappedBits);
    return AddressBlock(*address, prefix);
}

std::string AddressBlock::text() const {
    return isSingle() ? first_.text() : first_.text() + '/' + std::to_string(prefix_);
}

std::vector<AddressBlock> withoutOverlaps(std::vector<AddressBlock> blocks) {
    // Two blocks lie in each other or apart, so the widest of those that begin alike comes first.
    std::sort(blocks.begin(), blocks.end(), [](const AddressBlock& a, const AddressBlock& b) {
        return a.first() != b.first() ? a.first() < b.first() : b.last() < a.last();
    });
    std::vector<AddressBlock> apart;
    for (const AddressBlock& block : blocks)
        if (apart.empty() || !apart.back().overlaps(block))
            apart.push_back(block);
    return apart;
}

} // namespace brindle::vardex
