// SPDX-License-Identifier: BSD-2-Clause
//
// What a failed request is told: one line in plain words, without the RPC library's own remarks.
#pragma once

#include <string>
#include <string_view>

#include <kj/exception.h>

namespace brindle::client {

inline constexpr const char* kConnectionClosed = "tallyd closed the connection";

/// Control characters become spaces; a text without end is cut.
std::string oneLine(std::string_view text);

/// Why a request failed. Texts that the daemon sent are marked as its own.
std::string describe(const kj::Exception& error);

/// An error of this end, for a promise to fail with.
kj::Exception localError(const std::string& text);

} // namespace brindle::client
