// SPDX-License-Identifier: BSD-2-Clause
#include "core/net/VDValidateIP.h"

#include "core/net/IpAddress.h"

namespace brindle {

bool VDValidateIP::isValidIpAddress(std::string_view text) const {
    return IpAddress::parse(text).has_value();
}

} // namespace brindle
