// SPDX-License-Identifier: BSD-2-Clause
//
// The question that every live record must pass before it is shown. The answer may change at any
// time; implementations are safe to ask from any thread and never wait.
#pragma once

#include <string_view>

namespace brindle {

class ExclusionTest {
  public:
    virtual ~ExclusionTest() = default;
    /// Addresses as text, ports in decimal. `family`: 4, 6, or anything else for unknown. True when
    /// the record must be hidden.
    virtual bool isExcluded(std::string_view srcip, std::string_view srcport,
                            std::string_view dstip, std::string_view dstport, int family) const = 0;
    /// One counted port, in decimal.
    virtual bool isPortExcluded(std::string_view port) const = 0;
    /// One counted address. `family`: 4 or 6.
    virtual bool isAddressExcluded(std::string_view address, int family) const = 0;
};

} // namespace brindle
