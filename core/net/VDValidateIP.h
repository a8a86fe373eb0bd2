// SPDX-License-Identifier: BSD-2-Clause
//
// Whether a text is one address. Keeps nothing between calls; any thread.
#pragma once

#include <string_view>

namespace brindle {

class VDValidateIP {
  public:
    /// True when inet_pton takes the whole text as IPv4 (four decimal parts without leading zeros)
    /// or as IPv6.
    bool isValidIpAddress(std::string_view text) const;
};

} // namespace brindle
