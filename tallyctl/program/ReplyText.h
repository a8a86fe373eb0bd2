// SPDX-License-Identifier: BSD-2-Clause
//
// The replies other than records, as text: lists of counts and the daemon's status.
#pragma once

#include "protocol/DaemonStatus.h"
#include "protocol/TallydHelperProtocol.h"
#include "tallyctl/program/Arguments.h"

#include <string>
#include <vector>

namespace brindle::tallyctl {

/// One line an entry in the list's order, under a heading in table and CSV form. JSON objects have
/// the keys "label", "value", "isIP" and "isPort".
std::string countText(const std::vector<CountEntry>& entries, Format format);

/// A table, or for Format::jsonl one JSON object on one line with DaemonStatus's member names as
/// keys; "oldest" and "newest" are epochs there, null on an empty store.
std::string statusText(const DaemonStatus& status, Format format);

} // namespace brindle::tallyctl
