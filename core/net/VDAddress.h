// SPDX-License-Identifier: BSD-2-Clause
//
// One piece of address text that a user typed, understood: a single address or a block, its family,
// and the addresses it covers. The only way from typed text to an exclusion. A value that nothing
// changes after it was made; any thread.
//
//     if (auto address = VDAddress::fromText("10/8")) use(address->min4, address->max4);
#pragma once

#include "core/net/IpRange.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brindle {

class VDAddress {
  public:
    /// Nothing when the text is refused: neither an address nor a block, a block without host bits
    /// ("1.2.3.4/32"), or a block of everything that is not written "0.0.0.0/0" or "::/0".
    static std::optional<VDAddress> fromText(std::string_view text);

    std::string address;    ///< the text as it was passed, prefix included
    int version = 0;        ///< 4 or 6
    bool isRange = false;   ///< a block, not a single address
    std::uint32_t max4 = 0; ///< last address of an IPv4 entry
    std::uint32_t min4 = 0; ///< first address of an IPv4 entry
    Ipv6Groups max6{};      ///< last address of an IPv6 entry
    Ipv6Groups min6{};      ///< first address of an IPv6 entry

  private:
    VDAddress() = default;
    /// False when the text has no range.
    bool computeBounds(std::string_view text);
};

} // namespace brindle
