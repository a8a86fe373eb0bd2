// SPDX-License-Identifier: BSD-2-Clause
//
// The daemon's end of the connections. It owns one thread for all of them and a few workers on
// which it asks the service; accepted sockets and committed records are handed to it from any
// thread.
//
//     server->accept(fd, access);           // the accept thread
//     server->publish(committedRecords);    // the writer, after each commit
#pragma once

#include "core/log/records/PacketRecord.h"
#include "core/log/records/RecordBatch.h"
#include "protocol/DaemonStatus.h"
#include "protocol/TallydHelperProtocol.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace brindle {

/// One log query under way, used by one worker at a time. Destroying it abandons the query.
class RecordCursor {
  public:
    virtual ~RecordCursor() = default;
    /// The next records, newest first; null at the end.
    virtual tl::expected<std::shared_ptr<const RecordBatch>, std::string> next() = 0;
};

/// What the server asks; every function may be called from several workers at once. Errors are one
/// line for the peer. Arguments arrive as the peer sent them: the service bounds and refuses.
class DaemonService {
  public:
    virtual ~DaemonService() = default;

    virtual std::string version() const = 0;
    virtual tl::expected<std::unique_ptr<RecordCursor>, std::string> openQuery(double from,
                                                                               double to) = 0;
    virtual tl::expected<CountReply, std::string>
    countObjects(double epoch, Action action, Direction direction, const std::string& obj) = 0;
    virtual tl::expected<BreakdownReply, std::string>
    portsFromIp(double epoch, const std::string& ip, Action action, Direction direction) = 0;
    virtual tl::expected<BreakdownReply, std::string>
    ipsFromPort(double epoch, std::int64_t port, Action action, Direction direction) = 0;
    /// Epochs; nothing when the store is empty.
    virtual tl::expected<std::optional<double>, std::string> oldestRecord() = 0;
    virtual tl::expected<std::optional<double>, std::string> newestRecord() = 0;
    virtual tl::expected<std::uint64_t, std::string> rowsCount() = 0;
    virtual tl::expected<void, std::string> purgeBefore(double end) = 0;
    /// Everything but the client figures, which the server adds.
    virtual tl::expected<DaemonStatus, std::string> status() = 0;
};

/// What one peer may do. A refused peer gets `refusal` as the error of every request.
struct PeerAccess {
    bool mayRead = false;
    bool mayManage = false;    ///< purge, and the ports arrays
    std::string refusal;       ///< one line, when mayRead is false
    std::string manageRefusal; ///< one line, when mayManage is false
    std::uint32_t user = 0;    ///< whose connection it is: each user has a share of them
};

struct ServerLimits {
    std::size_t connections = 512;
    std::size_t connectionsPerUser = 256; ///< one more is told so, as far as there is room
    std::size_t requestsPerConnection =
        64; ///< under way at once, queries included; more are refused
    std::size_t queriesPerConnection = 16; ///< running at once; one more is refused
    std::size_t messageBytes = 1 << 20;    ///< of a request; a larger one ends the connection
    std::size_t liveQueueRecords = 65536; ///< kept for a slow live client, then the newest are lost
    std::size_t liveMessagesInFlight = 1024; ///< sent and not yet taken by the client
    std::size_t liveMessagesOfAll = 4096;    ///< the same of all clients, who share alike
    std::size_t workers = 4;                 ///< threads that ask the service

    friend bool operator==(const ServerLimits&, const ServerLimits&) = default;
};

class TallydServer {
  public:
    virtual ~TallydServer() = default; ///< closes every connection and joins its threads

    /// Takes a connected stream socket over. Any thread. Closes it when as many wait already as
    /// there may be connections.
    virtual void accept(int fd, PeerAccess access) = 0;
    /// Streams records, in order, to every client that asked. Any thread; returns at once.
    virtual void publish(std::shared_ptr<const std::vector<StoredRecord>> records) = 0;
    /// Whether the thread of the connections has come round since the last call, as it does many
    /// times a second. One thread, with a second or so between calls.
    virtual bool goesOn() = 0;
};

/// `service` outlives the server.
std::unique_ptr<TallydServer> makeTallydServer(DaemonService& service, ServerLimits limits = {});

} // namespace brindle
