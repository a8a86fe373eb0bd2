// SPDX-License-Identifier: BSD-2-Clause
//
// An IPv4 or IPv6 address as a value: family and bytes in network order. The daemon stores and
// compares addresses in this form; text is made from it only where a reader sees it.
//
//     auto address = IpAddress::parse("2001:db8::1");
//     if (address) std::puts(address->text().c_str());
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace brindle {

class IpAddress {
  public:
    enum class Family : std::uint8_t { none = 0, v4 = 4, v6 = 6 };

    /// No address at all: family none, no bytes.
    IpAddress() = default;

    /// `bytes`: 4 bytes (IPv4) or 16 bytes (IPv6) in network order; any other length gives none.
    static IpAddress fromBytes(std::span<const std::uint8_t> bytes);
    /// Dotted quad or colon text as inet_pton accepts it; nothing for any other text.
    static std::optional<IpAddress> parse(std::string_view text);

    Family family() const { return family_; }
    bool isValid() const { return family_ != Family::none; }
    /// 4 or 16 bytes in network order, none for an address without family.
    std::span<const std::uint8_t> bytes() const { return {bytes_.data(), size()}; }
    /// Dotted quad, or the compressed lower-case form of inet_ntop; empty without family.
    std::string text() const;

    friend auto operator<=>(const IpAddress&, const IpAddress&) = default;

  private:
    std::size_t size() const { return family_ == Family::v4 ? 4 : family_ == Family::v6 ? 16 : 0; }

    Family family_ = Family::none;
    std::array<std::uint8_t, 16> bytes_{};
};

/// For unordered containers keyed by address.
struct IpAddressHash {
    std::size_t operator()(const IpAddress& address) const noexcept;
};

} // namespace brindle
