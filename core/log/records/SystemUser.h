// SPDX-License-Identifier: BSD-2-Clause
//
// A local user as rows show him. Listed once at start-up; a plain value.
#pragma once

#include "core/log/records/Picture.h"

#include <cstdint>
#include <string>

namespace brindle {

/// The id of a user whose id could not be read; no record carries it as a real one.
inline constexpr std::int64_t kUnknownPosixID = 2147483647;

struct VDXSystemUser {
    std::string fullName;     ///< display name
    std::string posixName;    ///< login name
    std::int64_t posixID = 0; ///< or kUnknownPosixID
    Picture smallRoundImage;  ///< clipped to an ellipse, 16 by 16 points
    Picture bigRoundImage;    ///< clipped to an ellipse, 128 by 128 points
    bool isAdmin = false;     ///< member of the administrators' group
};

} // namespace brindle
