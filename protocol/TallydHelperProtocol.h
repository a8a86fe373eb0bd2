// SPDX-License-Identifier: BSD-2-Clause
//
// The requests that the daemon answers, as the viewer and tallyctl send them, in their declared
// order. An object of this class is a proxy: it belongs to one connection and to the error handler
// it was made with. A request ends in exactly one of: its reply callback, the proxy's error
// handler, or silence because it was cancelled.
//
// Through an asynchronous proxy a call returns at once, callbacks run on the connection's delivery
// thread. Through a synchronous proxy a call returns after its callback or the error handler has
// run on the calling thread (5 seconds at the most, then it is an error). Log queries are
// asynchronous through either.
//
// Times are seconds since 1970-01-01 00:00 UTC, fractional. `action` is "pass" or "block",
// `direction` "in" or "out".
#pragma once

#include "core/log/records/RecordBatch.h"
#include "protocol/DaemonStatus.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace brindle {

/// One line of a count reply: an address or a port (decimal) and how many records it had.
struct CountEntry {
    std::string label;
    std::int64_t value = 0;
    bool isIP = false;
    bool isPort = false;

    friend bool operator==(const CountEntry&, const CountEntry&) = default;
};

/// Entries largest first, ties by label in numeric order. `sequence`: every record up to it is
/// counted, none after it.
struct CountReply {
    std::vector<CountEntry> entries;
    std::uint64_t sequence = 0;
};

/// The two lists of a breakdown, in the same order: table rows and pie entries.
struct BreakdownReply {
    std::vector<CountEntry> entries;
    std::vector<CountEntry> pie;
    std::uint64_t sequence = 0;
};

/// How a log query's answer arrives: batches newest first, then the one end. If the answer breaks
/// off the proxy's error handler runs instead of `end`. `batch` may hold its caller up: the daemon
/// then waits.
struct RecordReply {
    std::function<void(std::shared_ptr<const RecordBatch>)> batch;
    std::function<void()> end;
};

/// A log query under way. Dropping the handle does not abandon the query; `cancel` does, from any
/// thread: no callback starts after it returned, unless it was called from within one.
class RunningQuery {
  public:
    virtual ~RunningQuery() = default;
    virtual void cancel() = 0;
};

class TallydHelperProtocol {
  public:
    virtual ~TallydHelperProtocol() = default;

    virtual void getVersionWithReply(std::function<void(std::string)> reply) = 0;
    /// Records with from <= time <= to, newest first; from after to is an empty answer. The handle
    /// is never null.
    virtual std::shared_ptr<RunningQuery> doQueryFromEpochFrom(double from, double to,
                                                               RecordReply reply) = 0;
    /// `obj`: "SRCIP", "DSTIP" or "DSTPORT", the field that is counted.
    virtual void getOBJcontWithEpoch(double epoch, std::string action, std::string direction,
                                     std::string obj, std::function<void(CountReply)> reply) = 0;
    virtual void startSendingLog() = 0;
    virtual void stopSendingLog() = 0;
    virtual void getPORTfromIPcontWithEpoch(double epoch, std::string ip, std::string action,
                                            std::string direction,
                                            std::function<void(BreakdownReply)> reply) = 0;
    virtual void getIPfromPORTcontWithEpoch(double epoch, std::int64_t port, std::string action,
                                            std::string direction,
                                            std::function<void(BreakdownReply)> reply) = 0;
    /// Accepted by the daemon, without effect.
    virtual void sendPortsArraysWithPassin(std::vector<std::string> passin,
                                           std::vector<std::string> passout,
                                           std::vector<std::string> blockin,
                                           std::vector<std::string> blockout) = 0;
    /// The date text of the oldest record in the reader's zone; empty when nothing is stored.
    virtual void getOldestRecordDateWithReply(std::function<void(std::string)> reply) = 0;
    virtual void getNewestRecordDateWithReply(std::function<void(std::string)> reply) = 0;
    /// The number of stored records in decimal.
    virtual void getRowsCountWithReply(std::function<void(std::string)> reply) = 0;
    /// Removes the records before `end`.
    virtual void purgeLogDBWithEndDate(double end) = 0;

    // Additions to the twelve messages.

    virtual void getStatusWithReply(std::function<void(DaemonStatus)> reply) = 0;
};

} // namespace brindle
