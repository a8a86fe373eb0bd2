// SPDX-License-Identifier: BSD-2-Clause
//
// One input read from its beginning to its end: a packet capture or a text log, its kind found by
// content. Opened and read by an import or a replay, on the one thread of its owner.
//
//     auto input = openInput("/var/log/pflog");
//     std::vector<PacketRecord> records;
//     while ((*input)->read(records, 4096)) { …store and clear records… }
#pragma once

#include "core/log/records/PacketRecord.h"
#include "tallyd/sources/actions/ActionPatterns.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

/// One input of an import: a capture or a text log, kind found by content. One thread.
class InputFile {
  public:
    virtual ~InputFile() = default;
    /// Appends up to `limit` records; false when the input has ended (records may have been
    /// appended).
    virtual bool read(std::vector<PacketRecord>& records, std::size_t limit) = 0;
    /// What became no record, by reason.
    virtual const std::map<std::string, std::uint64_t>& skipped() const = 0;
    /// Empty after a clean end; else one line naming the input, where, and what was wrong
    /// ("x.pcap: packet 13 is cut short: …").
    virtual const std::string& problem() const = 0;
};

/// `path` "-" is standard input. An empty file is a log without lines. Error: one line naming the
/// path and the reason (missing, not a log, foreign link type). `patterns`: what a log prefix
/// means.
tl::expected<std::unique_ptr<InputFile>, std::string>
openInput(const std::string& path, ActionPatterns patterns = ActionPatterns());

} // namespace brindle::tallyd
