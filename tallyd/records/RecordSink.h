// SPDX-License-Identifier: BSD-2-Clause
//
// Where sources put what they collected. Implemented by the store's intake; a source knows nothing
// else of what follows. Callable from any thread.
#pragma once

#include "core/log/records/PacketRecord.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brindle::tallyd {

/// Names a source towards the sink, for its figures. Made by `addSource`.
using SourceId = std::uint32_t;

class RecordSink {
  public:
    virtual ~RecordSink() = default;

    /// Registers a source by its configured name ("replay:/path@10"), before its first record.
    virtual SourceId addSource(const std::string& name) = 0;
    /// Where this source stopped reading when its last records were stored, in its own words; empty
    /// for one that never said. The same for the whole run of the daemon: what a restart goes on
    /// from.
    virtual std::string storedPosition(SourceId source) = 0;
    /// Shown in status: "running", "ended", or why the source waits.
    virtual void setState(SourceId source, const std::string& state) = 0;

    /// Takes records over, in the order they are to be stored. Waits while the queue is full when
    /// `whenFull` is wait (files: nothing is lost); else drops them and counts the loss.
    /// `position`: where reading stands after these records; stored in the transaction that stores
    /// them, so that a restart neither repeats nor skips one. Empty: unchanged. Without records the
    /// position alone is stored.
    enum class WhenFull { wait, drop };
    virtual void add(SourceId source, std::vector<PacketRecord> records, WhenFull whenFull,
                     std::string position = {}) = 0;

    /// Counts input that became no record ("no addresses", "cut short" …) or never reached the
    /// source (kernel drops).
    virtual void countLost(SourceId source, std::string_view reason, std::uint64_t count) = 0;
};

} // namespace brindle::tallyd
