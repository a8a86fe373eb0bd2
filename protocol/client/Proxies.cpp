// SPDX-License-Identifier: BSD-2-Clause
#include "protocol/client/Proxies.h"

#include "protocol/client/QueryGate.h"
#include "protocol/client/Requests.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace brindle::client {

namespace {

/// A synchronous request ends as an error after so long.
constexpr std::chrono::seconds kLimit{5};
constexpr const char* kNoAnswer = "tallyd did not answer within 5 seconds";
constexpr const char* kGone = "the connection to tallyd is gone";

class GatedQuery final : public RunningQuery {
  public:
    GatedQuery(std::shared_ptr<QueryGate> gate, std::weak_ptr<Link> link, RequestId id)
        : gate_(std::move(gate)), link_(std::move(link)), id_(id) {}

    void cancel() override {
        gate_->close();
        if (const auto link = link_.lock())
            link->drop(id_);
    }

  private:
    const std::shared_ptr<QueryGate> gate_;
    const std::weak_ptr<Link> link_;
    const RequestId id_;
};

std::shared_ptr<RunningQuery> startQuery(const std::weak_ptr<Link>& weakLink,
                                         const ErrorHandler& handler, double from, double to,
                                         RecordReply reply) {
    auto gate = std::make_shared<QueryGate>();
    const auto link = weakLink.lock();
    if (!link) {
        handler(kGone);
        return std::make_shared<GatedQuery>(gate, weakLink, 0);
    }
    const RequestId id = link->newRequestId();
    link->submit(id, requests::doQueryFromEpoch(from, to, gate, std::move(reply)),
                 [gate, handler](const std::string& description) {
                     gate->pass([&] { handler(description); });
                 });
    return std::make_shared<GatedQuery>(gate, weakLink, id);
}

/// The proxy's twelve messages and the addition; how a request is made is the derived class's.
template <typename Sender>
class Proxy final : public TallydHelperProtocol {
  public:
    explicit Proxy(Sender sender) : sender_(std::move(sender)) {}

    void getVersionWithReply(std::function<void(std::string)> reply) override {
        sender_.template ask<std::string>(requests::getVersion, std::move(reply));
    }
    std::shared_ptr<RunningQuery> doQueryFromEpochFrom(double from, double to,
                                                       RecordReply reply) override {
        return startQuery(sender_.link, sender_.handler, from, to, std::move(reply));
    }
    void getOBJcontWithEpoch(double epoch, std::string action, std::string direction,
                             std::string obj, std::function<void(CountReply)> reply) override {
        sender_.template ask<CountReply>(
            [&](auto done) {
                return requests::getOBJcont(epoch, std::move(action), std::move(direction),
                                            std::move(obj), std::move(done));
            },
            std::move(reply));
    }
    void startSendingLog() override { sender_.tell(requests::startSendingLog); }
    void stopSendingLog() override { sender_.tell(requests::stopSendingLog); }
    void getPORTfromIPcontWithEpoch(double epoch, std::string ip, std::string action,
                                    std::string direction,
                                    std::function<void(BreakdownReply)> reply) override {
        sender_.template ask<BreakdownReply>(
            [&](auto done) {
                return requests::getPORTfromIPcont(epoch, std::move(ip), std::move(action),
                                                   std::move(direction), std::move(done));
            },
            std::move(reply));
    }
    void getIPfromPORTcontWithEpoch(double epoch, std::int64_t port, std::string action,
                                    std::string direction,
                                    std::function<void(BreakdownReply)> reply) override {
        sender_.template ask<BreakdownReply>(
            [&](auto done) {
                return requests::getIPfromPORTcont(epoch, port, std::move(action),
                                                   std::move(direction), std::move(done));
            },
            std::move(reply));
    }
    void sendPortsArraysWithPassin(std::vector<std::string> passin,
                                   std::vector<std::string> passout,
                                   std::vector<std::string> blockin,
                                   std::vector<std::string> blockout) override {
        sender_.tell([&](auto done) {
            return requests::sendPortsArrays(std::move(passin), std::move(passout),
                                             std::move(blockin), std::move(blockout),
                                             std::move(done));
        });
    }
    void getOldestRecordDateWithReply(std::function<void(std::string)> reply) override {
        sender_.template ask<std::string>(requests::getOldestRecordDate, std::move(reply));
    }
    void getNewestRecordDateWithReply(std::function<void(std::string)> reply) override {
        sender_.template ask<std::string>(requests::getNewestRecordDate, std::move(reply));
    }
    void getRowsCountWithReply(std::function<void(std::string)> reply) override {
        sender_.template ask<std::string>(requests::getRowsCount, std::move(reply));
    }
    void purgeLogDBWithEndDate(double end) override {
        sender_.tell([&](auto done) { return requests::purgeLogDB(end, std::move(done)); });
    }
    void getStatusWithReply(std::function<void(DaemonStatus)> reply) override {
        sender_.template ask<DaemonStatus>(requests::getStatus, std::move(reply));
    }

  private:
    Sender sender_;
};

struct AsynchronousSender {
    std::weak_ptr<Link> link;
    ErrorHandler handler;

    template <typename Value, typename Make>
    void ask(Make make, Reply<Value> reply) {
        submit(make(std::move(reply)));
    }
    template <typename Make>
    void tell(Make make) {
        submit(make([] {}));
    }
    void submit(Request request) {
        if (const auto alive = link.lock())
            alive->submit(alive->newRequestId(), kj::mv(request), handler);
        else
            handler(kGone);
    }
};

/// Where the delivery thread leaves the outcome for the thread that waits.
template <typename Value>
struct Outcome {
    std::mutex mutex;
    std::condition_variable arrived;
    std::optional<Value> value;
    std::optional<std::string> error;

    void put(auto member, auto content) {
        {
            std::lock_guard lock(mutex);
            this->*member = std::move(content);
        }
        arrived.notify_all();
    }
};

struct SynchronousSender {
    std::weak_ptr<Link> link;
    ErrorHandler handler;

    template <typename Value, typename Make>
    void ask(Make make, Reply<Value> reply) {
        const auto outcome = std::make_shared<Outcome<Value>>();
        const bool answered = wait(
            *outcome, make([outcome](Value value) {
                outcome->put(&Outcome<Value>::value, std::move(value));
            }),
            [outcome](const std::string& error) { outcome->put(&Outcome<Value>::error, error); });
        if (answered)
            reply(std::move(*outcome->value));
    }
    template <typename Make>
    void tell(Make make) {
        ask<bool>([&](Reply<bool> reply) { return make([reply] { reply(true); }); }, [](bool) {});
    }

    /// True when there is a value; else the error handler has run.
    template <typename Value>
    bool wait(Outcome<Value>& outcome, Request request, ErrorHandler leaveError) {
        const auto alive = link.lock();
        if (!alive) {
            handler(kGone);
            return false;
        }
        if (alive->isDeliveryThread()) {
            handler("a synchronous request cannot be made from the connection's own thread");
            return false;
        }
        const RequestId id = alive->newRequestId();
        alive->submit(id, kj::mv(request), std::move(leaveError));
        std::unique_lock lock(outcome.mutex);
        const bool over =
            outcome.arrived.wait_for(lock, kLimit, [&] { return outcome.value || outcome.error; });
        if (outcome.value)
            return true;
        const std::string error = over ? *outcome.error : kNoAnswer;
        lock.unlock();
        if (!over)
            alive->drop(id);
        handler(error);
        return false;
    }
};

} // namespace

std::shared_ptr<TallydHelperProtocol> makeAsynchronousProxy(std::weak_ptr<Link> link,
                                                            ErrorHandler handler) {
    return std::make_shared<Proxy<AsynchronousSender>>(
        AsynchronousSender{std::move(link), std::move(handler)});
}

std::shared_ptr<TallydHelperProtocol> makeSynchronousProxy(std::weak_ptr<Link> link,
                                                           ErrorHandler handler) {
    return std::make_shared<Proxy<SynchronousSender>>(
        SynchronousSender{std::move(link), std::move(handler)});
}

} // namespace brindle::client
