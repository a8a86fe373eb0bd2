// SPDX-License-Identifier: BSD-2-Clause
//
// Where the picture of an account may be found: what AccountsService keeps, then what the account's
// owner put into the home directory. Only files are looked at, never the service itself, which
// could hold the caller. Any thread.
//
//     for (const auto& file : accountPictureFiles(account, {}))
//         if (auto bytes = readPictureFile(file)) ...
#pragma once

#include "platform/identity/LocalAccounts.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace brindle::platform {

/// No account picture is larger in bytes; AccountsService takes none beyond it either.
inline constexpr std::size_t kLargestPictureFile = 1 << 20;

/// Paths to try in turn, whether or not there is a file: the Icon that AccountsService's entry for
/// the account names, its icons/NAME, ~/.face and ~/.face.icon.
std::vector<std::string> accountPictureFiles(const LocalAccount& account,
                                             const IdentityPaths& paths);

/// The bytes of a picture file. Nothing when it cannot be read, is empty, is no regular file (other
/// people's homes may hold anything), or is larger than kLargestPictureFile. Does not wait for a
/// writer at the other end of a pipe.
std::optional<std::string> readPictureFile(const std::string& path);

} // namespace brindle::platform
