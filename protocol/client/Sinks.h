// SPDX-License-Identifier: BSD-2-Clause
//
// What the client exports: the sinks that the daemon fills with an answer's batches, and the agent
// that it calls with live records. Used on the delivery thread only.
#pragma once

#include "protocol/TallydAgentProtocol.h"
#include "protocol/TallydHelperProtocol.h"
#include "protocol/client/QueryGate.h"
#include "protocol/wire/tallyd.capnp.h"

#include <cstdint>
#include <memory>

#include <kj/async.h>
#include <kj/refcount.h>

namespace brindle::client {

/// Tells when all batches of an answer are there: their number comes with the answer's return,
/// which may overtake the last of them.
class Arrivals final : public kj::Refcounted {
  public:
    void count();
    void fail(const kj::Exception& error);
    /// Fails when a batch failed. Call once.
    kj::Promise<void> whenArrived(std::uint32_t batches);
    /// What to tell when the request failed with `error`: a batch that failed is the cause.
    kj::Exception cause(kj::Exception error) const;

  private:
    void check();

    std::uint32_t arrived_ = 0;
    kj::Maybe<std::uint32_t> expected_;
    kj::Maybe<kj::Exception> error_;
    kj::Maybe<kj::Own<kj::PromiseFulfiller<void>>> waiting_;
};

class RecordSinkServer final : public wire::RecordSink::Server {
  public:
    RecordSinkServer(kj::Own<Arrivals> arrivals, std::shared_ptr<QueryGate> gate,
                     std::function<void(std::shared_ptr<const RecordBatch>)> batch)
        : arrivals_(kj::mv(arrivals)), gate_(std::move(gate)), batch_(std::move(batch)) {}

  protected:
    kj::Promise<void> batch(BatchContext context) override;

  private:
    kj::Own<Arrivals> arrivals_;
    std::shared_ptr<QueryGate> gate_;
    std::function<void(std::shared_ptr<const RecordBatch>)> batch_;
};

/// Gathers both lists of a reply of counts.
class CountSinkServer final : public wire::CountSink::Server {
  public:
    CountSinkServer(kj::Own<Arrivals> arrivals, std::shared_ptr<BreakdownReply> gathered)
        : arrivals_(kj::mv(arrivals)), gathered_(std::move(gathered)) {}

  protected:
    kj::Promise<void> batch(BatchContext context) override;

  private:
    kj::Own<Arrivals> arrivals_;
    std::shared_ptr<BreakdownReply> gathered_;
};

class AgentServer final : public wire::TallydAgentProtocol::Server {
  public:
    explicit AgentServer(std::weak_ptr<TallydAgentProtocol> agent) : agent_(std::move(agent)) {}

  protected:
    kj::Promise<void> realTimeLog(RealTimeLogContext context) override;
    kj::Promise<void> sendLogUserNotification(SendLogUserNotificationContext context) override;

  private:
    std::weak_ptr<TallydAgentProtocol> agent_;
};

} // namespace brindle::client
