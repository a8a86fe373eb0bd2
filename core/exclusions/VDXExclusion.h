// SPDX-License-Identifier: BSD-2-Clause
//
// One entry of the exclusion list: an address, a block or a port that the user does not want to
// see. A plain value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace brindle {

class VDXExclusion {
  public:
    VDXExclusion() = default;
    /// Without a low bound both bounds are empty, whatever the high bound says.
    VDXExclusion(std::string type_, std::string exclusion_, std::optional<std::string> low,
                 std::optional<std::string> high, std::int64_t version)
        : type(std::move(type_)), exclusion(std::move(exclusion_)), versionIP(version) {
        if (low) {
            lrange = std::move(*low);
            hrange = std::move(high).value_or("");
        }
    }

    std::string type;           ///< "ip", "cidr" or "port"; any other is kept and hides nothing
    std::string exclusion;      ///< what the editor shows: address, block or port in decimal
    std::string lrange;         ///< "cidr": first address of the block as text
    std::string hrange;         ///< "cidr": last address of the block as text
    std::int64_t versionIP = 0; ///< 4 or 6

    friend bool operator==(const VDXExclusion&, const VDXExclusion&) = default;
};

} // namespace brindle
