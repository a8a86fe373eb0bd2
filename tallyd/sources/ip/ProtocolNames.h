// SPDX-License-Identifier: BSD-2-Clause
//
// The one spelling a transport protocol has in records: its lower-case name as in /etc/protocols,
// or its number where there is no name. The names are built in, so that a record says the same on
// every system and inside a sandbox without /etc. Callable from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace brindle::tallyd {

/// "tcp" for 6, "ipv6-icmp" for 58, "200" for a number without a name.
std::string protocolName(std::uint8_t number);

/// The same for what a text log wrote: a number ("58"), a name in either case ("TCP"), or a name
/// that only some logs use ("ICMPv6"). A text that is none of these comes back in lower case.
std::string protocolNameFromText(std::string_view text);

} // namespace brindle::tallyd
