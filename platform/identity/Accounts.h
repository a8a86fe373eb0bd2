// SPDX-License-Identifier: BSD-2-Clause
//
// The password and group databases of this machine. Look-ups may wait for a name service; the
// caller caches.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

namespace brindle::platform {

/// The login name of the account with this uid; empty when there is none.
std::string accountName(std::uint32_t uid);

/// The id of a group or user by name; nothing when there is none.
std::optional<gid_t> groupId(const std::string& name);
std::optional<uid_t> userId(const std::string& name);

} // namespace brindle::platform
