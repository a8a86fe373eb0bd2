// SPDX-License-Identifier: BSD-2-Clause
//
// What can be asked of the counts of stored records. A plain value, made by the server from a
// request it has checked, answered by the store.
#pragma once

#include "core/log/records/PacketRecord.h"

#include <cstdint>

namespace brindle::tallyd {

/// Of the records of one action and direction. The remote address of a record is its source when it
/// came in and its destination when it went out; its port is the destination port.
struct TallyQuestion {
    enum class Of {
        sources,         ///< records by source address
        destinations,    ///< by destination address
        ports,           ///< by port
        portsOfAddress,  ///< by port, those whose remote address is `address`
        addressesOfPort, ///< by remote address, those with `port`
    };

    Of of = Of::sources;
    Action action = Action::pass;
    Direction direction = Direction::in;
    IpAddress address = {};
    std::uint16_t port = 0;
};

} // namespace brindle::tallyd
