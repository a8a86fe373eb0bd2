// SPDX-License-Identifier: BSD-2-Clause
//
// IPv6 text to numbers. An instance remembers its last result, so each thread makes its own.
#pragma once

#include "core/net/IpRange.h"

#include <string_view>

namespace brindle {

class KVTools {
  public:
    /// The eight groups of an IPv6 address. For any other text the previous result of this
    /// instance, all zeros before the first.
    Ipv6Groups ipv6intconverter(std::string_view text);

  private:
    Ipv6Groups groups_{};
};

} // namespace brindle
