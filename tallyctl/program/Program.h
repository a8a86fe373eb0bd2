// SPDX-License-Identifier: BSD-2-Clause
//
// tallyctl without its process: carries one command out over a connection it opens itself. The main
// thread waits here while the connection's delivery thread prints.
#pragma once

#include "protocol/TallydConnection.h"
#include "tallyctl/program/Arguments.h"
#include "tallyctl/program/Output.h"

#include <functional>
#include <memory>
#include <string>

#include <tl/expected.hpp>

namespace brindle::tallyctl {

using OpenConnection = std::function<std::shared_ptr<TallydConnection>(
    Connector connector, std::weak_ptr<TallydAgentProtocol> agent)>;

/// Nothing, or one line that says what failed. A reader of `output` that went away is no failure.
using Outcome = tl::expected<void, std::string>;

/// Every command but `tail`.
Outcome runRequest(const Arguments& arguments, const OpenConnection& open, Output& output);

/// Prints live records until SIGINT, SIGTERM or SIGHUP arrives, which the caller has blocked in
/// every thread together with SIGUSR1; until nobody reads any more; or until the connection ends,
/// which is a failure.
Outcome runTail(const Arguments& arguments, const OpenConnection& open, Output& output);

} // namespace brindle::tallyctl
