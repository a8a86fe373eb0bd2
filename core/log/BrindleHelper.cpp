// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/BrindleHelper.h"

#include "platform/connection/UnixSocket.h"

#include <utility>

namespace brindle {

/// What the owners share. The delivery thread holds the helper as well, while it tells it
/// something, and may be the last to let go of it: by then the connection, whose end waits for that
/// thread, is gone.
struct BrindleHelper::Owned {
    explicit Owned(std::shared_ptr<BrindleHelper> owned) : helper(std::move(owned)) {}
    ~Owned() {
        std::shared_ptr<TallydConnection> gone;
        const std::lock_guard lock(helper->mutex_);
        gone.swap(helper->currentHelperConnection_);
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    const std::shared_ptr<BrindleHelper> helper;
};

std::shared_ptr<BrindleHelper>
BrindleHelper::create(ConnectionFactory factory, std::shared_ptr<platform::DispatchQueue> main,
                      ViewControllers& views, std::unique_ptr<LiveFeed> feed, Console console) {
    const auto owned = std::make_shared<Owned>(std::shared_ptr<BrindleHelper>(new BrindleHelper(
        std::move(factory), std::move(main), views, std::move(feed), std::move(console))));
    return {owned, owned->helper.get()};
}

BrindleHelper::ConnectionFactory BrindleHelper::socketFactory(std::string path) {
    return [path = std::move(path)](std::weak_ptr<TallydAgentProtocol> agent) {
        const Connector connector = [path]() -> tl::expected<int, std::string> {
            return platform::connectUnix(path).map(
                [](platform::FileDescriptor socket) { return socket.release(); });
        };
        return openTallydConnection(connector, std::move(agent));
    };
}

BrindleHelper::BrindleHelper(ConnectionFactory factory,
                             std::shared_ptr<platform::DispatchQueue> main, ViewControllers& views,
                             std::unique_ptr<LiveFeed> feed, Console console)
    : factory_(std::move(factory)), main_(std::move(main)), views_(views), feed_(std::move(feed)),
      console_(std::move(console)) {}

std::shared_ptr<TallydConnection> BrindleHelper::daemonConnection() {
    const std::lock_guard lock(mutex_);
    if (currentHelperConnection_)
        return currentHelperConnection_;
    const std::shared_ptr<TallydConnection> connection = factory_(weak_from_this());
    if (!connection)
        return nullptr;
    connection->setInvalidationHandler(
        [weakHelper = weak_from_this(), weakConnection = std::weak_ptr(connection)] {
            // Nothing may own the connection here: letting go of it waits for this very thread.
            if (const auto helper = weakHelper.lock())
                helper->connectionBecameInvalid(weakConnection);
        });
    currentHelperConnection_ = connection;
    connection->resume();
    main_->async([weakHelper = weak_from_this()] {
        if (const auto helper = weakHelper.lock(); helper)
            helper->tellObservers(helper->standingConnection() != nullptr);
    });
    return connection;
}

void BrindleHelper::connectionBecameInvalid(const std::weak_ptr<TallydConnection>& connection) {
    main_->async([weakHelper = weak_from_this(), connection] {
        const auto helper = weakHelper.lock();
        if (!helper)
            return;
        // Let go outside the lock: this may be the last owner, and its end waits for the delivery
        // thread.
        std::shared_ptr<TallydConnection> gone;
        {
            const std::lock_guard lock(helper->mutex_);
            if (helper->currentHelperConnection_ == connection.lock())
                gone = std::exchange(helper->currentHelperConnection_, nullptr);
        }
        if (gone)
            helper->tellObservers(false);
    });
}

std::shared_ptr<TallydConnection> BrindleHelper::standingConnection() const {
    const std::lock_guard lock(mutex_);
    return currentHelperConnection_;
}

std::shared_ptr<const BrindleHelper::ConnectionObserver>
BrindleHelper::observeConnection(ConnectionObserver observer) {
    auto kept = std::make_shared<const ConnectionObserver>(std::move(observer));
    observers_.push_back(kept);
    return kept;
}

void BrindleHelper::tellObservers(bool connected) {
    std::erase_if(observers_, [](const auto& observer) { return observer.expired(); });
    for (const auto& weak : std::vector(observers_)) // one may make others
        if (const auto observer = weak.lock())
            (*observer)(connected);
}

std::shared_ptr<RunningQuery> BrindleHelper::queryLogs(double from, double to, RecordReply reply,
                                                       std::function<void()> failed) {
    const std::shared_ptr<TallydConnection> connection = daemonConnection();
    if (!connection)
        return nullptr;
    const auto proxy = connection->remoteObjectProxyWithErrorHandler(
        [console = console_, failed = std::move(failed)](const std::string& description) {
            console("Brindle XPC Error: " + description);
            if (failed)
                failed();
        });
    return proxy ? proxy->doQueryFromEpochFrom(from, to, std::move(reply)) : nullptr;
}

std::shared_ptr<TallydHelperProtocol> BrindleHelper::synchronousProxy() {
    const std::shared_ptr<TallydConnection> connection = daemonConnection();
    if (!connection)
        return nullptr;
    return connection->synchronousRemoteObjectProxyWithErrorHandler(
        [console = console_](const std::string& description) {
            console("Vardex XPC Service error: " + description);
        });
}

void BrindleHelper::liveFeedSwitch() {
    bool live = false;
    for (const auto& [name, entry] : *views_.snapshot())
        if (entry->kind != ViewEntry::Kind::exclusions && entry->needrealtime)
            live = true;
    const std::shared_ptr<TallydHelperProtocol> proxy = synchronousProxy();
    if (!proxy)
        return;
    if (live)
        proxy->startSendingLog();
    else
        proxy->stopSendingLog();
}

void BrindleHelper::realTimeLogWithInfo(LiveRecordDictionary info) {
    feed_->receive(std::move(info));
}

void BrindleHelper::sendLogUserNotificationWithInfo(std::map<std::string, std::string>) {
    // Accepted, and of no interest to the viewer.
}

} // namespace brindle
