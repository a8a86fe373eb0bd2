// SPDX-License-Identifier: BSD-2-Clause
//
// The holder of the one connection to the daemon, and the object that is exported to it. Every
// request of the viewer gets its connection here. One for the process, owned by the composition
// root; the main thread makes requests, other threads may.
//
//     if (auto connection = helper.daemonConnection())
//         connection->remoteObjectProxyWithErrorHandler(onError)->getVersionWithReply(onVersion);
#pragma once

#include "core/log/LiveFeed.h"
#include "core/log/Views.h"
#include "platform/queue/DispatchQueue.h"
#include "protocol/TallydAgentProtocol.h"
#include "protocol/TallydConnection.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace brindle {

/// Writes one line of the system's own to standard output, flushed.
using Console = std::function<void(const std::string& line)>;

class BrindleHelper final : public TallydAgentProtocol,
                            public std::enable_shared_from_this<BrindleHelper> {
  public:
    /// Makes a connection that exports `agent`; null when none can be made.
    using ConnectionFactory =
        std::function<std::shared_ptr<TallydConnection>(std::weak_ptr<TallydAgentProtocol> agent)>;

    /// `views` outlives the helper. The connection ends with the last owner of what is returned,
    /// on whose thread its end is waited for; that must not be the delivery thread.
    static std::shared_ptr<BrindleHelper> create(ConnectionFactory factory,
                                                 std::shared_ptr<platform::DispatchQueue> main,
                                                 ViewControllers& views,
                                                 std::unique_ptr<LiveFeed> feed, Console console);
    /// The factory for the daemon's socket at `path`.
    static ConnectionFactory socketFactory(std::string path);

    /// The open connection, made first when there is none; null when it cannot be made.
    std::shared_ptr<TallydConnection> daemonConnection();
    /// The connection that stands, if any: never makes one.
    std::shared_ptr<TallydConnection> standingConnection() const;
    using ConnectionObserver = std::function<void(bool connected)>;
    /// Calls `observer` on the main thread each time a connection was made or has gone, for as long
    /// as what is returned is kept.
    [[nodiscard]] std::shared_ptr<const ConnectionObserver>
    observeConnection(ConnectionObserver observer);

    /// A log query (message 2). Errors are written as "Brindle XPC Error: …". `reply` runs on the
    /// delivery thread, and `failed` after the line was written. Null when no connection can be
    /// had.
    std::shared_ptr<RunningQuery> queryLogs(double from, double to, RecordReply reply,
                                            std::function<void()> failed);
    /// The synchronous proxy whose errors are written as "Vardex XPC Service error: …"; null when
    /// no connection can be had.
    std::shared_ptr<TallydHelperProtocol> synchronousProxy();

    /// Decides anew whether the daemon must stream, and tells it, on every call.
    void liveFeedSwitch();

    // TallydAgentProtocol, on the delivery thread.
    void realTimeLogWithInfo(LiveRecordDictionary info) override;
    void sendLogUserNotificationWithInfo(std::map<std::string, std::string> info) override;

  private:
    struct Owned;

    BrindleHelper(ConnectionFactory factory, std::shared_ptr<platform::DispatchQueue> main,
                  ViewControllers& views, std::unique_ptr<LiveFeed> feed, Console console);
    void tellObservers(bool connected);
    void connectionBecameInvalid(const std::weak_ptr<TallydConnection>& connection);

    const ConnectionFactory factory_;
    const std::shared_ptr<platform::DispatchQueue> main_;
    ViewControllers& views_;
    const std::unique_ptr<LiveFeed> feed_;
    const Console console_;
    std::vector<std::weak_ptr<const ConnectionObserver>> observers_; ///< main thread

    mutable std::mutex mutex_;
    std::shared_ptr<TallydConnection> currentHelperConnection_; ///< guarded by mutex_
};

} // namespace brindle
