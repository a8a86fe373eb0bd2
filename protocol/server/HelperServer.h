// SPDX-License-Identifier: BSD-2-Clause
//
// Answers one client's requests: checks what the client may do, asks the service on a worker, and
// encodes its answer. Made when the client connects, owned by the connection's RPC system; runs on
// the loop thread.
#pragma once

#include "protocol/server/Peer.h"
#include "protocol/wire/tallyd.capnp.h"

#include <kj/refcount.h>

namespace brindle::server {

/// What a connection begins with: takes the client's agent and gives the helper.
class BootstrapServer final : public wire::TallydBootstrap::Server {
  public:
    explicit BootstrapServer(kj::Own<Peer> peer) : peer_(kj::mv(peer)) {}

  protected:
    kj::Promise<void> connect(ConnectContext context) override;

  private:
    kj::Own<Peer> peer_;
};

class HelperServer final : public wire::TallydHelperProtocol::Server {
  public:
    explicit HelperServer(kj::Own<Peer> peer) : peer_(kj::mv(peer)) {}

  protected:
    kj::Promise<void> getVersion(GetVersionContext context) override;
    kj::Promise<void> doQueryFromEpoch(DoQueryFromEpochContext context) override;
    kj::Promise<void> getOBJcont(GetOBJcontContext context) override;
    kj::Promise<void> startSendingLog(StartSendingLogContext context) override;
    kj::Promise<void> stopSendingLog(StopSendingLogContext context) override;
    kj::Promise<void> getPORTfromIPcont(GetPORTfromIPcontContext context) override;
    kj::Promise<void> getIPfromPORTcont(GetIPfromPORTcontContext context) override;
    kj::Promise<void> sendPortsArrays(SendPortsArraysContext context) override;
    kj::Promise<void> getOldestRecordDate(GetOldestRecordDateContext context) override;
    kj::Promise<void> getNewestRecordDate(GetNewestRecordDateContext context) override;
    kj::Promise<void> getRowsCount(GetRowsCountContext context) override;
    kj::Promise<void> purgeLogDB(PurgeLogDBContext context) override;
    kj::Promise<void> getStatus(GetStatusContext context) override;

  private:
    enum class Right { read, manage };

    /// The error of a request that this client may not make now; nothing when it may.
    kj::Maybe<kj::Exception> refusal(Right right) const;

    /// Asks the service on a worker and hands its answer to `reply` on the loop.
    template <typename Context, typename Ask, typename Reply>
    kj::Promise<void> answer(Context& context, Right right, Ask ask, Reply reply);
    /// The same for a reply of counts, which travels through the sink the client passed.
    template <typename Context, typename Ask>
    kj::Promise<void> answerCounts(Context context, wire::CountSink::Client sink, Ask ask);

    DaemonService& service() const { return peer_->context.service; }

    kj::Own<Peer> peer_;
};

} // namespace brindle::server
